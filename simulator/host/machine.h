#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/failure.h"
#include "host/events.h"
#include "host/progress.h"
#include "settings/machine_settings.h"
#include "travik/vbox_types.h"

namespace VBoxSim {

namespace MachineState = Travik::MachineState;
namespace SessionState = Travik::SessionState;
namespace SessionType = Travik::SessionType;

struct Machine;
using MachinePtr = std::shared_ptr<Machine>;
struct Lock;
using LockPtr = std::shared_ptr<Lock>;

/// A session object of a client, known by the identifier that it gave itself.
struct Session
{
    std::wstring id;
    ClientId process = 0;
    std::wstring name;
    std::uint32_t state = SessionState::Unlocked;
    std::uint32_t type = SessionType::Null;
    MachinePtr machine;
    LockPtr lock;
};
using SessionPtr = std::shared_ptr<Session>;

/// The process of a running machine, as far as clients see it.
struct VmProcess
{
    explicit VmProcess(Monitor& monitor) : events(std::make_shared<EventSource>(monitor)) {}

    EventSourcePtr events;
    std::vector<SharedFolderSettings> sharedFolders; ///< those of the console, gone with it
    std::wstring frontEnd;
    std::vector<std::wstring> environment;
    std::weak_ptr<Progress> launch; ///< until the machine runs
};

/// What holds a machine: a client's session, or a VM process. Its end makes the session's machine object useless.
struct Lock
{
    bool alive = true;
    SessionPtr owner; ///< null for a VM process
    std::vector<SessionPtr> guests;
    std::shared_ptr<VmProcess> vm;
};

/// A machine, known by its settings file. Whatever clients have of it shares this.
struct Machine
{
    std::wstring id;
    std::wstring file;
    bool registered = false;
    /// No call on the machine works any more.
    bool dead = false;
    /// The target of a clone that is being made.
    bool busy = false;
    /// Set while the settings file cannot be used.
    std::optional<Failure> accessError;

    /// What lies on disk, and what the session's machine (or the unregistered one) has made of it.
    MachineSettings saved;
    MachineSettings working;
    bool modified = false;

    std::uint32_t state = MachineState::PoweredOff;
    std::int64_t lastStateChange = 0;
    std::uint32_t sessionState = SessionState::Unlocked;
    LockPtr lock;

    bool isOnline() const { return state >= MachineState::Running && state <= MachineState::OnlineSnapshotting; }
    VmProcess* vm() const { return lock ? lock->vm.get() : nullptr; }
    void discardChanges()
    {
        working = saved;
        modified = false;
    }
};

Event machineEvent(std::uint32_t type, const Machine& machine);

/// The name of a state as VirtualBox's texts have it.
std::wstring stateName(std::uint32_t machineState);
std::wstring sessionStateName(std::uint32_t sessionState);

} // namespace VBoxSim
