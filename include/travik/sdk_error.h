#ifndef TRAVIK_SDK_ERROR_H
#define TRAVIK_SDK_ERROR_H

#include <cstdint>

namespace Travik {

/// The result of every operation: 0 for success, else the step that failed.
///
/// The numbers and names are fixed. A name is the VirtualBox method or the step of the library, followed by Fail; those
/// that begin with COM_Get_ stand for a handle that is not in its table, those that begin with VBoxCo for the start-up
/// of COM. Codes 102 to 105 and 182 come from other components that share the table. listVms reports a failed listing
/// as 210, a code without a name: its text says "Unknow".
using SdkErrorCode = std::uint32_t;

// Start-up and registration.
constexpr SdkErrorCode InitVboxComFail = 101;
constexpr SdkErrorCode VBoxInstance_LinkFail = 102;
constexpr SdkErrorCode RegisterHelper_TargetNotFoundFail = 103;
constexpr SdkErrorCode RegisterHelper_OpenKeyFail = 104;
constexpr SdkErrorCode RegisterHelper_QueryKeyFail = 105;

// Machines and sessions.
constexpr SdkErrorCode OpenMachineFail = 106;
constexpr SdkErrorCode FindMachineFail = 107;
constexpr SdkErrorCode LaunchVMProcessFail = 108;
constexpr SdkErrorCode LockMachineFail = 109;
constexpr SdkErrorCode UnlockMachineFail = 110;
constexpr SdkErrorCode RegisterMachineFail = 111;
constexpr SdkErrorCode MachineGetStateFail = 112;
constexpr SdkErrorCode CreateMutableMachineFail = 113;
constexpr SdkErrorCode ReleaseMutableMachineFail = 114;

// Machine settings (see also GetMachineExtraDataFail, 158).
constexpr SdkErrorCode SetMachineCPUCountFail = 115;
constexpr SdkErrorCode SetMachineMemoryFail = 116;
constexpr SdkErrorCode SetMachineParavirtProviderFail = 117;
constexpr SdkErrorCode SetMachineExtraDataFail = 118;
constexpr SdkErrorCode SaveSettingsFail = 119;
constexpr SdkErrorCode PowerDownFail = 120;

// Progress objects.
constexpr SdkErrorCode ProgressWaitForCompletionFail = 121;
constexpr SdkErrorCode GetProgressCompletedFail = 122;
constexpr SdkErrorCode GetProgressResultCodeFail = 123;
constexpr SdkErrorCode GetProgressErrorInfoFail = 124;

// Host, shared folders and console.
constexpr SdkErrorCode GetHostFail = 125;
constexpr SdkErrorCode HostGetProcessorFeatureFail = 126;
constexpr SdkErrorCode MachineRemoveSharedFolderFail = 127;
constexpr SdkErrorCode MachineCreateSharedFolderFail = 128;
constexpr SdkErrorCode GetConsoleFail = 129;
constexpr SdkErrorCode ConsoleGetStateFail = 130;
constexpr SdkErrorCode ConsoleResumeFail = 131;
constexpr SdkErrorCode ConsoleRemoveSharedFolderFail = 132;
constexpr SdkErrorCode ConsoleCreateSharedFolderFail = 133;

// Network adapters and port forwarding.
constexpr SdkErrorCode GetNetworkAdapterFail = 134;
constexpr SdkErrorCode GetNATEngineFail = 135;
constexpr SdkErrorCode RemoveRedirectFail = 136;
constexpr SdkErrorCode AddRedirectFail = 137;
constexpr SdkErrorCode GetRedirectsFail = 138;

// Guest properties and audio.
constexpr SdkErrorCode GetGuestPropertyFail = 139;
constexpr SdkErrorCode SetGuestPropertyFail = 140;
constexpr SdkErrorCode DeleteGuestPropertyFail = 141;
constexpr SdkErrorCode GetAudioAdapterFail = 142;
constexpr SdkErrorCode SetAudioAdapterEnabledFail = 143;

// Events.
constexpr SdkErrorCode GetEventSourceFail = 144;
constexpr SdkErrorCode EventSourceCreateListenerFail = 145;
constexpr SdkErrorCode EventSourceRegisterListenerFail = 146;
constexpr SdkErrorCode EventSourceUnregisterListenerFail = 147;
constexpr SdkErrorCode SafeArrayCreateFail = 148;
constexpr SdkErrorCode EventSourceGetEventFail = 149;
constexpr SdkErrorCode EventSourceEventProcessedFail = 150;
constexpr SdkErrorCode EventSourceEventGetTypeFail = 151;
constexpr SdkErrorCode GetEventSourceStateChangedEventFail = 152;
constexpr SdkErrorCode EventSourceStateChangedEventGetStateFail = 153;
constexpr SdkErrorCode GetEventSourceRuntimeErrorEventFail = 154;
constexpr SdkErrorCode EventSourceRuntimeErrorEventGetFatalFail = 155;
constexpr SdkErrorCode EventSourceRuntimeErrorEventGetIdFail = 156;
constexpr SdkErrorCode EventSourceRuntimeErrorEventGetMessageFail = 157;

// Machine names, folders and extra data.
constexpr SdkErrorCode GetMachineExtraDataFail = 158;
constexpr SdkErrorCode ComposeMachineFilenameFail = 159;
constexpr SdkErrorCode GetSystemPropertiesFail = 160;
constexpr SdkErrorCode PutDefaultMachineFolderFail = 161;
constexpr SdkErrorCode GetDefaultMachineFolderFail = 162;

// Media and attachments.
constexpr SdkErrorCode OpenMediumFail = 163;
constexpr SdkErrorCode CloseMediumFail = 164;
constexpr SdkErrorCode SetAutoDiscardForDeviceFail = 165;
constexpr SdkErrorCode NonRotationalDeviceFail = 166;
constexpr SdkErrorCode AttachDeviceFail = 167;
constexpr SdkErrorCode DetachDeviceFail = 168;

// Names and UUIDs: the code of setVmName, and of getVmName and getVmUUID too.
constexpr SdkErrorCode PutNameFail = 169;

// Appliance import.
constexpr SdkErrorCode CreateApplianceFail = 170;
constexpr SdkErrorCode ApplianceReadFail = 171;
constexpr SdkErrorCode ApplianceInterpretFail = 172;
constexpr SdkErrorCode SetImportOptionsFail = 173;
constexpr SdkErrorCode ApplianceImportMachinesFail = 174;
constexpr SdkErrorCode SafeArrayCreateIntVectorFail = 175;
constexpr SdkErrorCode ApplianceGetMachinesFail = 176;

// Creating, cloning and deleting machines.
constexpr SdkErrorCode CreateMachineFail = 177;
constexpr SdkErrorCode CloneMachineFail = 178;
constexpr SdkErrorCode MachineUnregisterFail = 179;
constexpr SdkErrorCode MachineDeleteConfigFail = 180;

// A handle that is not in its table.
constexpr SdkErrorCode COM_Get_MachineFail = 181;
constexpr SdkErrorCode COM_Get_MutableMachineFail = 182;
constexpr SdkErrorCode COM_Get_ProgressFail = 183;
constexpr SdkErrorCode COM_Get_ConsoleFail = 184;
constexpr SdkErrorCode COM_Get_EventSourceFail = 185;
constexpr SdkErrorCode COM_Get_EventSourceListenerFail = 186;
constexpr SdkErrorCode COM_Get_EventFail = 187;
constexpr SdkErrorCode COM_Get_StateChangedEventFail = 188;
constexpr SdkErrorCode COM_Get_RuntimeErrorEventFail = 189;
constexpr SdkErrorCode COM_Get_AudioAdaptFail = 190;
constexpr SdkErrorCode COM_Get_NatEngineFail = 191;
constexpr SdkErrorCode COM_Get_NetAdaptFail = 192;
constexpr SdkErrorCode COM_Get_HostFail = 193;
constexpr SdkErrorCode COM_Get_MediumFail = 194;

// Files.
constexpr SdkErrorCode CheckFileExistsFail = 195;
constexpr SdkErrorCode RenameFilePathFail = 196;
constexpr SdkErrorCode RemoveFilePathFail = 197;

// Storage controllers and media.
constexpr SdkErrorCode MachineGetStorageControllerByNameFail = 198;
constexpr SdkErrorCode StorageControllerGetPortCountFail = 199;
constexpr SdkErrorCode MediumGetLocationFail = 200;
constexpr SdkErrorCode MachineGetMediumFail = 201;

// Waiting inside an operation: seen in the log only.
constexpr SdkErrorCode ProgressCancelFail = 202;
constexpr SdkErrorCode ProgressGetDescriptionFail = 203;
constexpr SdkErrorCode ProgressGetErrorInfoFail = 204;
constexpr SdkErrorCode ProgressGetCancelFail = 205;
constexpr SdkErrorCode ProgressGetCancelableFail = 206;

// Start-up of COM: seen through getVBoxErrorMessage, never returned.
constexpr SdkErrorCode VBoxCoInitializeFail = 207;
constexpr SdkErrorCode VBoxCoCreateInstanceVBoxFail = 208;
constexpr SdkErrorCode VBoxCoCreateInstanceSessionFail = 209;

// Appliance descriptions; medium queries.
constexpr SdkErrorCode ApplianceGetVirtualSystemDescriptionsFail = 211;
constexpr SdkErrorCode VirtualSystemDescriptionGetValuesFail = 212;
constexpr SdkErrorCode MediumGetStateFail = 213;
constexpr SdkErrorCode MediumGetLastAccessErrorFail = 214;
constexpr SdkErrorCode MediumGetIdFail = 215;

} // namespace Travik

#endif
