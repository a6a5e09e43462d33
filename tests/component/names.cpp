#include "names.h"

#include <algorithm>
#include <map>

namespace TravikTest {

std::wstring codeName(std::uint32_t code)
{
    static const std::map<std::uint32_t, const wchar_t*> names = {
        {101, L"InitVboxComFail"},
        {102, L"VBoxInstance_LinkFail"},
        {103, L"RegisterHelper_TargetNotFoundFail"},
        {104, L"RegisterHelper_OpenKeyFail"},
        {105, L"RegisterHelper_QueryKeyFail"},
        {106, L"OpenMachineFail"},
        {107, L"FindMachineFail"},
        {108, L"LaunchVMProcessFail"},
        {109, L"LockMachineFail"},
        {110, L"UnlockMachineFail"},
        {111, L"RegisterMachineFail"},
        {112, L"MachineGetStateFail"},
        {113, L"CreateMutableMachineFail"},
        {114, L"ReleaseMutableMachineFail"},
        {115, L"SetMachineCPUCountFail"},
        {116, L"SetMachineMemoryFail"},
        {117, L"SetMachineParavirtProviderFail"},
        {118, L"SetMachineExtraDataFail"},
        {119, L"SaveSettingsFail"},
        {120, L"PowerDownFail"},
        {121, L"ProgressWaitForCompletionFail"},
        {122, L"GetProgressCompletedFail"},
        {123, L"GetProgressResultCodeFail"},
        {124, L"GetProgressErrorInfoFail"},
        {125, L"GetHostFail"},
        {126, L"HostGetProcessorFeatureFail"},
        {127, L"MachineRemoveSharedFolderFail"},
        {128, L"MachineCreateSharedFolderFail"},
        {129, L"GetConsoleFail"},
        {130, L"ConsoleGetStateFail"},
        {131, L"ConsoleResumeFail"},
        {132, L"ConsoleRemoveSharedFolderFail"},
        {133, L"ConsoleCreateSharedFolderFail"},
        {134, L"GetNetworkAdapterFail"},
        {135, L"GetNATEngineFail"},
        {136, L"RemoveRedirectFail"},
        {137, L"AddRedirectFail"},
        {138, L"GetRedirectsFail"},
        {139, L"GetGuestPropertyFail"},
        {140, L"SetGuestPropertyFail"},
        {141, L"DeleteGuestPropertyFail"},
        {142, L"GetAudioAdapterFail"},
        {143, L"SetAudioAdapterEnabledFail"},
        {144, L"GetEventSourceFail"},
        {145, L"EventSourceCreateListenerFail"},
        {146, L"EventSourceRegisterListenerFail"},
        {147, L"EventSourceUnregisterListenerFail"},
        {148, L"SafeArrayCreateFail"},
        {149, L"EventSourceGetEventFail"},
        {150, L"EventSourceEventProcessedFail"},
        {151, L"EventSourceEventGetTypeFail"},
        {152, L"GetEventSourceStateChangedEventFail"},
        {153, L"EventSourceStateChangedEventGetStateFail"},
        {154, L"GetEventSourceRuntimeErrorEventFail"},
        {155, L"EventSourceRuntimeErrorEventGetFatalFail"},
        {156, L"EventSourceRuntimeErrorEventGetIdFail"},
        {157, L"EventSourceRuntimeErrorEventGetMessageFail"},
        {158, L"GetMachineExtraDataFail"},
        {159, L"ComposeMachineFilenameFail"},
        {160, L"GetSystemPropertiesFail"},
        {161, L"PutDefaultMachineFolderFail"},
        {162, L"GetDefaultMachineFolderFail"},
        {163, L"OpenMediumFail"},
        {164, L"CloseMediumFail"},
        {165, L"SetAutoDiscardForDeviceFail"},
        {166, L"NonRotationalDeviceFail"},
        {167, L"AttachDeviceFail"},
        {168, L"DetachDeviceFail"},
        {169, L"PutNameFail"},
        {170, L"CreateApplianceFail"},
        {171, L"ApplianceReadFail"},
        {172, L"ApplianceInterpretFail"},
        {173, L"SetImportOptionsFail"},
        {174, L"ApplianceImportMachinesFail"},
        {175, L"SafeArrayCreateIntVectorFail"},
        {176, L"ApplianceGetMachinesFail"},
        {177, L"CreateMachineFail"},
        {178, L"CloneMachineFail"},
        {179, L"MachineUnregisterFail"},
        {180, L"MachineDeleteConfigFail"},
        {181, L"COM_Get_MachineFail"},
        {182, L"COM_Get_MutableMachineFail"},
        {183, L"COM_Get_ProgressFail"},
        {184, L"COM_Get_ConsoleFail"},
        {185, L"COM_Get_EventSourceFail"},
        {186, L"COM_Get_EventSourceListenerFail"},
        {187, L"COM_Get_EventFail"},
        {188, L"COM_Get_StateChangedEventFail"},
        {189, L"COM_Get_RuntimeErrorEventFail"},
        {190, L"COM_Get_AudioAdaptFail"},
        {191, L"COM_Get_NatEngineFail"},
        {192, L"COM_Get_NetAdaptFail"},
        {193, L"COM_Get_HostFail"},
        {194, L"COM_Get_MediumFail"},
        {195, L"CheckFileExistsFail"},
        {196, L"RenameFilePathFail"},
        {197, L"RemoveFilePathFail"},
        {198, L"MachineGetStorageControllerByNameFail"},
        {199, L"StorageControllerGetPortCountFail"},
        {200, L"MediumGetLocationFail"},
        {201, L"MachineGetMediumFail"},
        {202, L"ProgressCancelFail"},
        {203, L"ProgressGetDescriptionFail"},
        {204, L"ProgressGetErrorInfoFail"},
        {205, L"ProgressGetCancelFail"},
        {206, L"ProgressGetCancelableFail"},
        {207, L"VBoxCoInitializeFail"},
        {208, L"VBoxCoCreateInstanceVBoxFail"},
        {209, L"VBoxCoCreateInstanceSessionFail"},
        {211, L"ApplianceGetVirtualSystemDescriptionsFail"},
        {212, L"VirtualSystemDescriptionGetValuesFail"},
        {213, L"MediumGetStateFail"},
        {214, L"MediumGetLastAccessErrorFail"},
        {215, L"MediumGetIdFail"},
    };
    const auto found = names.find(code);
    return found == names.end() ? L"Unknow" : found->second;
}

const std::vector<NamedResult>& knownResults()
{
    static const std::vector<NamedResult> results = {
        {0x80BB0001, L"ObjectNotFound"},
        {0x80BB0002, L"InvalidVMState"},
        {0x80BB0003, L"VMError"},
        {0x80BB0004, L"FileError"},
        {0x80BB0005, L"IPRTError"},
        {0x80BB0006, L"PDMError"},
        {0x80BB0007, L"InvalidObjectState"},
        {0x80BB0008, L"HostError"},
        {0x80BB0009, L"NotSupported"},
        {0x80BB000A, L"XMLError"},
        {0x80BB000B, L"InvalidSessionState"},
        {0x80BB000C, L"ObjectInUse"},
        {0x80BB000D, L"PasswordIncorrect"},
        {0x80BB000E, L"MaximumReached"},
        {0x80BB000F, L"GstctlGuestError"},
        {0x80BB0010, L"Unknow"},
        {0x8000FFFF, L"OleUnexpectedError"},
        {0x80004001, L"OleNotImplError"},
        {0x8007000E, L"OleOutOfMemoryError"},
        {0x80070057, L"OleInvalidArgError"},
        {0x80004002, L"OleNotInterfaceError"},
        {0x80004003, L"OlePointerError"},
        {0x80004004, L"OleAbortError"},
        {0x80004005, L"OleFailError"},
        {0x80070005, L"OleAccessDeniedError"},
        {0x800706BE, L"RPCCallFailed"},
        {0x800706BA, L"RPCServerUnavailable"},
        {0x800706BF, L"RPCCallFailedDNE"},
        {0x80010108, L"RPCDisconnected"},
        {0x800706B5, L"RPCUnknownIF"},
    };
    return results;
}

std::wstring resultName(std::uint32_t result)
{
    const auto& all = knownResults();
    const auto found = std::find_if(all.begin(), all.end(), [&](const auto& known) { return known.result == result; });
    return found == all.end() ? L"Unknow" : found->name;
}

std::wstring hexadecimalText(std::uint32_t value)
{
    wchar_t digits[9];
    swprintf(digits, std::size(digits), L"%x", value);
    return digits;
}

} // namespace TravikTest
