// A front end on the helper, C++17: changes a machine's memory under a lock, and meets a failure as an exception.
#include <travik/scoped_handle.h>

#include <cstdio>

using Travik::VBoxInstanceImpl;

int main()
{
    VBoxInstanceImpl& vbox = *GetVBoxInstance();
    vbox.setLogPath(L"helper.log");
    try {
        const auto machine = Travik::ask<Travik::ScopedMachine>(vbox, &VBoxInstanceImpl::findMachine, L"Plain");
        Travik::LockedSession session(vbox, machine, Travik::LockType::Write,
                                      Travik::Deadline(std::chrono::seconds(10)));
        Travik::check(vbox, vbox.setMachineMemory(session.machine(), 1536));
        session.save();
        session.unlock();
        std::puts("saved");
        Travik::ask<Travik::ScopedMachine>(vbox, &VBoxInstanceImpl::findMachine, L"Nobody");
    } catch (const Travik::SdkError& error) {
        std::printf("%s\n", error.what());
    }
    vbox.releaseRC();
}
