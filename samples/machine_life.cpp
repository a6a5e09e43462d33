// A machine's whole life: create, configure, start, stop, delete.
//
// Three things are easily missed. Settings change on the session's own copy of a machine and are lost without a save.
// A start is done only when its progress is, and whether it worked only the progress's result tells. And after the
// power-off the lock comes free a moment later than the state says, so whoever deletes the machine at once must be
// ready to wait.

#include "sample.h"

using namespace Travik;
using std::chrono::seconds;

namespace {

void create(VBoxInstanceImpl& vbox, const std::wstring& name)
{
    // A machine that is not registered yet can be changed without a lock.
    const auto machine = ask<ScopedMachine>(vbox, &VBoxInstanceImpl::createMachine, L"", name);
    check(vbox, vbox.saveSettings(machine));
    check(vbox, vbox.registerMachine(machine));
    print(L"created " + ask<std::wstring>(vbox, &VBoxInstanceImpl::getVmUUID, machine));
}

void configure(VBoxInstanceImpl& vbox, VBoxHandle machine)
{
    LockedSession session(vbox, machine, LockType::Write, Deadline(seconds(10)));
    check(vbox, vbox.setMachineCPUCount(session.machine(), 2));
    check(vbox, vbox.setMachineMemory(session.machine(), 1024));
    session.save();
    session.unlock();
    print(L"2 processors, 1024 MB");
}

void start(VBoxInstanceImpl& vbox, VBoxHandle machine)
{
    const auto progress =
        ask<ScopedProgress>(vbox, &VBoxInstanceImpl::launchVMProcess, machine, L"headless", std::list<std::wstring>());
    waitFor(vbox, progress, Deadline(seconds(60)), [] { print(L"starting ..."); });
    LockedSession::adopt(vbox).unlock(); // the launch left its lock with us; the machine runs on without it
    print(L"started");
}

void stop(VBoxInstanceImpl& vbox, VBoxHandle machine)
{
    const LockedSession session(vbox, machine, LockType::Shared, Deadline(seconds(10)));
    const ScopedConsole console = session.console();
    const auto progress = ask<ScopedProgress>(vbox, &VBoxInstanceImpl::powerDown, console);
    waitFor(vbox, progress, Deadline(seconds(60)));
    print(L"stopped");
}

void remove(VBoxInstanceImpl& vbox, VBoxHandle machine)
{
    const auto waited = retryWhileLocked(vbox, Deadline(seconds(20)), [&] { return vbox.deleteMachine(machine); });
    print(L"deleted; waited " + std::to_wstring(waited.count()) + L" ms for the lock");
}

void live(VBoxInstanceImpl& vbox, const std::vector<std::wstring>& arguments)
{
    const std::wstring name = ask<std::wstring>(vbox, &VBoxInstanceImpl::createVmName, arguments[0]);
    create(vbox, name);
    const auto machine = ask<ScopedMachine>(vbox, &VBoxInstanceImpl::findMachine, name);
    configure(vbox, machine);
    start(vbox, machine);
    stop(vbox, machine);
    remove(vbox, machine);
}

} // namespace

int wmain(int count, wchar_t** values)
{
    return runSample(count, values, 1, L"sample_machine_life NAME-PREFIX", live);
}
