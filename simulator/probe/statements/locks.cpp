// Locks and sessions.
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

HRESULT lockAnswer(const ComPtr<IMachine>& machine, const ComPtr<ISession>& session, ULONG type)
{
    return machine->LockMachine(session.Get(), type);
}

/// What a lock attempt gives; a lock that was given is given back.
HRESULT tryLock(Lab& lab, const ComPtr<IMachine>& machine, ULONG type)
{
    const ComPtr<ISession> session = lab.session();
    const HRESULT result = lockAnswer(machine, session, type);
    if (SUCCEEDED(result))
        session->UnlockMachine();
    return result;
}

Finding unlockedAtFirst(Lab& lab)
{
    return sessionState(SessionState::Unlocked, read(lab.session(), &ISession::get_State));
}

Finding nothingWithoutLock(Lab& lab)
{
    const ComPtr<ISession> session = lab.session();
    ULONG type = 0;
    ComPtr<IMachine> machine;
    ComPtr<IConsole> console;
    return all({answers(Result::Unexpected, session->get_Type(&type)),
                answers(Result::Unexpected, session->get_Machine(&machine)),
                answers(Result::Unexpected, session->get_Console(&console))});
}

Finding unlockWithoutLock(Lab& lab)
{
    return answers(Result::Unexpected, lab.session()->UnlockMachine());
}

Finding writeLock(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    return all({sessionState(SessionState::Locked, read(lock.session, &ISession::get_State)),
                equal(SessionType::WriteLock, read(lock.session, &ISession::get_Type)),
                sessionState(SessionState::Locked, sessionStateOf(machine)),
                machineState(MachineState::PoweredOff, stateOf(machine))});
}

Finding noConsole(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    return no(object(lock.session, &ISession::get_Console) != nullptr);
}

Finding sharedOfFree(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Shared);
    return all({equal(SessionType::WriteLock, read(lock.session, &ISession::get_Type)),
                answers(Result::Ok, lock.machine->put_MemorySize(100))});
}

Finding secondWriter(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    return answers(Result::InvalidObjectState, tryLock(lab, machine, LockType::Write));
}

Finding sharedOfWriter(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    return answersOneOf({Result::Ok, Result::InvalidObjectState}, tryLock(lab, machine, LockType::Shared));
}

Finding busySession(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    return answers(Result::InvalidObjectState, lockAnswer(lab.machine(), lock.session, LockType::Write));
}

Finding launchOfLocked(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    ComPtr<IProgress> progress;
    return answers(Result::InvalidObjectState,
                   machine->LaunchVMProcess(lab.session().Get(), Text(L"headless"), nullptr, &progress));
}

Finding vmLock(Lab& lab)
{
    return answersOneOf({Result::AccessDenied, Result::InvalidObjectState}, tryLock(lab, lab.machine(), LockType::VM));
}

Finding unregistered(Lab& lab)
{
    return answers(Result::Unexpected, tryLock(lab, lab.unregistered(), LockType::Write));
}

Finding dropsChanges(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    Lock lock(machine, LockType::Write);
    must(lock.machine->put_MemorySize(100));
    lock.unlock();
    const Lock again(machine, LockType::Write);
    return equal(64, read(again.machine, &IMachine::get_MemorySize));
}

Finding deadObject(Lab& lab)
{
    Lock lock(lab.machine(), LockType::Write);
    const ComPtr<IMachine> own = lock.machine;
    lock.unlock();
    Text name;
    return all({answers(Result::AccessDenied, own->get_Name(name.put())),
                answers(Result::AccessDenied, own->put_MemorySize(100))});
}

Finding unlockedAgain(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const ComPtr<ISession> session = lab.session();
    must(lockAnswer(machine, session, LockType::Write));
    must(session->UnlockMachine());
    const bool free = soon([&] { return sessionStateOf(machine) == SessionState::Unlocked; });
    return all({yes(free), sessionState(SessionState::Unlocked, read(session, &ISession::get_State)),
                answers(Result::Ok, tryLock(lab, machine, LockType::Write))});
}

Finding reusedSession(Lab& lab)
{
    const ComPtr<ISession> session = lab.session();
    const ComPtr<IMachine> first = lab.machine(), second = lab.machine();
    must(lockAnswer(first, session, LockType::Write));
    must(session->UnlockMachine());
    const HRESULT result = lockAnswer(second, session, LockType::Write);
    if (SUCCEEDED(result))
        session->UnlockMachine();
    return answers(Result::Ok, result);
}

Finding ownerProcess(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    return yes(read(machine, &IMachine::get_SessionPID) == GetCurrentProcessId());
}

Finding nameWhileUnlocked(Lab& lab)
{
    const ComPtr<ISession> session = lab.session();
    const HRESULT before = session->put_Name(Text(L"probe"));
    const ComPtr<IMachine> machine = lab.machine();
    must(lockAnswer(machine, session, LockType::Write));
    const HRESULT during = session->put_Name(Text(L"other"));
    const std::wstring name = text(machine, &IMachine::get_SessionName);
    session->UnlockMachine();
    return all({answers(Result::Ok, before), fails(during), equal(L"probe", name)});
}

// ---- clients that end

Finding lockedElsewhere(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Rival rival(text(machine, &IMachine::get_Id));
    return all({answers(Result::InvalidObjectState, tryLock(lab, machine, LockType::Write)),
                yes(read(machine, &IMachine::get_SessionPID) == rival.process()),
                equal(64, read(machine, &IMachine::get_MemorySize))});
}

Finding deadClient(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    Rival rival(text(machine, &IMachine::get_Id));
    rival.kill();
    soon([&] { return stateOf(machine) == MachineState::Aborted; });
    return all({machineState(MachineState::Aborted, stateOf(machine)),
                equal(64, read(machine, &IMachine::get_MemorySize)),
                yes(soon([&] { return SUCCEEDED(tryLock(lab, machine, LockType::Write)); }))});
}

Finding droppedSession(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    {
        const ComPtr<ISession> session = lab.session();
        must(lockAnswer(machine, session, LockType::Write));
    }
    soon([&] { return stateOf(machine) == MachineState::Aborted; });
    return all({machineState(MachineState::Aborted, stateOf(machine)),
                sessionState(SessionState::Unlocked, sessionStateOf(machine))});
}

} // namespace

Subject lockStatements()
{
    return {
        "locks",
        "Locks and sessions",
        {
            {"locks.unlocked", "A new session is Unlocked.", Documented, unlockedAtFirst},
            {"locks.nothing", "Without a lock type, machine and console give `E_UNEXPECTED`.", Documented,
             nothingWithoutLock},
            {"locks.unlock-nothing", "So does unlocking.", Documented, unlockWithoutLock},
            {"locks.write",
             "A write lock makes session and machine Locked, of type WriteLock; the machine stays powered off.",
             Documented, writeLock},
            {"locks.no-console", "It has no console.", Documented, noConsole},
            {"locks.shared-free", "A shared lock of a free machine is a write lock.", Documented, sharedOfFree},
            {"locks.second", "A second write lock gives `VBOX_E_INVALID_OBJECT_STATE`.", Documented, secondWriter},
            {"locks.shared-writer",
             "A shared lock beside a plain writer joins it, or gives `VBOX_E_INVALID_OBJECT_STATE`.", Assumed,
             sharedOfWriter},
            {"locks.busy-session", "A session that has a machine takes no other: `VBOX_E_INVALID_OBJECT_STATE`.",
             Documented, busySession},
            {"locks.launch", "A locked machine is not started: `VBOX_E_INVALID_OBJECT_STATE`.", Documented,
             launchOfLocked},
            {"locks.vm", "A lock of type VM is for VirtualBox's own machine process: `E_ACCESSDENIED`.", Documented,
             vmLock},
            {"locks.unregistered", "A machine that is not registered gives `E_UNEXPECTED`.", Documented, unregistered},
            {"locks.unlock", "After the unlock the machine can be locked again, if need be a moment later.", Documented,
             unlockedAgain},
            {"locks.reuse", "A session can lock one machine after the other.", Documented, reusedSession},
            {"locks.drop", "What was not saved is lost with the unlock.", Documented, dropsChanges},
            {"locks.dead", "The session's machine object is dead then: `E_ACCESSDENIED`.", Documented, deadObject},
            {"locks.process", "The machine tells the process that holds the lock.", Documented, ownerProcess},
            {"locks.name", "A session's name is set while it is Unlocked only, and shown by the machine.", Documented,
             nameWhileUnlocked},
            {"locks.elsewhere", "A machine that another process has locked can be read as it was saved, not locked.",
             Documented, lockedElsewhere},
            {"locks.dead-client", "When that process dies, its changes are lost, and the machine is Aborted and free.",
             Documented, deadClient},
            {"locks.dropped-session", "So it is when a session object is dropped with its lock.", Documented,
             droppedSession},
        }};
}

} // namespace Probe
