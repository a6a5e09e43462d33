// A front end on the helper, C++17: changes a machine's memory under a lock, and meets a failure as an exception.
#include <travik/scoped_handle.h>

#include <cstdio>

using namespace std::chrono_literals;

int main()
{
    GetVBoxInstance()->setLogPath(L"helper.log");
    try {
        const Travik::Connection vbox(10s);
        Travik::LockedSession session(vbox, vbox.findMachine(L"Plain"), Travik::Lock::Write, 10s);
        vbox.setMachineMemory(session.machine(), 1536);
        session.save();
        session.unlock();
        std::puts("saved");
        static_cast<void>(vbox.findMachine(L"Nobody"));
    } catch (const Travik::SdkError& error) {
        std::printf("%s\n", error.what());
    }
}
