#pragma once

#include <string>
#include <vector>

#include "host/machine.h"
#include "host/medium.h"
#include "settings/machine_settings.h"

namespace VBoxSim {

class Host;

/// In which states a setting may be changed, besides on a machine that is not registered.
enum class Allowed
{
    Off, ///< powered off or aborted
    OffOrSaved,
    OffOrRunning, ///< also running or paused
};

/// A machine as one client sees it: the registered machine, an unregistered one, or the machine of a session, whose
/// changes others see only once they are saved. All with the host's mutex held; what is refused throws Failure.
class MachineView
{
public:
    /// With a lock it is the machine of the sessions that share the lock.
    MachineView(Host& host, MachinePtr machine, LockPtr lock = nullptr);

    Host& host() const { return *host_; }
    const MachinePtr& machine() const { return machine_; }

    /// Throws when the view takes no calls any more, or when its machine is gone.
    void checkUsable() const;
    void checkNotGone() const;
    void checkNotDead() const;
    bool isMutable() const { return lock_ || !machine_->registered; }
    void requireMutable() const;
    /// The settings that this view shows, and those to change; throws Failure(invalidVmState) when it may not now.
    const MachineSettings& settings() const;
    MachineSettings& change(Allowed allowed) const;

    // ---- attributes (machine_view.cpp)

    bool isAccessible() const;
    void setName(const std::wstring& name) const;
    void setDescription(const std::wstring& description) const;
    void setOsType(const std::wstring& type) const;
    void setCpuCount(std::uint32_t count) const;
    void setMemory(std::uint32_t megabytes) const;
    void setChipset(std::uint32_t chipset) const;
    void setParavirtProvider(std::uint32_t provider) const;
    std::uint32_t effectiveParavirtProvider() const;
    /// Positions count from 1.
    void setBootDevice(std::uint32_t position, std::uint32_t device) const;
    std::uint32_t bootDevice(std::uint32_t position) const;
    std::wstring hardwareId() const;
    std::wstring snapshotFolder() const;
    std::wstring logFolder() const;
    std::wstring sessionName() const;
    ClientId sessionProcess() const;
    void saveSettings() const;
    void discardSettings() const;

    // ---- storage (machine_storage.cpp)

    struct Slot
    {
        std::wstring controller;
        std::int32_t port = 0;
        std::int32_t device = 0;
    };
    const StorageControllerSettings& controller(const std::wstring& name) const;
    const StorageControllerSettings& controller(std::uint32_t bus, std::uint32_t instance) const;
    void addController(const std::wstring& name, std::uint32_t bus) const;
    void removeController(const std::wstring& name) const;
    /// One controller of a bus is.
    void setBootable(const std::wstring& name, bool bootable) const;
    /// Tells that a storage controller of a session's machine has changed.
    void fireControllerChanged(const std::wstring& controller) const;
    const AttachmentSettings& attachment(const Slot& slot) const;
    /// A null medium is an empty drive.
    void attach(const Slot& slot, std::uint32_t deviceType, const MediumPtr& medium) const;
    void detach(const Slot& slot) const;
    void setNonRotational(const Slot& slot, bool nonRotational) const;
    void setDiscard(const Slot& slot, bool discard) const;

    // ---- shared folders, guest properties (machine_properties.cpp)

    void createSharedFolder(const SharedFolderSettings& folder) const;
    void removeSharedFolder(const std::wstring& name) const;
    /// In place of the one of that name.
    void replaceSharedFolder(const SharedFolderSettings& folder) const;
    const std::map<std::wstring, GuestPropertySettings>& guestProperties() const;
    /// One that is absent is empty.
    GuestPropertySettings guestProperty(const std::wstring& name) const;
    /// Without flags those stay that it has; an empty value deletes it.
    void setGuestProperty(const std::wstring& name, const std::wstring& value, const std::wstring* flags) const;

private:
    AttachmentSettings& hardDiskToMark(const Slot& slot) const;
    void requireRegistered() const;
    void fireDeviceRemoved(const std::wstring& controller, const AttachmentSettings& attachment) const;

    Host* host_;
    MachinePtr machine_;
    LockPtr lock_;
};

/// Adds a shared folder to a list. Throws Failure: invalidArgument for a name or path that cannot be, `taken` for a
/// name that is there.
void addSharedFolder(std::vector<SharedFolderSettings>& folders, const SharedFolderSettings& folder, ResultCode taken);
/// Throws Failure: accessDenied when there is none of that name any more.
void replaceSharedFolder(std::vector<SharedFolderSettings>& folders, const SharedFolderSettings& folder);
/// Throws Failure(missing) for a name that is not there.
void eraseSharedFolder(std::vector<SharedFolderSettings>& folders, const std::wstring& name, ResultCode missing);

/// The guest properties that fit patterns such as "/Virtual*|?x"; all of them without patterns.
std::vector<std::pair<std::wstring, GuestPropertySettings>>
matchingProperties(const std::map<std::wstring, GuestPropertySettings>& properties, const std::wstring& patterns);

} // namespace VBoxSim
