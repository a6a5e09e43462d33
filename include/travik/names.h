#ifndef TRAVIK_NAMES_H
#define TRAVIK_NAMES_H

// Part of the helper (scoped_handle.h): VirtualBox's numbers as types that do not mix, and names for what has one.

#include <cstddef>
#include <cstdint>
#include <string>

#include "sdk_error.h"
#include "vbox_types.h"

namespace Travik {

/// How a machine is locked.
enum class Lock : std::uint32_t
{
    Shared = LockType::Shared, ///< of a running machine; of one that is off it is a write lock
    Write = LockType::Write    ///< of a machine that is off, to change its settings
};

/// What a machine is doing; what VirtualBox's 6.1 does not know has no name here.
enum class State : std::uint32_t
{
    Null = MachineState::Null,
    PoweredOff = MachineState::PoweredOff,
    Saved = MachineState::Saved,
    Teleported = MachineState::Teleported,
    Aborted = MachineState::Aborted,
    Running = MachineState::Running,
    Paused = MachineState::Paused,
    Stuck = MachineState::Stuck,
    Teleporting = MachineState::Teleporting,
    LiveSnapshotting = MachineState::LiveSnapshotting,
    Starting = MachineState::Starting,
    Stopping = MachineState::Stopping,
    Saving = MachineState::Saving,
    Restoring = MachineState::Restoring,
    TeleportingPausedVM = MachineState::TeleportingPausedVM,
    TeleportingIn = MachineState::TeleportingIn,
    DeletingSnapshotOnline = MachineState::DeletingSnapshotOnline,
    DeletingSnapshotPaused = MachineState::DeletingSnapshotPaused,
    OnlineSnapshotting = MachineState::OnlineSnapshotting,
    RestoringSnapshot = MachineState::RestoringSnapshot,
    DeletingSnapshot = MachineState::DeletingSnapshot,
    SettingUp = MachineState::SettingUp,
    Snapshotting = MachineState::Snapshotting
};

/// What VirtualBox found when it last looked at an image.
enum class ImageState : std::uint32_t
{
    NotCreated = MediumState::NotCreated,
    Created = MediumState::Created,
    LockedRead = MediumState::LockedRead,
    LockedWrite = MediumState::LockedWrite,
    Inaccessible = MediumState::Inaccessible,
    Creating = MediumState::Creating,
    Deleting = MediumState::Deleting
};

/// How a guest is told that it runs in a machine.
enum class Paravirtualisation : std::uint32_t
{
    None = ParavirtProvider::Null,
    Default = ParavirtProvider::Default,
    Legacy = ParavirtProvider::Legacy,
    Minimal = ParavirtProvider::Minimal,
    HyperV = ParavirtProvider::HyperV,
    KVM = ParavirtProvider::KVM
};

/// What a port-forwarding rule forwards.
enum class Protocol : std::uint32_t
{
    UDP = NATProtocol::UDP,
    TCP = NATProtocol::TCP
};

/// What the host's processor may be able to do.
enum class Feature : std::uint32_t
{
    HWVirtEx = ProcessorFeature::HWVirtEx,
    PAE = ProcessorFeature::PAE,
    LongMode = ProcessorFeature::LongMode,
    NestedPaging = ProcessorFeature::NestedPaging,
    UnrestrictedGuest = ProcessorFeature::UnrestrictedGuest,
    NestedHWVirt = ProcessorFeature::NestedHWVirt
};

/// The type of an event: the two whose content the library reads, and the wildcard. The others are in VBoxEventType;
/// their numbers serve as well: EventType(VBoxEventType::OnNATRedirect).
enum class EventType : std::uint32_t
{
    Any = VBoxEventType::Any, ///< for listening only
    StateChanged = VBoxEventType::OnStateChanged,
    RuntimeError = VBoxEventType::OnRuntimeError
};

/// Whether a machine is off, in whatever way it came to be.
constexpr bool isOff(State state)
{
    return state == State::PoweredOff || state == State::Saved || state == State::Teleported || state == State::Aborted;
}

/// A state in words, such as "powered off"; "unknown" for one without.
[[nodiscard]] inline const wchar_t* stateName(State state)
{
    static constexpr const wchar_t* names[] = {L"unknown",
                                               L"powered off",
                                               L"saved",
                                               L"teleported",
                                               L"aborted",
                                               L"running",
                                               L"paused",
                                               L"stuck",
                                               L"teleporting",
                                               L"live snapshotting",
                                               L"starting",
                                               L"stopping",
                                               L"saving",
                                               L"restoring",
                                               L"teleporting while paused",
                                               L"teleporting in",
                                               L"deleting a snapshot while running",
                                               L"deleting a snapshot while paused",
                                               L"snapshotting while running",
                                               L"restoring a snapshot",
                                               L"deleting a snapshot",
                                               L"setting up",
                                               L"snapshotting"};
    static_assert(sizeof(names) / sizeof(names[0]) == MachineState::Snapshotting + 1, "one for every state, in order");
    const auto number = static_cast<std::uint32_t>(state);
    return names[number < sizeof(names) / sizeof(names[0]) ? number : 0];
}

/// The text in UTF-8, as a string of its own; half of a surrogate pair becomes U+FFFD.
[[nodiscard]] inline std::string toUTF8(const std::wstring& text)
{
    std::string utf8;
    const auto tail = [&utf8](std::uint32_t character, int shift) {
        for (; shift >= 0; shift -= 6)
            utf8 += static_cast<char>(0x80 | (character >> shift & 0x3F));
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto character = static_cast<std::uint32_t>(text[i]);
        const std::uint32_t next = i + 1 < text.size() ? static_cast<std::uint32_t>(text[i + 1]) : 0;
        if (character >> 10 == 0x36 && next >> 10 == 0x37) {
            character = 0x10000 + ((character & 0x3FF) << 10 | (next & 0x3FF));
            ++i;
        } else if (character >> 11 == 0x1B) {
            character = 0xFFFD;
        }
        if (character < 0x80) {
            utf8 += static_cast<char>(character);
        } else if (character < 0x800) {
            utf8 += static_cast<char>(0xC0 | character >> 6);
            tail(character, 0);
        } else if (character < 0x10000) {
            utf8 += static_cast<char>(0xE0 | character >> 12);
            tail(character, 6);
        } else {
            utf8 += static_cast<char>(0xF0 | character >> 18);
            tail(character, 12);
        }
    }
    return utf8;
}

/// The name of a result of the library, "Unknow" (so spelled everywhere in the library) for a number without one.
inline const wchar_t* errorCodeName(std::uint32_t code)
{
    static constexpr std::uint32_t first = InitVboxComFail;
    static constexpr const wchar_t* names[] = {L"InitVboxComFail",
                                               L"VBoxInstance_LinkFail",
                                               L"RegisterHelper_TargetNotFoundFail",
                                               L"RegisterHelper_OpenKeyFail",
                                               L"RegisterHelper_QueryKeyFail",
                                               L"OpenMachineFail",
                                               L"FindMachineFail",
                                               L"LaunchVMProcessFail",
                                               L"LockMachineFail",
                                               L"UnlockMachineFail",
                                               L"RegisterMachineFail",
                                               L"MachineGetStateFail",
                                               L"CreateMutableMachineFail",
                                               L"ReleaseMutableMachineFail",
                                               L"SetMachineCPUCountFail",
                                               L"SetMachineMemoryFail",
                                               L"SetMachineParavirtProviderFail",
                                               L"SetMachineExtraDataFail",
                                               L"SaveSettingsFail",
                                               L"PowerDownFail",
                                               L"ProgressWaitForCompletionFail",
                                               L"GetProgressCompletedFail",
                                               L"GetProgressResultCodeFail",
                                               L"GetProgressErrorInfoFail",
                                               L"GetHostFail",
                                               L"HostGetProcessorFeatureFail",
                                               L"MachineRemoveSharedFolderFail",
                                               L"MachineCreateSharedFolderFail",
                                               L"GetConsoleFail",
                                               L"ConsoleGetStateFail",
                                               L"ConsoleResumeFail",
                                               L"ConsoleRemoveSharedFolderFail",
                                               L"ConsoleCreateSharedFolderFail",
                                               L"GetNetworkAdapterFail",
                                               L"GetNATEngineFail",
                                               L"RemoveRedirectFail",
                                               L"AddRedirectFail",
                                               L"GetRedirectsFail",
                                               L"GetGuestPropertyFail",
                                               L"SetGuestPropertyFail",
                                               L"DeleteGuestPropertyFail",
                                               L"GetAudioAdapterFail",
                                               L"SetAudioAdapterEnabledFail",
                                               L"GetEventSourceFail",
                                               L"EventSourceCreateListenerFail",
                                               L"EventSourceRegisterListenerFail",
                                               L"EventSourceUnregisterListenerFail",
                                               L"SafeArrayCreateFail",
                                               L"EventSourceGetEventFail",
                                               L"EventSourceEventProcessedFail",
                                               L"EventSourceEventGetTypeFail",
                                               L"GetEventSourceStateChangedEventFail",
                                               L"EventSourceStateChangedEventGetStateFail",
                                               L"GetEventSourceRuntimeErrorEventFail",
                                               L"EventSourceRuntimeErrorEventGetFatalFail",
                                               L"EventSourceRuntimeErrorEventGetIdFail",
                                               L"EventSourceRuntimeErrorEventGetMessageFail",
                                               L"GetMachineExtraDataFail",
                                               L"ComposeMachineFilenameFail",
                                               L"GetSystemPropertiesFail",
                                               L"PutDefaultMachineFolderFail",
                                               L"GetDefaultMachineFolderFail",
                                               L"OpenMediumFail",
                                               L"CloseMediumFail",
                                               L"SetAutoDiscardForDeviceFail",
                                               L"NonRotationalDeviceFail",
                                               L"AttachDeviceFail",
                                               L"DetachDeviceFail",
                                               L"PutNameFail",
                                               L"CreateApplianceFail",
                                               L"ApplianceReadFail",
                                               L"ApplianceInterpretFail",
                                               L"SetImportOptionsFail",
                                               L"ApplianceImportMachinesFail",
                                               L"SafeArrayCreateIntVectorFail",
                                               L"ApplianceGetMachinesFail",
                                               L"CreateMachineFail",
                                               L"CloneMachineFail",
                                               L"MachineUnregisterFail",
                                               L"MachineDeleteConfigFail",
                                               L"COM_Get_MachineFail",
                                               L"COM_Get_MutableMachineFail",
                                               L"COM_Get_ProgressFail",
                                               L"COM_Get_ConsoleFail",
                                               L"COM_Get_EventSourceFail",
                                               L"COM_Get_EventSourceListenerFail",
                                               L"COM_Get_EventFail",
                                               L"COM_Get_StateChangedEventFail",
                                               L"COM_Get_RuntimeErrorEventFail",
                                               L"COM_Get_AudioAdaptFail",
                                               L"COM_Get_NatEngineFail",
                                               L"COM_Get_NetAdaptFail",
                                               L"COM_Get_HostFail",
                                               L"COM_Get_MediumFail",
                                               L"CheckFileExistsFail",
                                               L"RenameFilePathFail",
                                               L"RemoveFilePathFail",
                                               L"MachineGetStorageControllerByNameFail",
                                               L"StorageControllerGetPortCountFail",
                                               L"MediumGetLocationFail",
                                               L"MachineGetMediumFail",
                                               L"ProgressCancelFail",
                                               L"ProgressGetDescriptionFail",
                                               L"ProgressGetErrorInfoFail",
                                               L"ProgressGetCancelFail",
                                               L"ProgressGetCancelableFail",
                                               L"VBoxCoInitializeFail",
                                               L"VBoxCoCreateInstanceVBoxFail",
                                               L"VBoxCoCreateInstanceSessionFail",
                                               nullptr,
                                               L"ApplianceGetVirtualSystemDescriptionsFail",
                                               L"VirtualSystemDescriptionGetValuesFail",
                                               L"MediumGetStateFail",
                                               L"MediumGetLastAccessErrorFail",
                                               L"MediumGetIdFail"};
    static constexpr std::size_t count = sizeof(names) / sizeof(names[0]);
    static_assert(first + count - 1 == MediumGetIdFail, "one entry for every code, in order");
    const bool known = code >= first && code - first < count && names[code - first] != nullptr;
    return known ? names[code - first] : L"Unknow";
}

/// The symbol under which an HRESULT of VirtualBox, COM or RPC is documented; empty for one that is not listed here.
inline const wchar_t* resultName(std::uint32_t result)
{
    struct Entry
    {
        std::uint32_t result;
        const wchar_t* name;
    };
    static constexpr Entry entries[] = {
        {0x00000000, L"S_OK"},
        {0x80BB0001, L"VBOX_E_OBJECT_NOT_FOUND"},
        {0x80BB0002, L"VBOX_E_INVALID_VM_STATE"},
        {0x80BB0003, L"VBOX_E_VM_ERROR"},
        {0x80BB0004, L"VBOX_E_FILE_ERROR"},
        {0x80BB0005, L"VBOX_E_IPRT_ERROR"},
        {0x80BB0006, L"VBOX_E_PDM_ERROR"},
        {0x80BB0007, L"VBOX_E_INVALID_OBJECT_STATE"},
        {0x80BB0008, L"VBOX_E_HOST_ERROR"},
        {0x80BB0009, L"VBOX_E_NOT_SUPPORTED"},
        {0x80BB000A, L"VBOX_E_XML_ERROR"},
        {0x80BB000B, L"VBOX_E_INVALID_SESSION_STATE"},
        {0x80BB000C, L"VBOX_E_OBJECT_IN_USE"},
        {0x80BB000D, L"VBOX_E_PASSWORD_INCORRECT"},
        {0x80BB000E, L"VBOX_E_MAXIMUM_REACHED"},
        {0x80BB000F, L"VBOX_E_GSTCTL_GUEST_ERROR"},
        {0x80BB0010, L"VBOX_E_TIMEOUT"},
        {0x8000FFFF, L"E_UNEXPECTED"},
        {0x80004001, L"E_NOTIMPL"},
        {0x80004002, L"E_NOINTERFACE"},
        {0x80004003, L"E_POINTER"},
        {0x80004004, L"E_ABORT"},
        {0x80004005, L"E_FAIL"},
        {0x80070005, L"E_ACCESSDENIED"},
        {0x8007000E, L"E_OUTOFMEMORY"},
        {0x80070057, L"E_INVALIDARG"},
        {0x80010007, L"RPC_E_SERVER_DIED"},
        {0x80010012, L"RPC_E_SERVER_DIED_DNE"},
        {0x80010106, L"RPC_E_CHANGED_MODE"},
        {0x80010108, L"RPC_E_DISCONNECTED"},
        {0x8001010E, L"RPC_E_WRONG_THREAD"},
        {0x800706B5, L"RPC_S_UNKNOWN_IF"},
        {0x800706BA, L"RPC_S_SERVER_UNAVAILABLE"},
        {0x800706BE, L"RPC_S_CALL_FAILED"},
        {0x800706BF, L"RPC_S_CALL_FAILED_DNE"},
        {0x800706F4, L"RPC_X_NULL_REF_POINTER"},
        {0x80040154, L"REGDB_E_CLASSNOTREG"},
        {0x80040155, L"REGDB_E_IIDNOTREG"},
        {0x800401F0, L"CO_E_NOTINITIALIZED"},
        {0x800401FD, L"CO_E_OBJNOTCONNECTED"},
        {0x80080005, L"CO_E_SERVER_EXEC_FAILURE"},
    };
    for (const Entry& entry : entries) {
        if (entry.result == result)
            return entry.name;
    }
    return L"";
}

} // namespace Travik

#endif
