#include "errors/error_names.h"

#include <algorithm>
#include <iterator>

namespace Travik {
namespace {

// For a code or result outside the tables. The spelling is fixed: front ends compare it.
constexpr wchar_t unknownName[] = L"Unknow";

struct CodeName
{
    SdkErrorCode code;
    const wchar_t* name;
};

// In ascending order of the codes. 210 (a failed listing of the machines) has no name.
constexpr CodeName codeNames[] = {
    {InitVboxComFail, L"InitVboxComFail"},
    {VBoxInstance_LinkFail, L"VBoxInstance_LinkFail"},
    {RegisterHelper_TargetNotFoundFail, L"RegisterHelper_TargetNotFoundFail"},
    {RegisterHelper_OpenKeyFail, L"RegisterHelper_OpenKeyFail"},
    {RegisterHelper_QueryKeyFail, L"RegisterHelper_QueryKeyFail"},
    {OpenMachineFail, L"OpenMachineFail"},
    {FindMachineFail, L"FindMachineFail"},
    {LaunchVMProcessFail, L"LaunchVMProcessFail"},
    {LockMachineFail, L"LockMachineFail"},
    {UnlockMachineFail, L"UnlockMachineFail"},
    {RegisterMachineFail, L"RegisterMachineFail"},
    {MachineGetStateFail, L"MachineGetStateFail"},
    {CreateMutableMachineFail, L"CreateMutableMachineFail"},
    {ReleaseMutableMachineFail, L"ReleaseMutableMachineFail"},
    {SetMachineCPUCountFail, L"SetMachineCPUCountFail"},
    {SetMachineMemoryFail, L"SetMachineMemoryFail"},
    {SetMachineParavirtProviderFail, L"SetMachineParavirtProviderFail"},
    {SetMachineExtraDataFail, L"SetMachineExtraDataFail"},
    {SaveSettingsFail, L"SaveSettingsFail"},
    {PowerDownFail, L"PowerDownFail"},
    {ProgressWaitForCompletionFail, L"ProgressWaitForCompletionFail"},
    {GetProgressCompletedFail, L"GetProgressCompletedFail"},
    {GetProgressResultCodeFail, L"GetProgressResultCodeFail"},
    {GetProgressErrorInfoFail, L"GetProgressErrorInfoFail"},
    {GetHostFail, L"GetHostFail"},
    {HostGetProcessorFeatureFail, L"HostGetProcessorFeatureFail"},
    {MachineRemoveSharedFolderFail, L"MachineRemoveSharedFolderFail"},
    {MachineCreateSharedFolderFail, L"MachineCreateSharedFolderFail"},
    {GetConsoleFail, L"GetConsoleFail"},
    {ConsoleGetStateFail, L"ConsoleGetStateFail"},
    {ConsoleResumeFail, L"ConsoleResumeFail"},
    {ConsoleRemoveSharedFolderFail, L"ConsoleRemoveSharedFolderFail"},
    {ConsoleCreateSharedFolderFail, L"ConsoleCreateSharedFolderFail"},
    {GetNetworkAdapterFail, L"GetNetworkAdapterFail"},
    {GetNATEngineFail, L"GetNATEngineFail"},
    {RemoveRedirectFail, L"RemoveRedirectFail"},
    {AddRedirectFail, L"AddRedirectFail"},
    {GetRedirectsFail, L"GetRedirectsFail"},
    {GetGuestPropertyFail, L"GetGuestPropertyFail"},
    {SetGuestPropertyFail, L"SetGuestPropertyFail"},
    {DeleteGuestPropertyFail, L"DeleteGuestPropertyFail"},
    {GetAudioAdapterFail, L"GetAudioAdapterFail"},
    {SetAudioAdapterEnabledFail, L"SetAudioAdapterEnabledFail"},
    {GetEventSourceFail, L"GetEventSourceFail"},
    {EventSourceCreateListenerFail, L"EventSourceCreateListenerFail"},
    {EventSourceRegisterListenerFail, L"EventSourceRegisterListenerFail"},
    {EventSourceUnregisterListenerFail, L"EventSourceUnregisterListenerFail"},
    {SafeArrayCreateFail, L"SafeArrayCreateFail"},
    {EventSourceGetEventFail, L"EventSourceGetEventFail"},
    {EventSourceEventProcessedFail, L"EventSourceEventProcessedFail"},
    {EventSourceEventGetTypeFail, L"EventSourceEventGetTypeFail"},
    {GetEventSourceStateChangedEventFail, L"GetEventSourceStateChangedEventFail"},
    {EventSourceStateChangedEventGetStateFail, L"EventSourceStateChangedEventGetStateFail"},
    {GetEventSourceRuntimeErrorEventFail, L"GetEventSourceRuntimeErrorEventFail"},
    {EventSourceRuntimeErrorEventGetFatalFail, L"EventSourceRuntimeErrorEventGetFatalFail"},
    {EventSourceRuntimeErrorEventGetIdFail, L"EventSourceRuntimeErrorEventGetIdFail"},
    {EventSourceRuntimeErrorEventGetMessageFail, L"EventSourceRuntimeErrorEventGetMessageFail"},
    {GetMachineExtraDataFail, L"GetMachineExtraDataFail"},
    {ComposeMachineFilenameFail, L"ComposeMachineFilenameFail"},
    {GetSystemPropertiesFail, L"GetSystemPropertiesFail"},
    {PutDefaultMachineFolderFail, L"PutDefaultMachineFolderFail"},
    {GetDefaultMachineFolderFail, L"GetDefaultMachineFolderFail"},
    {OpenMediumFail, L"OpenMediumFail"},
    {CloseMediumFail, L"CloseMediumFail"},
    {SetAutoDiscardForDeviceFail, L"SetAutoDiscardForDeviceFail"},
    {NonRotationalDeviceFail, L"NonRotationalDeviceFail"},
    {AttachDeviceFail, L"AttachDeviceFail"},
    {DetachDeviceFail, L"DetachDeviceFail"},
    {PutNameFail, L"PutNameFail"},
    {CreateApplianceFail, L"CreateApplianceFail"},
    {ApplianceReadFail, L"ApplianceReadFail"},
    {ApplianceInterpretFail, L"ApplianceInterpretFail"},
    {SetImportOptionsFail, L"SetImportOptionsFail"},
    {ApplianceImportMachinesFail, L"ApplianceImportMachinesFail"},
    {SafeArrayCreateIntVectorFail, L"SafeArrayCreateIntVectorFail"},
    {ApplianceGetMachinesFail, L"ApplianceGetMachinesFail"},
    {CreateMachineFail, L"CreateMachineFail"},
    {CloneMachineFail, L"CloneMachineFail"},
    {MachineUnregisterFail, L"MachineUnregisterFail"},
    {MachineDeleteConfigFail, L"MachineDeleteConfigFail"},
    {COM_Get_MachineFail, L"COM_Get_MachineFail"},
    {COM_Get_MutableMachineFail, L"COM_Get_MutableMachineFail"},
    {COM_Get_ProgressFail, L"COM_Get_ProgressFail"},
    {COM_Get_ConsoleFail, L"COM_Get_ConsoleFail"},
    {COM_Get_EventSourceFail, L"COM_Get_EventSourceFail"},
    {COM_Get_EventSourceListenerFail, L"COM_Get_EventSourceListenerFail"},
    {COM_Get_EventFail, L"COM_Get_EventFail"},
    {COM_Get_StateChangedEventFail, L"COM_Get_StateChangedEventFail"},
    {COM_Get_RuntimeErrorEventFail, L"COM_Get_RuntimeErrorEventFail"},
    {COM_Get_AudioAdaptFail, L"COM_Get_AudioAdaptFail"},
    {COM_Get_NatEngineFail, L"COM_Get_NatEngineFail"},
    {COM_Get_NetAdaptFail, L"COM_Get_NetAdaptFail"},
    {COM_Get_HostFail, L"COM_Get_HostFail"},
    {COM_Get_MediumFail, L"COM_Get_MediumFail"},
    {CheckFileExistsFail, L"CheckFileExistsFail"},
    {RenameFilePathFail, L"RenameFilePathFail"},
    {RemoveFilePathFail, L"RemoveFilePathFail"},
    {MachineGetStorageControllerByNameFail, L"MachineGetStorageControllerByNameFail"},
    {StorageControllerGetPortCountFail, L"StorageControllerGetPortCountFail"},
    {MediumGetLocationFail, L"MediumGetLocationFail"},
    {MachineGetMediumFail, L"MachineGetMediumFail"},
    {ProgressCancelFail, L"ProgressCancelFail"},
    {ProgressGetDescriptionFail, L"ProgressGetDescriptionFail"},
    {ProgressGetErrorInfoFail, L"ProgressGetErrorInfoFail"},
    {ProgressGetCancelFail, L"ProgressGetCancelFail"},
    {ProgressGetCancelableFail, L"ProgressGetCancelableFail"},
    {VBoxCoInitializeFail, L"VBoxCoInitializeFail"},
    {VBoxCoCreateInstanceVBoxFail, L"VBoxCoCreateInstanceVBoxFail"},
    {VBoxCoCreateInstanceSessionFail, L"VBoxCoCreateInstanceSessionFail"},
    {ApplianceGetVirtualSystemDescriptionsFail, L"ApplianceGetVirtualSystemDescriptionsFail"},
    {VirtualSystemDescriptionGetValuesFail, L"VirtualSystemDescriptionGetValuesFail"},
    {MediumGetStateFail, L"MediumGetStateFail"},
    {MediumGetLastAccessErrorFail, L"MediumGetLastAccessErrorFail"},
    {MediumGetIdFail, L"MediumGetIdFail"},
};
static_assert(std::size(codeNames) == 114);
static_assert(std::is_sorted(std::begin(codeNames), std::end(codeNames),
                             [](const CodeName& left, const CodeName& right) { return left.code < right.code; }));

// By value of VBoxResultCode; 16 and 31 have no name of their own.
constexpr const wchar_t* resultNames[] = {
    L"Null",
    L"ObjectNotFound",
    L"InvalidVMState",
    L"VMError",
    L"FileError",
    L"IPRTError",
    L"PDMError",
    L"InvalidObjectState",
    L"HostError",
    L"NotSupported",
    L"XMLError",
    L"InvalidSessionState",
    L"ObjectInUse",
    L"PasswordIncorrect",
    L"MaximumReached",
    L"GstctlGuestError",
    unknownName,
    L"OleUnexpectedError",
    L"OleNotImplError",
    L"OleOutOfMemoryError",
    L"OleInvalidArgError",
    L"OleNotInterfaceError",
    L"OlePointerError",
    L"OleAbortError",
    L"OleFailError",
    L"OleAccessDeniedError",
    L"RPCCallFailed",
    L"RPCServerUnavailable",
    L"RPCCallFailedDNE",
    L"RPCDisconnected",
    L"RPCUnknownIF",
    unknownName,
};
static_assert(std::size(resultNames) == 32);

} // namespace

std::wstring sdkErrorName(SdkErrorCode code)
{
    const auto found = std::lower_bound(std::begin(codeNames), std::end(codeNames), code,
                                        [](const CodeName& entry, SdkErrorCode wanted) { return entry.code < wanted; });
    return found != std::end(codeNames) && found->code == code ? found->name : unknownName;
}

std::wstring vboxResultName(std::uint32_t value)
{
    return value < std::size(resultNames) ? resultNames[value] : unknownName;
}

} // namespace Travik
