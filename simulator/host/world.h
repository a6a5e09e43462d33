#pragma once

#include "base/failure.h"
#include "com/event_objects.h"
#include "com/progress_object.h"
#include "host/scenario.h"
#include "settings/global_settings.h"
#include "settings/machine_settings.h"

#include "travik/vbox_types.h"

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VBoxSim {

namespace MachineState = Travik::MachineState;
namespace SessionState = Travik::SessionState;
namespace MediumState = Travik::MediumState;

struct MachineData;
using MachinePtr = std::shared_ptr<MachineData>;
struct Lock;
using LockPtr = std::shared_ptr<Lock>;

/// A session object of a client, known by the identifier that it gave itself.
struct SessionData
{
    std::wstring id;
    DWORD process = 0;
    std::wstring name;
    std::uint32_t state = SessionState::Unlocked;
    std::uint32_t type = 0; ///< SessionType
    MachinePtr machine;
    LockPtr lock;
};
using SessionPtr = std::shared_ptr<SessionData>;

/// The process of a running machine, as far as clients see it.
struct VmProcess
{
    EventSourcePtr events = std::make_shared<EventSourceData>();
    std::list<SharedFolderSettings> sharedFolders; ///< those of the console, gone with it
    std::wstring frontEnd;
    std::vector<std::wstring> environment;
    std::weak_ptr<ProgressData> launch; ///< until the machine runs
};

/// What holds a machine: a client's session, or a VM process. Its end makes the session's machine object useless.
struct Lock
{
    bool alive = true;
    SessionPtr owner; ///< null for a VM process
    std::vector<SessionPtr> guests;
    std::shared_ptr<VmProcess> vm;
};

/// A machine, known by its settings file. All of its COM objects share this.
struct MachineData
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
    /// The settings that those see who hold no lock.
    const MachineSettings& visible() const { return registered ? saved : working; }
};

/// A disk image that the server knows.
struct MediumData
{
    std::wstring id;
    std::wstring location;
    std::wstring format;
    std::wstring type = L"Normal";
    std::uint32_t deviceType = DeviceKind::hardDisk;
    std::wstring parent; ///< UUID; empty for a base image
    std::wstring description;
    std::uint32_t state = MediumState::Inaccessible; ///< the locked states are worked out when asked
    std::wstring lastAccessError;
    std::int64_t size = 0;
    std::int64_t logicalSize = 0;
    bool closed = false;
};
using MediumPtr = std::shared_ptr<MediumData>;

/// Everything that the server keeps. Guarded by the world's mutex.
class World
{
public:
    static World& instance();

    /// Reads the world from its home folder. A damaged machine does not stop the others; a damaged VirtualBox.xml gives
    /// an empty world, whose first calls fail with `startError`.
    void load(const std::wstring& home);
    /// Ends every machine and session and reads the world again. Objects that clients hold are useless afterwards.
    void reset();

    const std::wstring& home() const { return home_; }
    std::wstring settingsFile() const;
    const std::optional<Failure>& startError() const { return startError_; }
    Scenario& scenario() { return scenario_; }
    const EventSourcePtr& events() const { return events_; }

    // ---- machines

    const std::vector<MachinePtr>& machines() const { return machines_; }
    /// By exact name or UUID; inaccessible machines only by UUID. Throws Failure(objectNotFound).
    MachinePtr findMachine(const std::wstring& nameOrId) const;
    bool isNameTaken(const std::wstring& name) const;

    MachinePtr openMachine(const std::wstring& file);
    MachinePtr createMachine(const std::wstring& settingsFile, const std::wstring& name,
                             const std::vector<std::wstring>& groups, const std::wstring& osType,
                             const std::wstring& flags);
    /// An unregistered machine with settings that come from elsewhere.
    MachinePtr adoptMachine(const MachineSettings& settings, const std::wstring& file);
    void registerMachine(const MachinePtr& machine);
    void unregisterMachine(const MachinePtr& machine);
    /// Reads the settings of an inaccessible machine again.
    void refreshAccess(MachineData& machine);
    /// Commits the working settings: writes the file, and moves it first when the name changed.
    void saveMachine(MachineData& machine);
    /// Writes what was changed in the saved settings themselves, leaving aside the working ones.
    void rewriteSaved(MachineData& machine);

    std::wstring composeMachineFile(const std::wstring& name, const std::wstring& group, const std::wstring& flags,
                                    const std::wstring& baseFolder) const;
    std::wstring defaultMachineFolder() const;
    void setDefaultMachineFolder(const std::wstring& folder);
    std::map<std::wstring, std::wstring>& extraData() { return settings_.extraData; }
    void saveRegistry();

    void setState(MachineData& machine, std::uint32_t state);
    void setSessionState(MachineData& machine, std::uint32_t state);
    void fire(EventData event) { events_->fire(std::move(event)); }

    // ---- sessions

    /// The session of that identifier, made when it is new.
    SessionPtr session(const std::wstring& id, DWORD process);
    /// Null when the server does not know it.
    SessionPtr knownSession(const std::wstring& id) const;
    void forgetSession(const std::wstring& id) { sessions_.erase(id); }
    std::vector<SessionPtr> sessionsOf(DWORD process) const;
    const std::map<std::wstring, SessionPtr>& sessions() const { return sessions_; }

    // ---- media

    const std::vector<MediumPtr>& media() const { return media_; }
    /// Null when there is none.
    MediumPtr findMedium(const std::wstring& id) const;
    MediumPtr openMedium(const std::wstring& location, std::uint32_t deviceType, bool forceNewUuid);
    /// Makes the media of a machine's registry known.
    void learnMedia(const MachineSettings& settings);
    void addMedium(const MediumPtr& medium);
    /// Forgets a medium everywhere, also in the machines' registries.
    void forgetMedium(const MediumPtr& medium);
    std::vector<MediumPtr> childrenOf(const MediumData& medium) const;
    /// Machines that have it attached, in their current state or a snapshot.
    std::vector<MachinePtr> machinesUsing(const std::wstring& medium) const;
    bool isMediumBusy(const MediumData& medium) const;
    std::uint32_t stateOf(const MediumData& medium) const;
    std::uint32_t refresh(MediumData& medium);

private:
    void moveToNewName(MachineData& machine);
    /// Notes in the registry where a settings file goes before it goes there; an empty path takes the note back.
    void announceMove(const MachineData& machine, const std::wstring& newFile);
    std::vector<MachinePtr> everyMachine() const;

    std::wstring home_;
    std::optional<Failure> startError_;
    GlobalSettings settings_;
    Scenario scenario_;
    EventSourcePtr events_ = std::make_shared<EventSourceData>();
    std::vector<MachinePtr> machines_;
    /// Machines that are not registered but may still be held by somebody.
    std::vector<std::weak_ptr<MachineData>> unregistered_;
    std::map<std::wstring, SessionPtr> sessions_;
    std::vector<MediumPtr> media_;
};

/// A medium as a machine's registry lists it.
MediumRecord recordOf(const MediumData& medium);

} // namespace VBoxSim
