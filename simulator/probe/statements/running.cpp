// A machine that runs.
#include "lab.h"
#include "listener.h"

namespace Probe {
namespace {

using enum Ground;

/// Lets the running machine run on when a statement paused it.
class Paused
{
public:
    explicit Paused(RunningMachine& machine) : console_(machine.console) { must(console_->Pause()); }
    ~Paused() { console_->Resume(); }
    Paused(const Paused&) = delete;
    Paused& operator=(const Paused&) = delete;

private:
    ComPtr<IConsole> console_;
};

Finding pause(Lab& lab)
{
    RunningMachine& machine = lab.running();
    const Paused paused(machine);
    return all({machineState(MachineState::Paused, stateOf(machine.listed)),
                machineState(MachineState::Paused, read(machine.console, &IConsole::get_State))});
}

Finding resume(Lab& lab)
{
    RunningMachine& machine = lab.running();
    must(machine.console->Pause());
    must(machine.console->Resume());
    return machineState(MachineState::Running, stateOf(machine.listed));
}

Finding pausedTwice(Lab& lab)
{
    RunningMachine& machine = lab.running();
    const Paused paused(machine);
    return answers(Result::InvalidVMState, machine.console->Pause());
}

Finding resumedTwice(Lab& lab)
{
    return answers(Result::InvalidVMState, lab.running().console->Resume());
}

Finding stateEvents(Lab& lab)
{
    RunningMachine& machine = lab.running();
    Listener listener(object(machine.console, &IConsole::get_EventSource), {VBoxEventType::OnStateChanged});
    must(machine.console->Pause());
    must(machine.console->Resume());
    std::vector<std::uint32_t> told;
    while (told.size() < 2) {
        const auto event = query<IStateChangedEvent>(listener.next(10'000));
        if (!event)
            break;
        told.push_back(read(event, &IStateChangedEvent::get_State));
    }
    told.resize(2);
    return all({machineState(MachineState::Paused, told[0]), machineState(MachineState::Running, told[1])});
}

Finding runningWriteLock(Lab& lab)
{
    return answers(Result::InvalidObjectState, lab.running().listed->LockMachine(lab.session().Get(), LockType::Write));
}

Finding sharedLock(Lab& lab)
{
    RunningMachine& machine = lab.running();
    const ComPtr<ISession> session = lab.session();
    must(machine.listed->LockMachine(session.Get(), LockType::Shared));
    const auto console = object(session, &ISession::get_Console);
    const std::uint32_t type = read(session, &ISession::get_Type);
    must(session->UnlockMachine());
    return all({equal(SessionType::Shared, type), yes(console != nullptr),
                machineState(MachineState::Running, stateOf(machine.listed))});
}

Finding secondStart(Lab& lab)
{
    ComPtr<IProgress> progress;
    return answers(Result::InvalidObjectState,
                   lab.running().listed->LaunchVMProcess(lab.session().Get(), Text(L"headless"), nullptr, &progress));
}

Finding unregisterRunning(Lab& lab)
{
    Array media;
    return answers(Result::InvalidObjectState, lab.running().listed->Unregister(CleanupMode::Full, media.put()));
}

Finding runningHardware(Lab& lab)
{
    RunningMachine& machine = lab.running();
    return all({answers(Result::InvalidVMState, machine.machine->put_MemorySize(100)),
                answers(Result::InvalidVMState, machine.machine->put_CPUCount(2))});
}

Finding natRules(Lab& lab)
{
    RunningMachine& machine = lab.running();
    ComPtr<INetworkAdapter> adapter;
    must(machine.machine->GetNetworkAdapter(0, &adapter));
    const auto engine = object(adapter, &INetworkAdapter::get_NATEngine);
    const HRESULT added = engine->AddRedirect(Text(L"probe"), NATProtocol::TCP, Text(L"127.0.0.1"), 49321, nullptr, 22);
    const HRESULT removed = engine->RemoveRedirect(Text(L"probe"));
    return all({answers(Result::Ok, added), answers(Result::Ok, removed)});
}

Finding rename(Lab& lab)
{
    RunningMachine& machine = lab.running();
    const std::wstring name = text(machine.listed, &IMachine::get_Name);
    const HRESULT put = machine.machine->put_Name(Text(L"vboxprobe renamed"));
    const HRESULT saved = FAILED(put) ? put : machine.machine->SaveSettings();
    machine.machine->DiscardSettings();
    return all({fails(saved), equal(name, text(machine.listed, &IMachine::get_Name))});
}

Finding clone(Lab& lab)
{
    RunningMachine& machine = lab.running();
    ComPtr<IProgress> progress;
    HRESULT result = machine.listed->CloneTo(lab.create().Get(), CloneMode::MachineState, nullptr, &progress);
    if (SUCCEEDED(result))
        result = finish(progress).result;
    return answers(Result::InvalidVMState, result);
}

// ---- shared folders of the console

HRESULT share(RunningMachine& machine, const wchar_t* name, const std::filesystem::path& folder)
{
    return machine.console->CreateSharedFolder(Text(name), Text(folder.wstring()), TRUE, FALSE, nullptr);
}

Finding transientFolder(Lab& lab)
{
    RunningMachine& machine = lab.running();
    const auto count = [&] { return array(machine.console, &IConsole::get_SharedFolders).size(); };
    const std::size_t before = count();
    must(share(machine, L"probe", lab.folder()));
    const std::size_t during = count();
    const std::size_t permanent = array(machine.listed, &IMachine::get_SharedFolders).size();
    must(machine.console->RemoveSharedFolder(Text(L"probe")));
    return all({equal(1, static_cast<std::int64_t>(during - before)), equal(0, static_cast<std::int64_t>(permanent)),
                equal(0, static_cast<std::int64_t>(count() - before))});
}

Finding transientFolderTwice(Lab& lab)
{
    RunningMachine& machine = lab.running();
    must(share(machine, L"probe", lab.folder()));
    const HRESULT second = share(machine, L"probe", lab.folder());
    must(machine.console->RemoveSharedFolder(Text(L"probe")));
    return answers(Result::FileError, second);
}

Finding transientFolderAbsent(Lab& lab)
{
    return answers(Result::FileError, lab.running().console->RemoveSharedFolder(Text(L"nothing")));
}

Finding transientFolderEnds(Lab& lab)
{
    lab.needStart();
    const ComPtr<IMachine> listed = lab.machine();
    {
        RunningMachine machine = lab.start(listed);
        must(share(machine, L"probe", lab.folder()));
        ComPtr<IProgress> progress;
        must(machine.console->PowerDown(&progress));
        finishWell(progress);
    }
    soon([&] { return sessionStateOf(listed) == SessionState::Unlocked; });
    const RunningMachine again = lab.start(listed);
    return equal(0, static_cast<std::int64_t>(array(again.console, &IConsole::get_SharedFolders).size()));
}

// ---- guest properties

Finding guestProperty(Lab& lab)
{
    RunningMachine& machine = lab.running();
    must(machine.machine->SetGuestProperty(Text(L"/probe/running"), Text(L"value"), Text(L"TRANSIENT")));
    Text value;
    must(machine.listed->GetGuestPropertyValue(Text(L"/probe/running"), value.put()));
    return equal(L"value", value.str());
}

Finding guestPropertyEnds(Lab& lab)
{
    RunningMachine machine = lab.running();
    must(machine.machine->SetGuestProperty(Text(L"/probe/running"), Text(L"value"), Text(L"TRANSIENT")));
    must(machine.machine->SetGuestProperty(Text(L"/probe/lasting"), Text(L"value"), nullptr));
    lab.stopRunning();
    Text transient, lasting;
    must(machine.listed->GetGuestPropertyValue(Text(L"/probe/running"), transient.put()));
    must(machine.listed->GetGuestPropertyValue(Text(L"/probe/lasting"), lasting.put()));
    return all({equal(L"", transient.str()), equal(L"value", lasting.str())});
}

} // namespace

Subject runningStatements()
{
    return {
        "running",
        "A machine that runs",
        {
            {"running.pause", "`Pause` makes it Paused; machine and console agree.", Documented, pause},
            {"running.resume", "`Resume` makes it Running again.", Documented, resume},
            {"running.pause-twice", "Pausing a paused machine gives `VBOX_E_INVALID_VM_STATE`.", Documented,
             pausedTwice},
            {"running.resume-twice", "Resuming a running one does, too.", Documented, resumedTwice},
            {"running.events", "The console's event source tells each new state.", Documented, stateEvents},
            {"running.write-lock", "A write lock gives `VBOX_E_INVALID_OBJECT_STATE`.", Documented, runningWriteLock},
            {"running.shared-lock", "A shared lock works, has type Shared and a console, and its unlock ends nothing.",
             Documented, sharedLock},
            {"running.start", "A second start gives `VBOX_E_INVALID_OBJECT_STATE`.", Documented, secondStart},
            {"running.unregister", "Unregistering gives `VBOX_E_INVALID_OBJECT_STATE`.", Documented, unregisterRunning},
            {"running.hardware", "Memory and processors cannot be changed: `VBOX_E_INVALID_VM_STATE`.", Documented,
             runningHardware},
            {"running.nat", "Port-forwarding rules can.", Documented, natRules},
            {"running.rename", "A new name is refused when it is saved.", Documented, rename},
            {"running.clone", "Cloning the current state gives `VBOX_E_INVALID_VM_STATE`.", Assumed, clone},
            {"running.share", "A shared folder of the console is transient: the machine's settings do not have it.",
             Documented, transientFolder},
            {"running.share-twice", "A second one of the same name gives `VBOX_E_FILE_ERROR`.", Documented,
             transientFolderTwice},
            {"running.share-absent", "Removing one that is not there gives `VBOX_E_FILE_ERROR`.", Documented,
             transientFolderAbsent},
            {"running.share-ends", "It is gone after the power-off.", Documented, transientFolderEnds},
            {"running.property", "Guest properties can be set, transient ones too.", Documented, guestProperty},
            {"running.property-ends", "Transient ones are gone after the power-off, others stay.", Assumed,
             guestPropertyEnds},
            {"running.disk", "The disk of a running machine is LockedWrite, those it is based on are LockedRead.",
             Documented, nullptr, "the probe starts machines without disks only"},
            {"running.runtime-error", "A fatal runtime error pauses the machine before its event comes.", Documented,
             nullptr, "nothing provokes one without harm"},
            {"running.dead-objects", "Objects of an ended process give 0x800706BA, a wait for its event 0x800706BE.",
             Assumed, nullptr, "which of several results comes depends on the moment"},
        }};
}

} // namespace Probe
