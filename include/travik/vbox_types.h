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
    VBoxResult_Null = 0,                  ///< 0
    VBoxResult_ObjectNotFound = 1,        ///< 0x80BB0001
    VBoxResult_InvalidVMState = 2,        ///< 0x80BB0002
    VBoxResult_VMError = 3,               ///< 0x80BB0003
    VBoxResult_FileError = 4,             ///< 0x80BB0004
    VBoxResult_IPRTError = 5,             ///< 0x80BB0005
    VBoxResult_PDMError = 6,              ///< 0x80BB0006
    VBoxResult_InvalidObjectState = 7,    ///< 0x80BB0007
    VBoxResult_HostError = 8,             ///< 0x80BB0008
    VBoxResult_NotSupported = 9,          ///< 0x80BB0009
    VBoxResult_XMLError = 10,             ///< 0x80BB000A
    VBoxResult_InvalidSessionState = 11,  ///< 0x80BB000B
    VBoxResult_ObjectInUse = 12,          ///< 0x80BB000C
    VBoxResult_PasswordIncorrect = 13,    ///< 0x80BB000D
    VBoxResult_MaximumReached = 14,       ///< 0x80BB000E
    VBoxResult_GstctlGuestError = 15,     ///< 0x80BB000F
    VBoxResult_Timeout = 16,              ///< 0x80BB0010; its text is "Unknow"
    VBoxResult_OleUnexpected = 17,        ///< 0x8000FFFF
    VBoxResult_OleNotImpl = 18,           ///< 0x80004001
    VBoxResult_OleOutOfMemory = 19,       ///< 0x8007000E
    VBoxResult_OleInvalidArg = 20,        ///< 0x80070057
    VBoxResult_OleNoInterface = 21,       ///< 0x80004002
    VBoxResult_OlePointer = 22,           ///< 0x80004003
    VBoxResult_OleAbort = 23,             ///< 0x80004004
    VBoxResult_OleFail = 24,              ///< 0x80004005
    VBoxResult_OleAccessDenied = 25,      ///< 0x80070005
    VBoxResult_RpcCallFailed = 26,        ///< 0x800706BE: the server went away during the call
    VBoxResult_RpcServerUnavailable = 27, ///< 0x800706BA: the server is gone
    VBoxResult_RpcCallFailedDne = 28,     ///< 0x800706BF
    VBoxResult_RpcDisconnected = 29,      ///< 0x80010108
    VBoxResult_RpcUnknownInterface = 30,  ///< 0x800706B5
    VBoxResult_Unknown = 31               ///< any other result
};

/// The results themselves, as getVBoxError tells them; those of getProgressResultCode are the same numbers with a sign.
/// First VirtualBox's own, then those of COM that VirtualBox's calls fail with.
namespace Result {
enum : std::uint32_t
{
    Ok = 0,
    ObjectNotFound = 0x80BB0001,
    InvalidVMState = 0x80BB0002,
    VMError = 0x80BB0003,
    FileError = 0x80BB0004,
    IPRTError = 0x80BB0005,
    PDMError = 0x80BB0006,
    InvalidObjectState = 0x80BB0007,
    HostError = 0x80BB0008,
    NotSupported = 0x80BB0009,
    XMLError = 0x80BB000A,
    InvalidSessionState = 0x80BB000B,
    ObjectInUse = 0x80BB000C,
    PasswordIncorrect = 0x80BB000D,
    MaximumReached = 0x80BB000E,
    GstctlGuestError = 0x80BB000F,
    Timeout = 0x80BB0010,
    Unexpected = 0x8000FFFF,           ///< E_UNEXPECTED
    NotImpl = 0x80004001,              ///< E_NOTIMPL
    OutOfMemory = 0x8007000E,          ///< E_OUTOFMEMORY
    InvalidArg = 0x80070057,           ///< E_INVALIDARG
    NoInterface = 0x80004002,          ///< E_NOINTERFACE
    Pointer = 0x80004003,              ///< E_POINTER
    Abort = 0x80004004,                ///< E_ABORT
    Fail = 0x80004005,                 ///< E_FAIL
    AccessDenied = 0x80070005,         ///< E_ACCESSDENIED; VirtualBox's answer for an object that is closed already
    RpcCallFailed = 0x800706BE,        ///< the server went away during the call
    RpcServerUnavailable = 0x800706BA, ///< the server is gone
    RpcCallFailedDne = 0x800706BF,
    RpcDisconnected = 0x80010108,
    RpcUnknownInterface = 0x800706B5,
    RpcNullReference = 0x800706F4,   ///< a required output parameter was null
    RpcWrongThread = 0x8001010E,     ///< the objects belong to another thread
    RpcChangedMode = 0x80010106,     ///< the thread is multithreaded already
    CoNotInitialized = 0x800401F0,   ///< the thread never initialised COM
    ClassNotRegistered = 0x80040154, ///< VirtualBox is not installed
    ServerExecFailure = 0x80080005   ///< VirtualBox's server did not start
};
}

// The values below are VirtualBox 6.1's own. The operations pass them through as plain 32-bit numbers.

/// MachineState: machineGetState, consoleGetState, eventSourceStateChangedEventGetState. These are the values that
/// those operations hand out; the library's own numbering is SdkMachineState.
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

/// The library's own numbering of machine states, which only toSdkMachineState gives and toVBoxMachineState takes. No
/// operation uses it. It lacks DeletingSnapshotOnline (0 stands for it), and the states after that are one lower than
/// in MachineState; its 22 is for a VirtualBox with one state more than 6.1.
namespace SdkMachineState {
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
    DeletingSnapshotPaused = 16,
    OnlineSnapshotting = 17,
    RestoringSnapshot = 18,
    DeletingSnapshot = 19,
    SettingUp = 20,
    Snapshotting = 21
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

/// SessionType: how a session holds its machine.
namespace SessionType {
enum : std::uint32_t
{
    Null = 0,
    WriteLock = 1,
    Remote = 2,
    Shared = 3
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

/// CleanupMode: what becomes of the media of a machine that is unregistered. deleteMachine uses
/// DetachAllReturnHardDisksOnly.
namespace CleanupMode {
enum : std::uint32_t
{
    UnregisterOnly = 1,
    DetachAllReturnNone = 2,
    DetachAllReturnHardDisksOnly = 3,
    Full = 4
};
}

/// CloneMode: cloneToMachine uses AllStates.
namespace CloneMode {
enum : std::uint32_t
{
    MachineState = 1,
    MachineAndChildStates = 2,
    AllStates = 3
};
}

/// CloneOptions: cloneToMachine uses none.
namespace CloneOptions {
enum : std::uint32_t
{
    Link = 1,
    KeepAllMACs = 2,
    KeepNATMACs = 3,
    KeepDiskNames = 4,
    KeepHwUUIDs = 5
};
}

/// ImportOptions: importOva uses ImportToVDI.
namespace ImportOptions {
enum : std::uint32_t
{
    KeepAllMACs = 1,
    KeepNATMACs = 2,
    ImportToVDI = 3
};
}

/// VirtualSystemDescriptionType: what an entry of an appliance's description is about; 27 to 48 are for clouds.
namespace VirtualSystemDescriptionType {
enum : std::uint32_t
{
    Ignore = 1,
    OS = 2,
    Name = 3,
    Product = 4,
    Vendor = 5,
    Version = 6,
    ProductUrl = 7,
    VendorUrl = 8,
    Description = 9,
    License = 10,
    Miscellaneous = 11,
    CPU = 12,
    Memory = 13,
    HardDiskControllerIDE = 14,
    HardDiskControllerSATA = 15,
    HardDiskControllerSCSI = 16,
    HardDiskControllerSAS = 17,
    HardDiskImage = 18,
    Floppy = 19,
    CDROM = 20,
    NetworkAdapter = 21,
    USBController = 22,
    SoundCard = 23,
    SettingsFile = 24,
    BaseFolder = 25,
    PrimaryGroup = 26,
    BootingFirmware = 49,
    CloudInitScriptPath = 50,
    HardDiskControllerVirtioSCSI = 60,
    HardDiskControllerNVMe = 61
};
}

/// VirtualSystemDescriptionValueType: which value of such an entry.
namespace VirtualSystemDescriptionValueType {
enum : std::uint32_t
{
    Reference = 1,
    Original = 2,
    Auto = 3,
    ExtraConfig = 4
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

/// MediumType.
namespace MediumType {
enum : std::uint32_t
{
    Normal = 0,
    Immutable = 1,
    Writethrough = 2,
    Shareable = 3,
    Readonly = 4,
    MultiAttach = 5
};
}

/// MediumVariant: flags, combined by or.
namespace MediumVariant {
enum : std::uint32_t
{
    Standard = 0,
    VmdkSplit2G = 0x1,
    VmdkRawDisk = 0x2,
    VmdkStreamOptimized = 0x4,
    VmdkESX = 0x8,
    VdiZeroExpand = 0x100,
    Fixed = 0x10000,
    Diff = 0x20000,
    Formatted = 0x20000000,
    NoCreateDir = 0x40000000
};
}

/// AccessMode: openMedium opens for ReadWrite.
namespace AccessMode {
enum : std::uint32_t
{
    ReadOnly = 1,
    ReadWrite = 2
};
}

/// DeviceType: openMedium and attachMedium use HardDisk.
namespace DeviceType {
enum : std::uint32_t
{
    Null = 0,
    Floppy = 1,
    DVD = 2,
    HardDisk = 3,
    Network = 4,
    USB = 5,
    SharedFolder = 6,
    Graphics3D = 7
};
}

/// StorageBus: of a storage controller.
namespace StorageBus {
enum : std::uint32_t
{
    Null = 0,
    IDE = 1,
    SATA = 2,
    SCSI = 3,
    Floppy = 4,
    SAS = 5,
    USB = 6,
    PCIe = 7,
    VirtioSCSI = 8
};
}

/// StorageControllerType.
namespace StorageControllerType {
enum : std::uint32_t
{
    Null = 0,
    LsiLogic = 1,
    BusLogic = 2,
    IntelAhci = 3,
    PIIX3 = 4,
    PIIX4 = 5,
    ICH6 = 6,
    I82078 = 7,
    LsiLogicSas = 8,
    USB = 9,
    NVMe = 10,
    VirtioSCSI = 11
};
}

/// ChipsetType.
namespace ChipsetType {
enum : std::uint32_t
{
    Null = 0,
    PIIX3 = 1,
    ICH9 = 2
};
}

/// ParavirtProvider: setMachineParavirtProvider.
namespace ParavirtProvider {
enum : std::uint32_t
{
    Null = 0, ///< none,
    Default = 1,
    Legacy = 2,
    Minimal = 3,
    HyperV = 4,
    KVM = 5
};
}

/// NetworkAttachmentType: what a network adapter is connected to.
namespace NetworkAttachmentType {
enum : std::uint32_t
{
    Null = 0,
    NAT = 1,
    Bridged = 2,
    Internal = 3,
    HostOnly = 4,
    Generic = 5,
    NATNetwork = 6,
    Cloud = 7
};
}

/// NetworkAdapterType.
namespace NetworkAdapterType {
enum : std::uint32_t
{
    Null = 0,
    Am79C970A = 1,
    Am79C973 = 2,
    I82540EM = 3,
    I82543GC = 4,
    I82545EM = 5,
    Virtio = 6,
    Am79C960 = 7,
    Virtio_1_0 = 8
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

/// AudioDriverType.
namespace AudioDriverType {
enum : std::uint32_t
{
    Null = 0,
    WinMM = 1,
    OSS = 2,
    ALSA = 3,
    DirectSound = 4,
    CoreAudio = 5,
    MMPM = 6,
    Pulse = 7,
    SolAudio = 8
};
}

/// AudioControllerType.
namespace AudioControllerType {
enum : std::uint32_t
{
    AC97 = 0,
    SB16 = 1,
    HDA = 2
};
}

/// AudioCodecType.
namespace AudioCodecType {
enum : std::uint32_t
{
    Null = 0,
    SB16 = 1,
    STAC9700 = 2,
    AD1980 = 3,
    STAC9221 = 4
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

/// VBoxEventType: eventSourceRegisterListener, eventSourceEventGetType. 1 to 5 are wildcards, good for registration
/// only.
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
