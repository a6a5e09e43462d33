#include "names.h"

#include "text.h"

using namespace Travik;

namespace {

struct Name
{
    std::uint32_t value;
    const char* identifier;
    const char* text;
};

// In the order of their numbers.
const char* const machineStates[] = {"Null",
                                     "PoweredOff",
                                     "Saved",
                                     "Teleported",
                                     "Aborted",
                                     "Running",
                                     "Paused",
                                     "Stuck",
                                     "Teleporting",
                                     "LiveSnapshotting",
                                     "Starting",
                                     "Stopping",
                                     "Saving",
                                     "Restoring",
                                     "TeleportingPausedVM",
                                     "TeleportingIn",
                                     "DeletingSnapshotOnline",
                                     "DeletingSnapshotPaused",
                                     "OnlineSnapshotting",
                                     "RestoringSnapshot",
                                     "DeletingSnapshot",
                                     "SettingUp",
                                     "Snapshotting"};

const Name imageStates[] = {
    {MediumState::NotCreated, "NotCreated", "not created"},
    {MediumState::Created, "Created", "created"},
    {MediumState::LockedRead, "LockedRead", "locked for reading"},
    {MediumState::LockedWrite, "LockedWrite", "locked for writing"},
    {MediumState::Inaccessible, "Inaccessible", "inaccessible"},
    {MediumState::Creating, "Creating", "creating"},
    {MediumState::Deleting, "Deleting", "deleting"},
};

const Name events[] = {
    {VBoxEventType::OnMachineStateChanged, "OnMachineStateChanged", "machine state changed"},
    {VBoxEventType::OnMachineDataChanged, "OnMachineDataChanged", "machine data changed"},
    {VBoxEventType::OnMediumRegistered, "OnMediumRegistered", "medium registered"},
    {VBoxEventType::OnMachineRegistered, "OnMachineRegistered", "machine registered"},
    {VBoxEventType::OnSessionStateChanged, "OnSessionStateChanged", "session state changed"},
    {VBoxEventType::OnGuestPropertyChanged, "OnGuestPropertyChanged", "guest property changed"},
    {VBoxEventType::OnStateChanged, "OnStateChanged", "state changed"},
    {VBoxEventType::OnAdditionsStateChanged, "OnAdditionsStateChanged", "guest additions state changed"},
    {VBoxEventType::OnNetworkAdapterChanged, "OnNetworkAdapterChanged", "network adapter changed"},
    {VBoxEventType::OnStorageControllerChanged, "OnStorageControllerChanged", "storage controller changed"},
    {VBoxEventType::OnMediumChanged, "OnMediumChanged", "medium changed"},
    {VBoxEventType::OnSharedFolderChanged, "OnSharedFolderChanged", "shared folder changed"},
    {VBoxEventType::OnRuntimeError, "OnRuntimeError", "runtime error"},
    {VBoxEventType::OnCPUChanged, "OnCPUChanged", "processor changed"},
    {VBoxEventType::OnEventSourceChanged, "OnEventSourceChanged", "listeners changed"},
    {VBoxEventType::OnNATRedirect, "OnNATRedirect", "port forwarding changed"},
    {VBoxEventType::OnStorageDeviceChanged, "OnStorageDeviceChanged", "storage device changed"},
    {VBoxEventType::OnAudioAdapterChanged, "OnAudioAdapterChanged", "audio adapter changed"},
    {VBoxEventType::OnProgressPercentageChanged, "OnProgressPercentageChanged", "progress"},
    {VBoxEventType::OnProgressTaskCompleted, "OnProgressTaskCompleted", "task completed"},
};

template <std::size_t Count>
const Name* find(const Name (&names)[Count], std::uint32_t value)
{
    for (const Name& name : names) {
        if (name.value == value)
            return &name;
    }
    return nullptr;
}

} // namespace

Json stateFacts(State state)
{
    const auto number = static_cast<std::size_t>(state);
    const std::string identifier = number < std::size(machineStates) ? machineStates[number] : std::to_string(number);
    return {{"state", identifier}, {"stateText", stateText(state)}};
}

Json stateFacts(ImageState state)
{
    const auto number = static_cast<std::uint32_t>(state);
    const Name* const name = find(imageStates, number);
    return {{"state", name ? name->identifier : std::to_string(number)},
            {"stateText", name ? name->text : std::to_string(number)}};
}

std::string stateText(State state)
{
    const auto number = static_cast<std::size_t>(state);
    return number < std::size(machineStates) ? toUtf8(stateName(state)) : std::to_string(number);
}

std::vector<std::string> stateIdentifiers()
{
    return {std::begin(machineStates), std::end(machineStates)};
}

Json eventIdentifier(EventType type)
{
    const Name* const name = find(events, static_cast<std::uint32_t>(type));
    return name ? Json(name->identifier) : Json();
}

std::string eventText(EventType type)
{
    const auto number = static_cast<std::uint32_t>(type);
    const Name* const name = find(events, number);
    return name ? name->text : std::to_string(number);
}
