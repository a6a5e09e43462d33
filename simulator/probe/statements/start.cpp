// Starting a machine and ending it.
#include "lab.h"
#include "listener.h"

namespace Probe {
namespace {

using enum Ground;

HRESULT launch(const ComPtr<IMachine>& machine, const ComPtr<ISession>& session, const wchar_t* frontEnd,
               ComPtr<IProgress>& progress)
{
    return machine->LaunchVMProcess(session.Get(), Text(frontEnd), nullptr, &progress);
}

Finding unknownFrontEnd(Lab& lab)
{
    ComPtr<IProgress> progress;
    return answers(Result::InvalidArg, launch(lab.machine(), lab.session(), L"no-such-front-end", progress));
}

Finding startUnregistered(Lab& lab)
{
    ComPtr<IProgress> progress;
    return answers(Result::Unexpected, launch(lab.unregistered(), lab.session(), L"headless", progress));
}

void powerDown(const RunningMachine& machine)
{
    ComPtr<IProgress> progress;
    must(machine.console->PowerDown(&progress));
    finishWell(progress);
}

bool becomesFree(const RunningMachine& machine)
{
    return soon([&] { return sessionStateOf(machine.listed) == SessionState::Unlocked; });
}

Finding starts(Lab& lab)
{
    const RunningMachine& machine = lab.running();
    return all({machineState(MachineState::Running, stateOf(machine.listed)),
                sessionState(SessionState::Locked, read(machine.session, &ISession::get_State)),
                equal(SessionType::Remote, read(machine.session, &ISession::get_Type)),
                yes(machine.console != nullptr)});
}

Finding launchProgress(Lab& lab)
{
    lab.needStart();
    const ComPtr<IMachine> machine = lab.machine();
    const ComPtr<ISession> session = lab.session();
    ComPtr<IProgress> progress;
    must(launch(machine, session, L"headless", progress));
    const std::uint32_t meanwhile = sessionStateOf(machine);
    const ULONG operations = read(progress, &IProgress::get_OperationCount);
    finish(progress);
    return all({says(meanwhile == SessionState::Spawning || meanwhile == SessionState::Locked, "Spawning or Locked",
                     std::to_string(meanwhile)),
                says(operations >= 2, "2 operations or more", std::to_string(operations))});
}

/// Which states of machine and session the events told, up to Running.
std::string storyOf(Listener& listener, const std::wstring& id)
{
    std::string story;
    while (const ComPtr<IEvent> event = listener.next(20'000)) {
        const auto of = query<IMachineEvent>(event);
        if (!of || text(of, &IMachineEvent::get_MachineId) != id)
            continue;
        if (const auto session = query<ISessionStateChangedEvent>(event))
            story += "session " + std::to_string(read(session, &ISessionStateChangedEvent::get_State)) + ", ";
        if (const auto state = query<IMachineStateChangedEvent>(event)) {
            const ULONG now = read(state, &IMachineStateChangedEvent::get_State);
            story += "machine " + std::to_string(now) + ", ";
            if (now == MachineState::Running || now == MachineState::PoweredOff)
                break;
        }
    }
    return story;
}

Finding startEvents(Lab& lab)
{
    lab.needStart();
    const ComPtr<IMachine> machine = lab.machine();
    Listener listener(object(lab.box, &IVirtualBox::get_EventSource),
                      {VBoxEventType::OnMachineStateChanged, VBoxEventType::OnSessionStateChanged});
    const RunningMachine running = lab.start(machine);
    return equal("session 3, session 2, machine 10, machine 5, ", storyOf(listener, text(machine, &IMachine::get_Id)));
}

Finding stopEvents(Lab& lab)
{
    lab.needStart();
    const RunningMachine machine = lab.start(lab.machine());
    Listener listener(object(lab.box, &IVirtualBox::get_EventSource), {VBoxEventType::OnMachineStateChanged});
    powerDown(machine);
    const std::string story = storyOf(listener, text(machine.listed, &IMachine::get_Id));
    becomesFree(machine);
    return equal("machine 11, machine 1, ", story);
}

Finding stops(Lab& lab)
{
    const RunningMachine machine = lab.running();
    lab.stopRunning();
    return all({machineState(MachineState::PoweredOff, stateOf(machine.listed)),
                sessionState(SessionState::Unlocked, sessionStateOf(machine.listed))});
}

Finding sessionsClosed(Lab& lab)
{
    lab.needStart();
    const RunningMachine machine = lab.start(lab.machine());
    powerDown(machine);
    const bool closed = soon([&] { return read(machine.session, &ISession::get_State) == SessionState::Unlocked; });
    ComPtr<IMachine> own;
    ULONG state = 0;
    const HRESULT ofSession = machine.session->get_Machine(&own), ofConsole = machine.console->get_State(&state);
    becomesFree(machine);
    return all({yes(closed), answers(Result::Unexpected, ofSession), fails(ofConsole)});
}

Finding deadEventSource(Lab& lab)
{
    lab.needStart();
    const RunningMachine machine = lab.start(lab.machine());
    const auto source = object(machine.console, &IConsole::get_EventSource);
    powerDown(machine);
    becomesFree(machine);
    ComPtr<IEventListener> listener;
    return fails(source->CreateListener(&listener));
}

Finding emergencyStop(Lab& lab)
{
    lab.needStart();
    const RunningMachine machine = lab.start(lab.machine());
    ComPtr<IProgress> progress;
    const HRESULT result = machine.listed->LaunchVMProcess(nullptr, Text(L"emergencystop"), nullptr, &progress);
    becomesFree(machine);
    return all(
        {answers(Result::Ok, result), yes(!progress), machineState(MachineState::Aborted, stateOf(machine.listed))});
}

Finding startsAborted(Lab& lab)
{
    lab.needStart();
    const ComPtr<IMachine> machine = lab.machine();
    {
        const ComPtr<ISession> dropped = lab.session();
        must(machine->LockMachine(dropped.Get(), LockType::Write));
    }
    soon([&] { return stateOf(machine) == MachineState::Aborted; });
    const RunningMachine started = lab.start(machine);
    return machineState(MachineState::Running, stateOf(machine));
}

Finding leftRunning(Lab& lab)
{
    lab.needStart();
    const RunningMachine machine = lab.start(lab.machine());
    must(machine.session->UnlockMachine());
    return all({machineState(MachineState::Running, stateOf(machine.listed)),
                yes(soon([&] { return read(machine.session, &ISession::get_State) == SessionState::Unlocked; }))});
}

} // namespace

Subject startStatements()
{
    return {
        "start",
        "Starting and ending a machine",
        {
            {"start.unknown-front-end", "A front end that does not exist gives `E_INVALIDARG`.", Documented,
             unknownFrontEnd},
            {"start.unregistered", "A machine that is not registered gives `E_UNEXPECTED`.", Documented,
             startUnregistered},
            {"start.running",
             "After the start the machine is Running, and the session Locked, of type Remote, with a "
             "console.",
             Documented, starts},
            {"start.progress", "The start has two operations or more; meanwhile the machine's session is Spawning.",
             Documented, launchProgress},
            {"start.events", "Events tell: session Spawning, session Locked, machine Starting, machine Running.",
             Documented, startEvents},
            {"start.session-early", "The caller's session is Locked before the machine is Running.", Assumed, nullptr,
             "it would need a look at one moment of the start"},
            {"start.missing-disk", "A missing disk image fails the start.", Assumed, nullptr,
             "the probe starts machines without disks only"},
            {"start.environment", "The environment that the caller gives is the machine process's.", Documented,
             nullptr, "VirtualBox tells nobody"},
            {"start.stop-events", "Power-off passes Stopping and ends in PoweredOff.", Documented, stopEvents},
            {"start.stop", "A moment later the machine is unlocked.", Documented, stops},
            {"start.sessions-closed",
             "The sessions that were linked to it become Unlocked by themselves, and their "
             "machine and console fail.",
             Documented, sessionsClosed},
            {"start.event-source", "So does the console's event source.", Documented, deadEventSource},
            {"start.emergency-stop", "`emergencystop` ends the machine's process at once, without progress: Aborted.",
             Documented, emergencyStop},
            {"start.aborted", "An Aborted machine starts as a powered-off one does.", Documented, startsAborted},
            {"start.unlock", "Unlocking the session that started it leaves the machine running.", Documented,
             leftRunning},
        }};
}

} // namespace Probe
