// A front end on the plain interface, C++11: lists the names of the registered machines that can be read, one a line.
#include <travik/vbox_instance.h>

#include <cstdio>

int main()
{
    Travik::VBoxInstanceImpl* vbox = GetVBoxInstance();
    vbox->setLogPath(L"sdk.log");
    std::vector<Travik::VBoxHandle> machines;
    if (vbox->listVms(&machines) != 0) {
        std::fprintf(stderr, "%s\n", utils_toUTF8(vbox->getVBoxErrorMessage().c_str()));
        return 1;
    }
    for (Travik::VBoxHandle machine : machines) {
        std::wstring name;
        if (vbox->getVmName(machine, &name) == 0)
            std::printf("%s\n", utils_toUTF8(name.c_str()));
        vbox->releaseMachine(machine);
    }
    vbox->releaseRC();
    return 0;
}
