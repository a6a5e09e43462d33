#ifndef TRAVIK_SDK_ERROR_H
#define TRAVIK_SDK_ERROR_H

#include <cstdint>

namespace Travik {

/// The result of every operation: 0 for success, else the step that failed.
///
/// The numbers and names are fixed. A name is the VirtualBox method or the step of the library, followed by Fail; those
/// that begin with COM_Get_ stand for a handle that is not in its table, those that begin with VBoxCo for the start-up
/// of COM. Codes 102 to 105 and 182 come from other components that share the table. listVms reports a failed listing as
/// 210, a code without a name: its text says "Unknow".
enum SdkErrorCode : std::uint32_t
{
    // Start-up and registration.
    InitVboxComFail = 101,
    VBoxInstance_LinkFail = 102,
    RegisterHelper_TargetNotFoundFail = 103,
    RegisterHelper_OpenKeyFail = 104,
    RegisterHelper_QueryKeyFail = 105,

    // Machines and sessions.
    OpenMachineFail = 106,
    FindMachineFail = 107,
    LaunchVMProcessFail = 108,
    LockMachineFail = 109,
    UnlockMachineFail = 110,
    RegisterMachineFail = 111,
    MachineGetStateFail = 112,
    CreateMutableMachineFail = 113,
    ReleaseMutableMachineFail = 114,

    // Machine settings (see also GetMachineExtraDataFail, 158).
    SetMachineCPUCountFail = 115,
    SetMachineMemoryFail = 116,
    SetMachineParavirtProviderFail = 117,
    SetMachineExtraDataFail = 118,
    SaveSettingsFail = 119,
    PowerDownFail = 120,

    // Progress objects.
    ProgressWaitForCompletionFail = 121,
    GetProgressCompletedFail = 122,
    GetProgressResultCodeFail = 123,
    GetProgressErrorInfoFail = 124,

    // Host, shared folders and console.
    GetHostFail = 125,
    HostGetProcessorFeatureFail = 126,
    MachineRemoveSharedFolderFail = 127,
    MachineCreateSharedFolderFail = 128,
    GetConsoleFail = 129,
    ConsoleGetStateFail = 130,
    ConsoleResumeFail = 131,
    ConsoleRemoveSharedFolderFail = 132,
    ConsoleCreateSharedFolderFail = 133,

    // Network adapters and port forwarding.
    GetNetworkAdapterFail = 134,
    GetNATEngineFail = 135,
    RemoveRedirectFail = 136,
    AddRedirectFail = 137,
    GetRedirectsFail = 138,

    // Guest properties and audio.
    GetGuestPropertyFail = 139,
    SetGuestPropertyFail = 140,
    DeleteGuestPropertyFail = 141,
    GetAudioAdapterFail = 142,
    SetAudioAdapterEnabledFail = 143,

    // Events.
    GetEventSourceFail = 144,
    EventSourceCreateListenerFail = 145,
    EventSourceRegisterListenerFail = 146,
    EventSourceUnregisterListenerFail = 147,
    SafeArrayCreateFail = 148,
    EventSourceGetEventFail = 149,
    EventSourceEventProcessedFail = 150,
    EventSourceEventGetTypeFail = 151,
    GetEventSourceStateChangedEventFail = 152,
    EventSourceStateChangedEventGetStateFail = 153,
    GetEventSourceRuntimeErrorEventFail = 154,
    EventSourceRuntimeErrorEventGetFatalFail = 155,
    EventSourceRuntimeErrorEventGetIdFail = 156,
    EventSourceRuntimeErrorEventGetMessageFail = 157,

    // Machine names, folders and extra data.
    GetMachineExtraDataFail = 158,
    ComposeMachineFilenameFail = 159,
    GetSystemPropertiesFail = 160,
    PutDefaultMachineFolderFail = 161,
    GetDefaultMachineFolderFail = 162,

    // Media and attachments.
    OpenMediumFail = 163,
    CloseMediumFail = 164,
    SetAutoDiscardForDeviceFail = 165,
    NonRotationalDeviceFail = 166,
    AttachDeviceFail = 167,
    DetachDeviceFail = 168,

    // Names and UUIDs: the code of setVmName, and of getVmName and getVmUUID too.
    PutNameFail = 169,

    // Appliance import.
    CreateApplianceFail = 170,
    ApplianceReadFail = 171,
    ApplianceInterpretFail = 172,
    SetImportOptionsFail = 173,
    ApplianceImportMachinesFail = 174,
    SafeArrayCreateIntVectorFail = 175,
    ApplianceGetMachinesFail = 176,

    // Creating, cloning and deleting machines.
    CreateMachineFail = 177,
    CloneMachineFail = 178,
    MachineUnregisterFail = 179,
    MachineDeleteConfigFail = 180,

    // A handle that is not in its table.
    COM_Get_MachineFail = 181,
    COM_Get_MutableMachineFail = 182,
    COM_Get_ProgressFail = 183,
    COM_Get_ConsoleFail = 184,
    COM_Get_EventSourceFail = 185,
    COM_Get_EventSourceListenerFail = 186,
    COM_Get_EventFail = 187,
    COM_Get_StateChangedEventFail = 188,
    COM_Get_RuntimeErrorEventFail = 189,
    COM_Get_AudioAdaptFail = 190,
    COM_Get_NatEngineFail = 191,
    COM_Get_NetAdaptFail = 192,
    COM_Get_HostFail = 193,
    COM_Get_MediumFail = 194,

    // Files.
    CheckFileExistsFail = 195,
    RenameFilePathFail = 196,
    RemoveFilePathFail = 197,

    // Storage controllers and media.
    MachineGetStorageControllerByNameFail = 198,
    StorageControllerGetPortCountFail = 199,
    MediumGetLocationFail = 200,
    MachineGetMediumFail = 201,

    // Waiting inside an operation: seen in the log only.
    ProgressCancelFail = 202,
    ProgressGetDescriptionFail = 203,
    ProgressGetErrorInfoFail = 204,
    ProgressGetCancelFail = 205,
    ProgressGetCancelableFail = 206,

    // Start-up of COM: seen through getVBoxErrorMessage, never returned.
    VBoxCoInitializeFail = 207,
    VBoxCoCreateInstanceVBoxFail = 208,
    VBoxCoCreateInstanceSessionFail = 209,

    // Appliance descriptions; medium queries.
    ApplianceGetVirtualSystemDescriptionsFail = 211,
    VirtualSystemDescriptionGetValuesFail = 212,
    MediumGetStateFail = 213,
    MediumGetLastAccessErrorFail = 214,
    MediumGetIdFail = 215,
};

} // namespace Travik

#endif
