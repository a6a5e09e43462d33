#include "host/vm_life.h"

#include "base/files.h"
#include "base/text.h"
#include "base/time.h"
#include "host/error_mapping.h"
#include "host/scheduler.h"
#include "settings/guest_property_flags.h"

#include <algorithm>
#include <optional>

namespace VBoxSim {

namespace {

enum SessionType : std::uint32_t
{
    noType = 0,
    writeLock = 1,
    remote = 2,
    shared = 3
};

[[noreturn]] void alreadyLocked(const MachineData& machine)
{
    throw Failure(Result::invalidObjectState, L"The machine '" + machine.saved.name +
                                                  L"' is already locked by a session (or being locked or unlocked)");
}

void requireRegistered(const MachineData& machine)
{
    if (!machine.registered)
        throw Failure(Result::unexpected, L"The machine '" + machine.working.name + L"' is not registered");
}

void requireFree(const SessionData& session)
{
    if (session.state != SessionState::Unlocked)
        throw Failure(Result::invalidObjectState, L"The given session is busy");
}

void release(SessionData& session)
{
    session.state = SessionState::Unlocked;
    session.type = noType;
    session.machine.reset();
    session.lock.reset();
}

void attach(const SessionPtr& session, const MachinePtr& machine, std::uint32_t type)
{
    session->machine = machine;
    session->lock = machine->lock;
    session->type = type;
    session->state = SessionState::Locked;
    if (type == writeLock)
        machine->lock->owner = session;
    else
        machine->lock->guests.push_back(session);
}

/// Notes in the settings file how the machine came to rest. A file that cannot be written does not keep it running.
void persistRest(MachineData& machine)
{
    machine.saved.aborted = machine.state == MachineState::Aborted;
    machine.saved.lastStateChange = machine.lastStateChange;
    if (machine.state != MachineState::Saved)
        machine.saved.stateFile.clear();
    std::erase_if(machine.saved.guestProperties, [](const auto& entry) {
        const auto flags = parseGuestPropertyFlags(entry.second.flags);
        return flags && flags->transient;
    });
    if (machine.accessError)
        return;
    try {
        World::instance().rewriteSaved(machine);
    } catch (const Failure&) {
    }
}

/// The log that a VM process leaves, with what it was started with.
void writeLog(const MachineData& machine)
{
    const std::wstring folder = Files::join(Files::folderOf(machine.file), L"Logs");
    const auto log = [&](int age) {
        return Files::join(folder, age ? L"VBox.log." + std::to_wstring(age) : L"VBox.log");
    };
    Files::remove(log(3));
    for (int age = 2; age >= 0; --age)
        Files::move(log(age), log(age + 1));
    std::wstring text = L"vboxsim: no guest runs here\nmachine: " + machine.saved.name + L"\nfront end: " +
                        machine.vm()->frontEnd + L"\nstarted: " + Time::toIso(Time::nowMilliseconds()) + L"\n";
    for (const std::wstring& change : machine.vm()->environment)
        text += L"environment: " + change + L"\n";
    try {
        Files::writeAtomically(log(0), toUtf8(text));
    } catch (const Failure&) {
    }
}

/// What keeps the machine from starting inside its process.
std::optional<Failure> launchFailure(const MachineData& machine, const ProgressData& progress)
{
    if (progress.isCanceled())
        return canceledFailure();
    const auto& ordered = World::instance().scenario().launchFailures;
    for (const std::wstring& name : {machine.saved.name, machine.id}) {
        const auto found = ordered.find(name);
        if (found != ordered.end())
            return Failure(found->second.result, found->second.text);
    }
    for (const StorageControllerSettings& controller : machine.saved.controllers) {
        for (const AttachmentSettings& attachment : controller.attachments) {
            const MediumPtr medium = World::instance().findMedium(attachment.medium);
            if (attachment.medium.empty() || (medium && Files::exists(medium->location)))
                continue;
            return Failure(Result::fileError, L"Could not open the medium '" +
                                                  (medium ? medium->location : braced(attachment.medium)) + L"'");
        }
    }
    return progress.orderedFailure();
}

void startFinished(const MachinePtr& machine, const LockPtr& lock, const ProgressPtr& progress,
                   std::uint32_t stateBefore)
{
    if (!lock->alive)
        return;
    if (const auto failure = launchFailure(*machine, *progress)) {
        World::instance().setState(*machine, stateBefore);
        persistRest(*machine);
        progress->fail(*failure); // before the lock ends: the end of a launch in progress has a text of its own
        endLock(*machine);
        return;
    }
    lock->vm->launch.reset();
    machine->saved.stateFile.clear();
    machine->saved.aborted = false;
    machine->working.stateFile.clear();
    machine->working.aborted = false;
    World::instance().setState(*machine, MachineState::Running);
    progress->forbidCancel();
    progress->succeed();
}

void processStarted(const MachinePtr& machine, const LockPtr& lock, const SessionPtr& session,
                    const ProgressPtr& progress)
{
    if (!lock->alive)
        return;
    World& world = World::instance();
    if (session && session->state == SessionState::Spawning)
        attach(session, machine, remote);
    world.setSessionState(*machine, SessionState::Locked);
    writeLog(*machine);
    const std::uint32_t before = machine->state == MachineState::Saved ? MachineState::Saved : MachineState::PoweredOff;
    progress->advance(1, 0);
    world.setState(*machine, before == MachineState::Saved ? MachineState::Restoring : MachineState::Starting);
    Scheduler::instance().after(world.scenario().times.start, [=] { startFinished(machine, lock, progress, before); });
}

void refuseState(const MachineData& machine, const wchar_t* allowed)
{
    throw Failure(Result::invalidVmState,
                  L"Invalid machine state: " + stateName(machine.state) + L" (must be " + allowed + L")");
}

} // namespace

std::wstring stateName(std::uint32_t state)
{
    constexpr const wchar_t* names[] = {L"Null",     L"PoweredOff", L"Saved",  L"Teleported",  L"Aborted",
                                        L"Running",  L"Paused",     L"Stuck",  L"Teleporting", L"LiveSnapshotting",
                                        L"Starting", L"Stopping",   L"Saving", L"Restoring"};
    return state < std::size(names) ? names[state] : std::to_wstring(state);
}

std::wstring sessionStateName(std::uint32_t state)
{
    constexpr const wchar_t* names[] = {L"Null", L"Unlocked", L"Locked", L"Spawning", L"Unlocking"};
    return state < std::size(names) ? names[state] : std::to_wstring(state);
}

void lockMachine(const MachinePtr& machine, const SessionPtr& session, std::uint32_t lockType)
{
    requireRegistered(*machine);
    requireFree(*session);
    switch (lockType) {
    case Travik::LockType::VM:
        throw Failure(Result::accessDenied, L"Only the process that LaunchVMProcess started may take this lock");
    case Travik::LockType::Shared:
        if (machine->sessionState == SessionState::Locked) {
            attach(session, machine, shared);
            return;
        }
        break;
    case Travik::LockType::Write:
        break;
    default:
        throw Failure(Result::invalidArgument, L"Invalid lock type");
    }
    if (machine->sessionState != SessionState::Unlocked)
        alreadyLocked(*machine);
    machine->lock = std::make_shared<Lock>();
    machine->working = machine->saved;
    machine->modified = false;
    attach(session, machine, writeLock);
    World::instance().setSessionState(*machine, SessionState::Locked);
}

void endLock(MachineData& machine)
{
    const LockPtr lock = machine.lock;
    if (!lock)
        return;
    World& world = World::instance();
    lock->alive = false;
    if (lock->owner)
        release(*lock->owner);
    for (const SessionPtr& guest : lock->guests)
        release(*guest);
    if (lock->vm) {
        lock->vm->events->close();
        if (const ProgressPtr launch = lock->vm->launch.lock())
            launch->fail(Failure(Result::fail, L"The virtual machine '" + machine.saved.name +
                                                   L"' has terminated unexpectedly during startup"));
        // The launching session waits for a process that is no more.
        for (const auto& [id, session] : world.sessions())
            if (session->state == SessionState::Spawning && session->machine.get() == &machine)
                release(*session);
    }
    machine.lock.reset();
    machine.working = machine.saved;
    machine.modified = false;
    world.setSessionState(machine, SessionState::Unlocked);
    worldChanged().notify_all();
}

void unlockSession(const SessionPtr& session)
{
    if (session->state != SessionState::Locked)
        throw Failure(Result::unexpected,
                      L"The session is not locked (session state: " + sessionStateName(session->state) + L")");
    const MachinePtr machine = session->machine;
    const LockPtr lock = session->lock;
    if (session->type != writeLock) {
        std::erase(lock->guests, session);
        release(*session);
        return;
    }
    const std::uint32_t wait = World::instance().scenario().times.unlock;
    World::instance().setSessionState(*machine, SessionState::Unlocking);
    if (wait == 0) {
        endLock(*machine);
        return;
    }
    lock->alive = false;
    release(*session);
    lock->owner.reset();
    Scheduler::instance().after(wait, [machine, lock] {
        if (machine->lock == lock)
            endLock(*machine);
    });
}

void dropSession(const SessionPtr& session)
{
    World& world = World::instance();
    world.forgetSession(session->id);
    const MachinePtr machine = session->machine;
    if (session->state == SessionState::Locked && session->type == writeLock) {
        endLock(*machine);
        world.setState(*machine, MachineState::Aborted);
        persistRest(*machine);
        machine->working = machine->saved;
    } else if (session->lock) {
        std::erase(session->lock->guests, session);
        release(*session);
    } else {
        release(*session); // a machine that it launches goes on
    }
}

void dropClient(DWORD process)
{
    World& world = World::instance();
    for (const SessionPtr& session : world.sessionsOf(process))
        dropSession(session);
    world.events()->dropListenersOf(process);
    for (const MachinePtr& machine : world.machines())
        if (VmProcess* vm = machine->vm())
            vm->events->dropListenersOf(process);
}

ProgressPtr launchMachine(const MachinePtr& machine, const SessionPtr& session, const std::wstring& frontEnd,
                          const std::vector<std::wstring>& environment)
{
    requireRegistered(*machine);
    if (!frontEnd.empty() && frontEnd != L"gui" && frontEnd != L"headless" && frontEnd != L"sdl")
        throw Failure(Result::invalidArgument, L"Invalid machine type '" + frontEnd + L"'");
    requireFree(*session);
    if (machine->sessionState != SessionState::Unlocked)
        alreadyLocked(*machine);

    World& world = World::instance();
    const auto progress = std::make_shared<ProgressData>(
        L"IMachine::LaunchVMProcess", L"Starting VM", true,
        std::vector<ProgressData::Operation>{{L"Starting the VM process", 1}, {L"Powering on the machine", 3}});
    const auto lock = std::make_shared<Lock>();
    lock->vm = std::make_shared<VmProcess>();
    lock->vm->frontEnd = frontEnd.empty() ? L"gui" : frontEnd;
    lock->vm->environment = environment;
    lock->vm->launch = progress;
    machine->lock = lock;
    machine->working = machine->saved;
    machine->modified = false;
    session->state = SessionState::Spawning;
    session->machine = machine;
    world.setSessionState(*machine, SessionState::Spawning);
    Scheduler::instance().after(world.scenario().times.spawn,
                                [=] { processStarted(machine, lock, session, progress); });
    return progress;
}

ProgressPtr powerDown(const MachinePtr& machine)
{
    if (machine->state != MachineState::Running && machine->state != MachineState::Paused &&
        machine->state != MachineState::Stuck)
        refuseState(*machine, L"Running, Paused or Stuck");
    const auto progress =
        std::make_shared<ProgressData>(L"IConsole::PowerDown", L"Stopping the virtual machine", false,
                                       std::vector<ProgressData::Operation>{{L"Stopping the virtual machine", 1}});
    World& world = World::instance();
    const std::uint32_t before = machine->state;
    const LockPtr lock = machine->lock;
    if (before != MachineState::Stuck)
        world.setState(*machine, MachineState::Stopping);
    Scheduler::instance().after(world.scenario().times.stop, [machine, lock, progress, before] {
        if (!lock->alive) {
            progress->fail(Failure(Result::fail, L"The machine's process has ended"));
            return;
        }
        World& world = World::instance();
        if (const auto failure = progress->orderedFailure()) {
            world.setState(*machine, before);
            progress->fail(*failure);
            return;
        }
        world.setState(*machine, MachineState::PoweredOff);
        persistRest(*machine);
        progress->succeed();
        Scheduler::instance().after(world.scenario().times.holdLock, [machine, lock] {
            if (machine->lock == lock)
                endLock(*machine);
        });
    });
    return progress;
}

void pauseMachine(MachineData& machine)
{
    if (machine.state != MachineState::Running)
        refuseState(machine, L"Running");
    World::instance().setState(machine, MachineState::Paused);
}

void resumeMachine(MachineData& machine)
{
    if (machine.state != MachineState::Paused)
        refuseState(machine, L"Paused");
    World::instance().setState(machine, MachineState::Running);
}

void crashMachine(MachineData& machine)
{
    if (!machine.vm())
        throw Failure(Result::invalidVmState, L"The machine '" + machine.saved.name + L"' has no process");
    machine.vm()->events->close(); // gone with the process, before anybody notices
    World::instance().setState(machine, MachineState::Aborted);
    persistRest(machine);
    endLock(machine);
}

void raiseRuntimeError(MachineData& machine, bool fatal, const std::wstring& id, const std::wstring& message)
{
    if (machine.state != MachineState::Running && machine.state != MachineState::Paused)
        refuseState(machine, L"Running or Paused");
    if (fatal && machine.state == MachineState::Running)
        pauseMachine(machine);
    EventData event;
    event.type = EventType::OnRuntimeError;
    event.flag = fatal;
    event.errorId = id;
    event.message = message;
    machine.vm()->events->fire(std::move(event));
}

} // namespace VBoxSim
