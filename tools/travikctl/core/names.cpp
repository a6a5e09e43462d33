#include "names.h"

#include <travik/vbox_types.h>

namespace {

struct Name
{
    std::uint32_t value;
    const char* text;
};

template <std::size_t Count>
std::string nameOf(const Name (&names)[Count], std::uint32_t value)
{
    for (const Name& name : names) {
        if (name.value == value)
            return name.text;
    }
    return std::to_string(value);
}

} // namespace

std::string machineStateName(std::uint32_t state)
{
    namespace S = Travik::MachineState;
    static constexpr Name names[] = {
        {S::Null, "unknown"},
        {S::PoweredOff, "powered off"},
        {S::Saved, "saved"},
        {S::Teleported, "teleported"},
        {S::Aborted, "aborted"},
        {S::Running, "running"},
        {S::Paused, "paused"},
        {S::Stuck, "stuck"},
        {S::Teleporting, "teleporting"},
        {S::LiveSnapshotting, "live snapshotting"},
        {S::Starting, "starting"},
        {S::Stopping, "stopping"},
        {S::Saving, "saving"},
        {S::Restoring, "restoring"},
        {S::TeleportingPausedVM, "teleporting while paused"},
        {S::TeleportingIn, "teleporting in"},
        {S::DeletingSnapshotOnline, "deleting a snapshot while running"},
        {S::DeletingSnapshotPaused, "deleting a snapshot while paused"},
        {S::OnlineSnapshotting, "snapshotting while running"},
        {S::RestoringSnapshot, "restoring a snapshot"},
        {S::DeletingSnapshot, "deleting a snapshot"},
        {S::SettingUp, "setting up"},
        {S::Snapshotting, "snapshotting"},
    };
    return nameOf(names, state);
}

std::string mediumStateName(std::uint32_t state)
{
    namespace S = Travik::MediumState;
    static constexpr Name names[] = {
        {S::NotCreated, "not created"},
        {S::Created, "created"},
        {S::LockedRead, "locked for reading"},
        {S::LockedWrite, "locked for writing"},
        {S::Inaccessible, "inaccessible"},
        {S::Creating, "creating"},
        {S::Deleting, "deleting"},
    };
    return nameOf(names, state);
}

std::string eventTypeName(std::uint32_t type)
{
    namespace T = Travik::VBoxEventType;
    static constexpr Name names[] = {
        {T::OnMachineStateChanged, "machine state changed"},
        {T::OnMachineDataChanged, "machine data changed"},
        {T::OnMediumRegistered, "medium registered"},
        {T::OnMachineRegistered, "machine registered"},
        {T::OnSessionStateChanged, "session state changed"},
        {T::OnGuestPropertyChanged, "guest property changed"},
        {T::OnStateChanged, "state changed"},
        {T::OnAdditionsStateChanged, "guest additions state changed"},
        {T::OnNetworkAdapterChanged, "network adapter changed"},
        {T::OnStorageControllerChanged, "storage controller changed"},
        {T::OnMediumChanged, "medium changed"},
        {T::OnSharedFolderChanged, "shared folder changed"},
        {T::OnRuntimeError, "runtime error"},
        {T::OnCPUChanged, "processor changed"},
        {T::OnEventSourceChanged, "listeners changed"},
        {T::OnNATRedirect, "port forwarding changed"},
        {T::OnStorageDeviceChanged, "storage device changed"},
        {T::OnAudioAdapterChanged, "audio adapter changed"},
        {T::OnProgressPercentageChanged, "progress"},
        {T::OnProgressTaskCompleted, "task completed"},
    };
    return nameOf(names, type);
}
