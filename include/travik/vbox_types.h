#ifndef TRAVIK_VBOX_TYPES_H
#define TRAVIK_VBOX_TYPES_H

#include <cstdint>

namespace Travik {

/// Names one VirtualBox object inside the library. 0 is never handed out; a number means something only together with
/// the kind of object it was handed out for. The caller gives it back through the release operation of its kind.
using VBoxHandle = std::uint32_t;

/// The failure results of VirtualBox and COM that the library can name; see VBoxInstanceImpl::toVBoxResultCode.
enum VBoxResultCode : std::uint32_t
{
    VBoxResult_Null = 0,                 ///< 0
    VBoxResult_ObjectNotFound = 1,       ///< 0x80BB0001
    VBoxResult_InvalidVMState = 2,       ///< 0x80BB0002
    VBoxResult_VMError = 3,              ///< 0x80BB0003
    VBoxResult_FileError = 4,            ///< 0x80BB0004
    VBoxResult_IPRTError = 5,            ///< 0x80BB0005
    VBoxResult_PDMError = 6,             ///< 0x80BB0006
    VBoxResult_InvalidObjectState = 7,   ///< 0x80BB0007
    VBoxResult_HostError = 8,            ///< 0x80BB0008
    VBoxResult_NotSupported = 9,         ///< 0x80BB0009
    VBoxResult_XMLError = 10,            ///< 0x80BB000A
    VBoxResult_InvalidSessionState = 11, ///< 0x80BB000B
    VBoxResult_ObjectInUse = 12,         ///< 0x80BB000C
    VBoxResult_PasswordIncorrect = 13,   ///< 0x80BB000D
    VBoxResult_MaximumReached = 14,      ///< 0x80BB000E
    VBoxResult_GstctlGuestError = 15,    ///< 0x80BB000F
    VBoxResult_Timeout = 16,             ///< 0x80BB0010; its text is "Unknow"
    VBoxResult_OleUnexpected = 17,       ///< 0x8000FFFF
    VBoxResult_OleNotImpl = 18,          ///< 0x80004001
    VBoxResult_OleOutOfMemory = 19,      ///< 0x8007000E
    VBoxResult_OleInvalidArg = 20,       ///< 0x80070057
    VBoxResult_OleNoInterface = 21,      ///< 0x80004002
    VBoxResult_OlePointer = 22,          ///< 0x80004003
    VBoxResult_OleAbort = 23,            ///< 0x80004004
    VBoxResult_OleFail = 24,             ///< 0x80004005
    VBoxResult_OleAccessDenied = 25,     ///< 0x80070005
    VBoxResult_RpcCallFailed = 26,       ///< 0x800706BE: the server went away during the call
    VBoxResult_RpcServerUnavailable = 27, ///< 0x800706BA: the server is gone
    VBoxResult_RpcCallFailedDne = 28,    ///< 0x800706BF
    VBoxResult_RpcDisconnected = 29,     ///< 0x80010108
    VBoxResult_RpcUnknownInterface = 30, ///< 0x800706B5
    VBoxResult_Unknown = 31              ///< any other result
};

// The values below are VirtualBox 6.1's own. The operations pass them through as plain 32-bit numbers.

/// MachineState: machineGetState, consoleGetState, eventSourceStateChangedEventGetState.
namespace MachineState {
enum : std::uint32_t
{
    Null = 0,
    PoweredOff = 1,
    Saved = 2,
    Teleported = 3,
    Aborted = 4,
    Running = 5,
    Paused = 6,
    Stuck = 7,
    Teleporting = 8,
    LiveSnapshotting = 9,
    Starting = 10,
    Stopping = 11,
    Saving = 12,
    Restoring = 13,
    TeleportingPausedVM = 14,
    TeleportingIn = 15,
    DeletingSnapshotOnline = 16,
    DeletingSnapshotPaused = 17,
    OnlineSnapshotting = 18,
    RestoringSnapshot = 19,
    DeletingSnapshot = 20,
    SettingUp = 21,
    Snapshotting = 22
};
}

/// SessionState.
namespace SessionState {
enum : std::uint32_t
{
    Null = 0,
    Unlocked = 1,
    Locked = 2,
    Spawning = 3,
    Unlocking = 4
};
}

/// LockType: lockMachine.
namespace LockType {
enum : std::uint32_t
{
    Null = 0,
    Shared = 1,
    Write = 2,
    VM = 3
};
}

/// MediumState: getMediumState.
namespace MediumState {
enum : std::uint32_t
{
    NotCreated = 0,
    Created = 1,
    LockedRead = 2,
    LockedWrite = 3,
    Inaccessible = 4,
    Creating = 5,
    Deleting = 6
};
}

/// ParavirtProvider: setMachineParavirtProvider.
namespace ParavirtProvider {
enum : std::uint32_t
{
    None = 0,
    Default = 1,
    Legacy = 2,
    Minimal = 3,
    HyperV = 4,
    KVM = 5
};
}

/// NATProtocol: addRedirect.
namespace NATProtocol {
enum : std::uint32_t
{
    UDP = 0,
    TCP = 1
};
}

/// ProcessorFeature: hostGetProcessorFeature.
namespace ProcessorFeature {
enum : std::uint32_t
{
    HWVirtEx = 0,
    PAE = 1,
    LongMode = 2,
    NestedPaging = 3,
    UnrestrictedGuest = 4,
    NestedHWVirt = 5
};
}

/// VBoxEventType: eventSourceRegisterListener, eventSourceEventGetType. 1 to 5 are wildcards, good for registration only.
namespace VBoxEventType {
enum : std::uint32_t
{
    Invalid = 0,
    Any = 1,
    Vetoable = 2,
    MachineEvent = 3,
    SnapshotEvent = 4,
    InputEvent = 5,
    OnMachineStateChanged = 32,
    OnMachineDataChanged = 33,
    OnExtraDataChanged = 34,
    OnExtraDataCanChange = 35,
    OnMediumRegistered = 36,
    OnMachineRegistered = 37,
    OnSessionStateChanged = 38,
    OnSnapshotTaken = 39,
    OnSnapshotDeleted = 40,
    OnSnapshotChanged = 41,
    OnGuestPropertyChanged = 42,
    OnMousePointerShapeChanged = 43,
    OnMouseCapabilityChanged = 44,
    OnKeyboardLedsChanged = 45,
    OnStateChanged = 46,
    OnAdditionsStateChanged = 47,
    OnNetworkAdapterChanged = 48,
    OnSerialPortChanged = 49,
    OnParallelPortChanged = 50,
    OnStorageControllerChanged = 51,
    OnMediumChanged = 52,
    OnVRDEServerChanged = 53,
    OnUSBControllerChanged = 54,
    OnUSBDeviceStateChanged = 55,
    OnSharedFolderChanged = 56,
    OnRuntimeError = 57,
    OnCanShowWindow = 58,
    OnShowWindow = 59,
    OnCPUChanged = 60,
    OnVRDEServerInfoChanged = 61,
    OnEventSourceChanged = 62,
    OnCPUExecutionCapChanged = 63,
    OnNATRedirect = 66,
    OnVBoxSVCAvailabilityChanged = 68,
    OnStorageDeviceChanged = 71,
    OnSnapshotRestored = 95,
    OnMediumConfigChanged = 96,
    OnAudioAdapterChanged = 97,
    OnProgressPercentageChanged = 98,
    OnProgressTaskCompleted = 99
};
}

} // namespace Travik

#endif
