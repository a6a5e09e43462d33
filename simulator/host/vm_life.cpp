#include "host/vm_life.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "base/time.h"
#include "host/error_mapping.h"
#include "host/host.h"
#include "host/task.h"
#include "host/vm_log.h"
#include "settings/guest_property_flags.h"

namespace VBoxSim {

namespace {

[[noreturn]] void alreadyLocked(const Machine& machine)
{
    throw Failure(Result::invalidObjectState, L"The machine '" + machine.saved.name +
                                                  L"' is already locked by a session (or being locked or unlocked)");
}

void requireRegistered(const Machine& machine)
{
    if (!machine.registered)
        throw Failure(Result::unexpected, L"The machine '" + machine.working.name + L"' is not registered");
}

void requireFree(const Session& session)
{
    if (session.state != SessionState::Unlocked)
        throw Failure(Result::invalidObjectState, L"The given session is busy");
}

[[noreturn]] void refuseState(const Machine& machine, const wchar_t* allowed)
{
    throw Failure(Result::invalidVmState,
                  L"Invalid machine state: " + stateName(machine.state) + L" (must be " + allowed + L")");
}

void release(Session& session)
{
    session.state = SessionState::Unlocked;
    session.type = SessionType::Null;
    session.machine.reset();
    session.lock.reset();
}

void attach(const SessionPtr& session, const MachinePtr& machine, std::uint32_t type)
{
    if (type == SessionType::WriteLock)
        machine->lock->owner = session;
    else
        machine->lock->guests.push_back(session);
    session->machine = machine;
    session->lock = machine->lock;
    session->type = type;
    session->state = SessionState::Locked;
}

bool isTransient(const GuestPropertySettings& property)
{
    const auto flags = parseGuestPropertyFlags(property.flags);
    return flags && flags->transient;
}

/// Notes in the settings file how the machine came to rest. A file that cannot be written does not keep it running.
void persistRest(Host& host, Machine& machine)
{
    machine.saved.aborted = machine.state == MachineState::Aborted;
    machine.saved.lastStateChange = machine.lastStateChange;
    if (machine.state != MachineState::Saved)
        machine.saved.stateFile.clear();
    std::erase_if(machine.saved.guestProperties, [](const auto& entry) { return isTransient(entry.second); });
    if (machine.accessError)
        return;
    attempt([&] { host.machines().writeSaved(machine, machine.saved); });
}

void forgetRest(MachineSettings& settings)
{
    settings.stateFile.clear();
    settings.aborted = false;
}

/// IMachine::LaunchVMProcess: the machine's process starts and takes the lock, then the machine powers on.
class Launch : public Task
{
public:
    Launch(Host& host, MachinePtr machine, SessionPtr session, const LaunchRequest& request)
        : Task(host, {L"IMachine::LaunchVMProcess",
                      L"Starting VM",
                      true,
                      {{L"Starting the VM process", 1}, {L"Powering on the machine", 3}}}),
          machine_(std::move(machine)),
          session_(std::move(session)),
          lock_(std::make_shared<Lock>())
    {
        lock_->vm = std::make_shared<VmProcess>(host.monitor());
        lock_->vm->frontEnd = request.frontEnd.empty() ? L"gui" : request.frontEnd;
        lock_->vm->environment = request.environment;
        lock_->vm->launch = progress();
    }

    void spawn()
    {
        const auto failure = attempt([&] {
            after(host().scenario().times.spawn, [this] { processStarted(); });
            machine_->discardChanges();
            machine_->lock = lock_;
            session_->state = SessionState::Spawning;
            session_->machine = machine_;
            host().machines().setSessionState(*machine_, SessionState::Spawning);
        });
        if (!failure)
            return;
        end(failure);
        throw Failure(*failure);
    }

private:
    void processStarted()
    {
        if (!lock_->alive)
            return;
        if (session_->state == SessionState::Spawning)
            attach(session_, machine_, SessionType::Remote);
        host().machines().setSessionState(*machine_, SessionState::Locked);
        writeVmLog(host(), *machine_);
        before_ = machine_->state == MachineState::Saved ? MachineState::Saved : MachineState::PoweredOff;
        progress()->advance(1, 0);
        host().machines().setState(*machine_,
                                   before_ == MachineState::Saved ? MachineState::Restoring : MachineState::Starting);
        after(host().scenario().times.start, [this] { poweredOn(); });
    }

    void poweredOn()
    {
        if (!lock_->alive)
            return;
        if (!progress()->isCanceled())
            checkInside();
        checkGoesOn();
        lock_->vm->launch.reset();
        forgetRest(machine_->saved);
        forgetRest(machine_->working);
        host().machines().setState(*machine_, MachineState::Running);
        progress()->forbidCancel();
        end(std::nullopt);
    }

    /// Throws what keeps the machine from starting inside its process.
    void checkInside()
    {
        const auto& ordered = host().scenario().launchFailures;
        for (const std::wstring& name : {machine_->saved.name, machine_->id})
            if (const auto found = ordered.find(name); found != ordered.end())
                throw Failure(found->second.result, found->second.text);
        for (const StorageControllerSettings& controller : machine_->saved.controllers)
            for (const AttachmentSettings& attachment : controller.attachments)
                if (!attachment.medium.empty())
                    requireFile(attachment.medium);
    }

    void requireFile(const std::wstring& id)
    {
        const MediumPtr medium = host().media().find(id);
        if (!medium || !Files::exists(medium->location))
            throw Failure(Result::fileError,
                          L"Could not open the medium '" + (medium ? medium->location : braced(id)) + L"'");
    }

    void rollBack() override
    {
        lock_->vm->launch.reset(); // the launch tells its own failure
        if (machine_->lock != lock_)
            return;
        if (before_) {
            host().machines().setState(*machine_, *before_);
            persistRest(host(), *machine_);
        }
        endLock(host(), *machine_);
    }

    const MachinePtr machine_;
    const SessionPtr session_;
    const LockPtr lock_;
    std::optional<std::uint32_t> before_; ///< once the process runs
};

/// IConsole::PowerDown.
class PowerDown : public Task
{
public:
    PowerDown(Host& host, MachinePtr machine)
        : Task(host,
               {L"IConsole::PowerDown", L"Stopping the virtual machine", false, {{L"Stopping the virtual machine"}}}),
          machine_(std::move(machine)),
          lock_(machine_->lock),
          before_(machine_->state)
    {}

    void stop()
    {
        after(host().scenario().times.stop, [this] { stopped(); });
        if (before_ != MachineState::Stuck)
            host().machines().setState(*machine_, MachineState::Stopping);
    }

private:
    void stopped()
    {
        if (!lock_->alive)
            throw Failure(Result::fail, L"The machine's process has ended");
        checkGoesOn();
        Host& owner = host();
        owner.scheduler().after(owner.scenario().times.holdLock, [&owner, machine = machine_, lock = lock_] {
            if (machine->lock == lock)
                endLock(owner, *machine);
        });
        owner.machines().setState(*machine_, MachineState::PoweredOff);
        persistRest(owner, *machine_);
        end(std::nullopt);
    }

    void rollBack() override
    {
        if (lock_->alive)
            host().machines().setState(*machine_, before_);
    }

    const MachinePtr machine_;
    const LockPtr lock_;
    const std::uint32_t before_;
};

/// A moment as part of a file name.
std::wstring fileTime(std::int64_t milliseconds)
{
    std::wstring text = Time::toIso(milliseconds);
    std::replace(text.begin(), text.end(), L':', L'-');
    return text;
}

/// IMachine::SaveState. There is no guest whose memory could be kept: the file only stands for it.
class SaveState : public Task
{
public:
    SaveState(Host& host, MachinePtr machine)
        : Task(host, {L"IMachine::SaveState",
                      L"Saving the execution state of the virtual machine",
                      false,
                      {{L"Saving the execution state"}}}),
          machine_(std::move(machine)),
          lock_(machine_->lock),
          before_(machine_->state),
          stateFile_(Files::join(machine_->working.snapshotFolder, fileTime(host.clock().milliseconds()) + L".sav")),
          path_(Files::resolve(Files::folderOf(machine_->file), stateFile_))
    {}

    void save()
    {
        after(host().scenario().times.stop, [this] { saved(); });
        host().machines().setState(*machine_, MachineState::Saving);
    }

private:
    void saved()
    {
        if (!lock_->alive)
            throw Failure(Result::fail, L"The machine's process has ended");
        checkGoesOn();
        Host& owner = host();
        owner.disk().createFolder(Files::folderOf(path_));
        owner.disk().writeAtomically(path_, "The memory of a machine of vboxsim, which has none.\n");
        machine_->working.stateFile = stateFile_;
        owner.machines().save(*machine_);
        owner.scheduler().after(owner.scenario().times.holdLock, [&owner, machine = machine_, lock = lock_] {
            if (machine->lock == lock)
                endLock(owner, *machine);
        });
        owner.machines().setState(*machine_, MachineState::Saved);
        end(std::nullopt);
    }

    void rollBack() override
    {
        host().disk().remove(path_);
        machine_->working.stateFile.clear();
        if (lock_->alive)
            host().machines().setState(*machine_, before_);
    }

    const MachinePtr machine_;
    const LockPtr lock_;
    const std::uint32_t before_;
    const std::wstring stateFile_; ///< as the settings name it
    const std::wstring path_;
};

/// Writes another saved state, or none, into the settings.
void writeStateFile(Host& host, Machine& machine, const std::wstring& stateFile)
{
    MachineSettings changed = machine.saved;
    changed.stateFile = stateFile;
    changed.aborted = false;
    if (stateFile.empty())
        std::erase_if(changed.guestProperties, [](const auto& entry) { return isTransient(entry.second); });
    host.machines().writeSaved(machine, std::move(changed));
    machine.working.stateFile = stateFile;
    machine.working.aborted = false;
}

} // namespace

ProgressPtr saveState(Host& host, const MachinePtr& machine)
{
    if (machine->state != MachineState::Running && machine->state != MachineState::Paused)
        refuseState(*machine, L"Running or Paused");
    const auto task = std::make_shared<SaveState>(host, machine);
    task->save();
    return task->progress();
}

void discardSavedState(Host& host, Machine& machine, bool removeFile)
{
    if (machine.state != MachineState::Saved)
        refuseState(machine, L"Saved");
    const std::wstring path = Files::resolve(Files::folderOf(machine.file), machine.saved.stateFile);
    writeStateFile(host, machine, L"");
    host.machines().setState(machine, MachineState::PoweredOff);
    if (removeFile)
        attempt([&] { host.disk().remove(path); }); // VirtualBox does not tell either when this fails
}

void adoptSavedState(Host& host, Machine& machine, const std::wstring& file)
{
    if (machine.state != MachineState::PoweredOff && machine.state != MachineState::Aborted)
        refuseState(machine, L"PoweredOff or Aborted");
    if (file.empty() || !isStorable(file))
        throw Failure(Result::fileError, L"'" + file + L"' is no path of a saved state");
    writeStateFile(host, machine, file);
    host.machines().setState(machine, MachineState::Saved);
}

void requireRunning(const Machine& machine)
{
    if (machine.state != MachineState::Running)
        refuseState(machine, L"Running");
}

void lockMachine(Host& host, const MachinePtr& machine, const SessionPtr& session, std::uint32_t lockType)
{
    requireRegistered(*machine);
    requireFree(*session);
    switch (lockType) {
    case Travik::LockType::VM:
        throw Failure(Result::accessDenied, L"Only the process that LaunchVMProcess started may take this lock");
    case Travik::LockType::Shared:
        if (machine->sessionState == SessionState::Locked) {
            attach(session, machine, SessionType::Shared);
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
    machine->discardChanges();
    machine->lock = std::make_shared<Lock>();
    attach(session, machine, SessionType::WriteLock);
    host.machines().setSessionState(*machine, SessionState::Locked);
}

void endLock(Host& host, Machine& machine)
{
    const LockPtr lock = std::exchange(machine.lock, nullptr);
    if (!lock)
        return;
    // First what cannot fail: whatever happens after it, the machine and its sessions are free.
    lock->alive = false;
    machine.sessionState = SessionState::Unlocked;
    if (lock->owner)
        release(*lock->owner);
    for (const SessionPtr& guest : lock->guests)
        if (guest->lock == lock) // it may have gone on to another machine
            release(*guest);
    if (lock->vm) {
        lock->vm->events->close();
        if (const ProgressPtr launch = lock->vm->launch.lock())
            launch->fail(Failure(Result::fail, L"The virtual machine '" + machine.saved.name +
                                                   L"' has terminated unexpectedly during startup"));
        // The launching session waits for a process that is no more.
        for (const auto& [id, session] : host.sessions().all())
            if (session->state == SessionState::Spawning && session->machine.get() == &machine)
                release(*session);
    }
    machine.discardChanges();
    host.machines().setSessionState(machine, SessionState::Unlocked);
    host.monitor().notify();
}

void unlockSession(Host& host, const SessionPtr& session)
{
    const MachinePtr machine = session->machine;
    const LockPtr lock = session->lock;
    if (session->type != SessionType::WriteLock) {
        std::erase(lock->guests, session);
        release(*session);
        return;
    }
    const std::uint32_t wait = host.scenario().times.unlock;
    host.machines().setSessionState(*machine, SessionState::Unlocking);
    if (wait == 0) {
        endLock(host, *machine);
        return;
    }
    lock->alive = false;
    release(*session);
    lock->owner.reset();
    host.scheduler().after(wait, [&host, machine, lock] {
        if (machine->lock == lock)
            endLock(host, *machine);
    });
}

void abandonSession(Host& host, const SessionPtr& session)
{
    const MachinePtr machine = session->machine;
    if (session->state == SessionState::Locked && session->type == SessionType::WriteLock) {
        endLock(host, *machine);
        host.machines().setState(*machine, MachineState::Aborted);
        persistRest(host, *machine);
        machine->working = machine->saved;
        return;
    }
    if (session->lock)
        std::erase(session->lock->guests, session);
    release(*session); // a machine that it launches goes on
}

ProgressPtr launchMachine(Host& host, const MachinePtr& machine, const SessionPtr& session,
                          const LaunchRequest& request)
{
    requireRegistered(*machine);
    const std::wstring& frontEnd = request.frontEnd;
    if (!frontEnd.empty() && frontEnd != L"gui" && frontEnd != L"headless" && frontEnd != L"sdl")
        throw Failure(Result::invalidArgument, L"Invalid machine type '" + frontEnd + L"'");
    requireFree(*session);
    if (machine->sessionState != SessionState::Unlocked)
        alreadyLocked(*machine);
    const auto launch = std::make_shared<Launch>(host, machine, session, request);
    launch->spawn();
    return launch->progress();
}

ProgressPtr powerDown(Host& host, const MachinePtr& machine)
{
    if (machine->state != MachineState::Running && machine->state != MachineState::Paused &&
        machine->state != MachineState::Stuck)
        refuseState(*machine, L"Running, Paused or Stuck");
    const auto task = std::make_shared<PowerDown>(host, machine);
    task->stop();
    return task->progress();
}

void pauseMachine(Host& host, Machine& machine)
{
    if (machine.state != MachineState::Running)
        refuseState(machine, L"Running");
    host.machines().setState(machine, MachineState::Paused);
}

void resumeMachine(Host& host, Machine& machine)
{
    if (machine.state != MachineState::Paused)
        refuseState(machine, L"Paused");
    host.machines().setState(machine, MachineState::Running);
}

void crashMachine(Host& host, Machine& machine)
{
    if (!machine.vm())
        throw Failure(Result::invalidVmState, L"The machine '" + machine.saved.name + L"' has no process");
    machine.vm()->events->close(); // gone with the process, before anybody notices
    host.machines().setState(machine, MachineState::Aborted);
    persistRest(host, machine);
    endLock(host, machine);
}

void raiseRuntimeError(Host& host, Machine& machine, const RuntimeError& error)
{
    if (machine.state != MachineState::Running && machine.state != MachineState::Paused)
        refuseState(machine, L"Running or Paused");
    if (error.fatal && machine.state == MachineState::Running)
        pauseMachine(host, machine);
    Event event;
    event.type = EventType::OnRuntimeError;
    event.flag = error.fatal;
    event.errorId = error.id;
    event.message = error.message;
    machine.vm()->events->fire(std::move(event));
}

} // namespace VBoxSim
