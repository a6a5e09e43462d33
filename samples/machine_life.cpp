// A machine's whole life: create, configure, start, stop, delete.
//
// Three things are easily missed. Settings change on the session's own copy of a machine and are lost without a save.
// A start is done only when its progress is, and whether it worked only the progress's result tells: startMachine waits
// and asks. And after the power-off the lock comes free a moment later than the state says: deleteMachine waits for it.

#include "sample.h"

using namespace Travik;
using std::chrono::seconds;

namespace {

void create(const Operations& vbox, const std::wstring& name)
{
    // A machine that is not registered yet can be changed without a lock.
    const ScopedMachine machine = vbox.createMachine(L"", name);
    vbox.saveSettings(machine);
    vbox.registerMachine(machine);
    print(L"created " + vbox.getVmUUID(machine));
}

void configure(const Operations& vbox, const ScopedMachine& machine)
{
    LockedSession session(vbox, machine, Lock::Write, seconds(10));
    vbox.setMachineCPUCount(session.machine(), 2);
    vbox.setMachineMemory(session.machine(), 1024);
    session.save();
    session.unlock();
    print(L"2 processors, 1024 MB");
}

void live(const Operations& vbox, const std::vector<std::wstring>& arguments)
{
    const std::wstring name = vbox.createVmName(arguments[0]);
    create(vbox, name);
    const ScopedMachine machine = vbox.findMachine(name);
    configure(vbox, machine);
    startMachine(vbox, machine, seconds(60));
    print(L"started");
    stopMachine(vbox, machine, seconds(60));
    print(L"stopped");
    deleteMachine(vbox, machine, seconds(20));
    print(L"deleted");
}

} // namespace

int wmain(int count, wchar_t** values)
{
    return runSample(count, values, 1, L"sample_machine_life NAME-PREFIX", live);
}
