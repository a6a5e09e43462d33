#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <type_traits>

#include "errors/error_names.h"
#include "errors/unread_texts.h"
#include "selq6/vbox.h"
#include "travik/sdk_error.h"

namespace {

using namespace Travik;

struct CodeRow
{
    std::uint32_t number;
    SdkErrorCode code;
    const wchar_t* name;
};

constexpr CodeRow codes[] = {
    {101, InitVboxComFail, L"InitVboxComFail"},
    {102, VBoxInstance_LinkFail, L"VBoxInstance_LinkFail"},
    {103, RegisterHelper_TargetNotFoundFail, L"RegisterHelper_TargetNotFoundFail"},
    {104, RegisterHelper_OpenKeyFail, L"RegisterHelper_OpenKeyFail"},
    {105, RegisterHelper_QueryKeyFail, L"RegisterHelper_QueryKeyFail"},
    {106, OpenMachineFail, L"OpenMachineFail"},
    {107, FindMachineFail, L"FindMachineFail"},
    {108, LaunchVMProcessFail, L"LaunchVMProcessFail"},
    {109, LockMachineFail, L"LockMachineFail"},
    {110, UnlockMachineFail, L"UnlockMachineFail"},
    {111, RegisterMachineFail, L"RegisterMachineFail"},
    {112, MachineGetStateFail, L"MachineGetStateFail"},
    {113, CreateMutableMachineFail, L"CreateMutableMachineFail"},
    {114, ReleaseMutableMachineFail, L"ReleaseMutableMachineFail"},
    {115, SetMachineCPUCountFail, L"SetMachineCPUCountFail"},
    {116, SetMachineMemoryFail, L"SetMachineMemoryFail"},
    {117, SetMachineParavirtProviderFail, L"SetMachineParavirtProviderFail"},
    {118, SetMachineExtraDataFail, L"SetMachineExtraDataFail"},
    {119, SaveSettingsFail, L"SaveSettingsFail"},
    {120, PowerDownFail, L"PowerDownFail"},
    {121, ProgressWaitForCompletionFail, L"ProgressWaitForCompletionFail"},
    {122, GetProgressCompletedFail, L"GetProgressCompletedFail"},
    {123, GetProgressResultCodeFail, L"GetProgressResultCodeFail"},
    {124, GetProgressErrorInfoFail, L"GetProgressErrorInfoFail"},
    {125, GetHostFail, L"GetHostFail"},
    {126, HostGetProcessorFeatureFail, L"HostGetProcessorFeatureFail"},
    {127, MachineRemoveSharedFolderFail, L"MachineRemoveSharedFolderFail"},
    {128, MachineCreateSharedFolderFail, L"MachineCreateSharedFolderFail"},
    {129, GetConsoleFail, L"GetConsoleFail"},
    {130, ConsoleGetStateFail, L"ConsoleGetStateFail"},
    {131, ConsoleResumeFail, L"ConsoleResumeFail"},
    {132, ConsoleRemoveSharedFolderFail, L"ConsoleRemoveSharedFolderFail"},
    {133, ConsoleCreateSharedFolderFail, L"ConsoleCreateSharedFolderFail"},
    {134, GetNetworkAdapterFail, L"GetNetworkAdapterFail"},
    {135, GetNATEngineFail, L"GetNATEngineFail"},
    {136, RemoveRedirectFail, L"RemoveRedirectFail"},
    {137, AddRedirectFail, L"AddRedirectFail"},
    {138, GetRedirectsFail, L"GetRedirectsFail"},
    {139, GetGuestPropertyFail, L"GetGuestPropertyFail"},
    {140, SetGuestPropertyFail, L"SetGuestPropertyFail"},
    {141, DeleteGuestPropertyFail, L"DeleteGuestPropertyFail"},
    {142, GetAudioAdapterFail, L"GetAudioAdapterFail"},
    {143, SetAudioAdapterEnabledFail, L"SetAudioAdapterEnabledFail"},
    {144, GetEventSourceFail, L"GetEventSourceFail"},
    {145, EventSourceCreateListenerFail, L"EventSourceCreateListenerFail"},
    {146, EventSourceRegisterListenerFail, L"EventSourceRegisterListenerFail"},
    {147, EventSourceUnregisterListenerFail, L"EventSourceUnregisterListenerFail"},
    {148, SafeArrayCreateFail, L"SafeArrayCreateFail"},
    {149, EventSourceGetEventFail, L"EventSourceGetEventFail"},
    {150, EventSourceEventProcessedFail, L"EventSourceEventProcessedFail"},
    {151, EventSourceEventGetTypeFail, L"EventSourceEventGetTypeFail"},
    {152, GetEventSourceStateChangedEventFail, L"GetEventSourceStateChangedEventFail"},
    {153, EventSourceStateChangedEventGetStateFail, L"EventSourceStateChangedEventGetStateFail"},
    {154, GetEventSourceRuntimeErrorEventFail, L"GetEventSourceRuntimeErrorEventFail"},
    {155, EventSourceRuntimeErrorEventGetFatalFail, L"EventSourceRuntimeErrorEventGetFatalFail"},
    {156, EventSourceRuntimeErrorEventGetIdFail, L"EventSourceRuntimeErrorEventGetIdFail"},
    {157, EventSourceRuntimeErrorEventGetMessageFail, L"EventSourceRuntimeErrorEventGetMessageFail"},
    {158, GetMachineExtraDataFail, L"GetMachineExtraDataFail"},
    {159, ComposeMachineFilenameFail, L"ComposeMachineFilenameFail"},
    {160, GetSystemPropertiesFail, L"GetSystemPropertiesFail"},
    {161, PutDefaultMachineFolderFail, L"PutDefaultMachineFolderFail"},
    {162, GetDefaultMachineFolderFail, L"GetDefaultMachineFolderFail"},
    {163, OpenMediumFail, L"OpenMediumFail"},
    {164, CloseMediumFail, L"CloseMediumFail"},
    {165, SetAutoDiscardForDeviceFail, L"SetAutoDiscardForDeviceFail"},
    {166, NonRotationalDeviceFail, L"NonRotationalDeviceFail"},
    {167, AttachDeviceFail, L"AttachDeviceFail"},
    {168, DetachDeviceFail, L"DetachDeviceFail"},
    {169, PutNameFail, L"PutNameFail"},
    {170, CreateApplianceFail, L"CreateApplianceFail"},
    {171, ApplianceReadFail, L"ApplianceReadFail"},
    {172, ApplianceInterpretFail, L"ApplianceInterpretFail"},
    {173, SetImportOptionsFail, L"SetImportOptionsFail"},
    {174, ApplianceImportMachinesFail, L"ApplianceImportMachinesFail"},
    {175, SafeArrayCreateIntVectorFail, L"SafeArrayCreateIntVectorFail"},
    {176, ApplianceGetMachinesFail, L"ApplianceGetMachinesFail"},
    {177, CreateMachineFail, L"CreateMachineFail"},
    {178, CloneMachineFail, L"CloneMachineFail"},
    {179, MachineUnregisterFail, L"MachineUnregisterFail"},
    {180, MachineDeleteConfigFail, L"MachineDeleteConfigFail"},
    {181, COM_Get_MachineFail, L"COM_Get_MachineFail"},
    {182, COM_Get_MutableMachineFail, L"COM_Get_MutableMachineFail"},
    {183, COM_Get_ProgressFail, L"COM_Get_ProgressFail"},
    {184, COM_Get_ConsoleFail, L"COM_Get_ConsoleFail"},
    {185, COM_Get_EventSourceFail, L"COM_Get_EventSourceFail"},
    {186, COM_Get_EventSourceListenerFail, L"COM_Get_EventSourceListenerFail"},
    {187, COM_Get_EventFail, L"COM_Get_EventFail"},
    {188, COM_Get_StateChangedEventFail, L"COM_Get_StateChangedEventFail"},
    {189, COM_Get_RuntimeErrorEventFail, L"COM_Get_RuntimeErrorEventFail"},
    {190, COM_Get_AudioAdaptFail, L"COM_Get_AudioAdaptFail"},
    {191, COM_Get_NatEngineFail, L"COM_Get_NatEngineFail"},
    {192, COM_Get_NetAdaptFail, L"COM_Get_NetAdaptFail"},
    {193, COM_Get_HostFail, L"COM_Get_HostFail"},
    {194, COM_Get_MediumFail, L"COM_Get_MediumFail"},
    {195, CheckFileExistsFail, L"CheckFileExistsFail"},
    {196, RenameFilePathFail, L"RenameFilePathFail"},
    {197, RemoveFilePathFail, L"RemoveFilePathFail"},
    {198, MachineGetStorageControllerByNameFail, L"MachineGetStorageControllerByNameFail"},
    {199, StorageControllerGetPortCountFail, L"StorageControllerGetPortCountFail"},
    {200, MediumGetLocationFail, L"MediumGetLocationFail"},
    {201, MachineGetMediumFail, L"MachineGetMediumFail"},
    {202, ProgressCancelFail, L"ProgressCancelFail"},
    {203, ProgressGetDescriptionFail, L"ProgressGetDescriptionFail"},
    {204, ProgressGetErrorInfoFail, L"ProgressGetErrorInfoFail"},
    {205, ProgressGetCancelFail, L"ProgressGetCancelFail"},
    {206, ProgressGetCancelableFail, L"ProgressGetCancelableFail"},
    {207, VBoxCoInitializeFail, L"VBoxCoInitializeFail"},
    {208, VBoxCoCreateInstanceVBoxFail, L"VBoxCoCreateInstanceVBoxFail"},
    {209, VBoxCoCreateInstanceSessionFail, L"VBoxCoCreateInstanceSessionFail"},
    {211, ApplianceGetVirtualSystemDescriptionsFail, L"ApplianceGetVirtualSystemDescriptionsFail"},
    {212, VirtualSystemDescriptionGetValuesFail, L"VirtualSystemDescriptionGetValuesFail"},
    {213, MediumGetStateFail, L"MediumGetStateFail"},
    {214, MediumGetLastAccessErrorFail, L"MediumGetLastAccessErrorFail"},
    {215, MediumGetIdFail, L"MediumGetIdFail"},
};

struct ResultRow
{
    std::uint32_t value;
    std::uint32_t hresult;
    const wchar_t* name;
};

// 31 stands for every other result.
constexpr ResultRow results[] = {
    {0, 0, L"Null"},
    {1, 0x80BB0001, L"ObjectNotFound"},
    {2, 0x80BB0002, L"InvalidVMState"},
    {3, 0x80BB0003, L"VMError"},
    {4, 0x80BB0004, L"FileError"},
    {5, 0x80BB0005, L"IPRTError"},
    {6, 0x80BB0006, L"PDMError"},
    {7, 0x80BB0007, L"InvalidObjectState"},
    {8, 0x80BB0008, L"HostError"},
    {9, 0x80BB0009, L"NotSupported"},
    {10, 0x80BB000A, L"XMLError"},
    {11, 0x80BB000B, L"InvalidSessionState"},
    {12, 0x80BB000C, L"ObjectInUse"},
    {13, 0x80BB000D, L"PasswordIncorrect"},
    {14, 0x80BB000E, L"MaximumReached"},
    {15, 0x80BB000F, L"GstctlGuestError"},
    {16, 0x80BB0010, L"Unknow"},
    {17, 0x8000FFFF, L"OleUnexpectedError"},
    {18, 0x80004001, L"OleNotImplError"},
    {19, 0x8007000E, L"OleOutOfMemoryError"},
    {20, 0x80070057, L"OleInvalidArgError"},
    {21, 0x80004002, L"OleNotInterfaceError"},
    {22, 0x80004003, L"OlePointerError"},
    {23, 0x80004004, L"OleAbortError"},
    {24, 0x80004005, L"OleFailError"},
    {25, 0x80070005, L"OleAccessDeniedError"},
    {26, 0x800706BE, L"RPCCallFailed"},
    {27, 0x800706BA, L"RPCServerUnavailable"},
    {28, 0x800706BF, L"RPCCallFailedDNE"},
    {29, 0x80010108, L"RPCDisconnected"},
    {30, 0x800706B5, L"RPCUnknownIF"},
};

SdkErrorCode codeOf(std::uint32_t number)
{
    return static_cast<SdkErrorCode>(number);
}

TEST(CodeNames, EveryCodeHasItsNumberAndItsName)
{
    ASSERT_EQ(114u, std::size(codes));
    for (const CodeRow& row : codes) {
        EXPECT_EQ(row.number, static_cast<std::uint32_t>(row.code)) << row.number;
        EXPECT_EQ(row.name, sdkErrorName(row.code)) << row.number;
    }
}

TEST(CodeNames, EveryOtherNumberIsUnknow)
{
    std::set<std::uint32_t> named;
    for (const CodeRow& row : codes)
        named.insert(row.number);
    for (std::uint32_t number = 0; number <= 1000; ++number) {
        if (!named.contains(number)) {
            EXPECT_EQ(L"Unknow", sdkErrorName(codeOf(number))) << number;
        }
    }
    for (const std::uint32_t number : {0u, 1u, 100u, 210u, 216u, 0x165u, 0x7FFFFFFFu, 0x80000000u, 0x80BB0001u,
                                       0xFFFFFFFFu, 107u + 0x10000u, 107u + 256u})
        EXPECT_EQ(L"Unknow", sdkErrorName(codeOf(number))) << number;
}

// Front ends write codes as numbers, too: this compiles without a warning.
static_assert(std::is_same_v<SdkErrorCode, std::uint32_t>);
static_assert(std::is_same_v<decltype(FindMachineFail), const SdkErrorCode>);

bool isFailedListing(SdkErrorCode code)
{
    switch (code) {
    case 210:
        return true;
    case FindMachineFail:
    default:
        return false;
    }
}

TEST(Codes, AreNumbersOf32Bits)
{
    SdkErrorCode code = 0;
    EXPECT_FALSE(isFailedListing(code));
    code = 210;
    EXPECT_TRUE(isFailedListing(code));
    EXPECT_EQ(L"FindMachineFail", sdkErrorName(107));
    EXPECT_EQ(107u, FindMachineFail);
}

TEST(Results, HaveTheNumbersOfTheConverters)
{
    VBox vbox;
    EXPECT_EQ(Result::ObjectNotFound, vbox.toHResult(VBoxResult_ObjectNotFound));
    EXPECT_EQ(Result::RpcUnknownInterface, vbox.toHResult(VBoxResult_RpcUnknownInterface));
    EXPECT_EQ(Result::Ok, vbox.toHResult(VBoxResult_Null));
}

TEST(MachineStates, OfTheLibraryAreWhatTheConverterGives)
{
    VBox vbox;
    EXPECT_EQ(SdkMachineState::Running, vbox.toSdkMachineState(MachineState::Running));
    EXPECT_EQ(SdkMachineState::TeleportingIn, vbox.toSdkMachineState(MachineState::TeleportingIn));
    EXPECT_EQ(SdkMachineState::Null, vbox.toSdkMachineState(MachineState::DeletingSnapshotOnline));
    EXPECT_EQ(SdkMachineState::DeletingSnapshotPaused, vbox.toSdkMachineState(MachineState::DeletingSnapshotPaused));
    EXPECT_EQ(SdkMachineState::OnlineSnapshotting, vbox.toSdkMachineState(MachineState::OnlineSnapshotting));
    EXPECT_EQ(SdkMachineState::RestoringSnapshot, vbox.toSdkMachineState(MachineState::RestoringSnapshot));
    EXPECT_EQ(SdkMachineState::DeletingSnapshot, vbox.toSdkMachineState(MachineState::DeletingSnapshot));
    EXPECT_EQ(SdkMachineState::SettingUp, vbox.toSdkMachineState(MachineState::SettingUp));
    EXPECT_EQ(SdkMachineState::Snapshotting, vbox.toSdkMachineState(MachineState::Snapshotting));
    EXPECT_EQ(MachineState::Snapshotting, vbox.toVBoxMachineState(SdkMachineState::Snapshotting));
}

TEST(CodeNames, SuccessAndAFailedListingHaveNoName)
{
    EXPECT_EQ(L"Unknow", sdkErrorName(codeOf(0)));
    EXPECT_EQ(L"Unknow", sdkErrorName(codeOf(210)));
}

TEST(ResultNames, Every32ValuesHaveTheirName)
{
    ASSERT_EQ(31u, std::size(results));
    for (const ResultRow& row : results)
        EXPECT_EQ(row.name, vboxResultName(row.value)) << row.value;
    EXPECT_EQ(L"Unknow", vboxResultName(31));
}

TEST(ResultNames, Value16HasAnHresultButNoName)
{
    VBox vbox;
    EXPECT_EQ(0x80BB0010u, vbox.toHResult(16));
    EXPECT_EQ(16u, vbox.toVBoxResultCode(0x80BB0010));
    EXPECT_EQ(L"Unknow", vboxResultName(16));
}

TEST(ResultNames, ValuesBeyondTheTableAreUnknow)
{
    for (std::uint32_t value = 32; value <= 1000; ++value)
        EXPECT_EQ(L"Unknow", vboxResultName(value)) << value;
    for (const std::uint32_t value : {0x10001u, 0x7FFFFFFFu, 0x80BB0001u, 0xFFFFFFFFu})
        EXPECT_EQ(L"Unknow", vboxResultName(value)) << value;
}

TEST(ResultNames, EveryHresultOfTheTableConvertsBothWays)
{
    VBox vbox;
    for (const ResultRow& row : results) {
        EXPECT_EQ(row.hresult, vbox.toHResult(row.value)) << row.value;
        EXPECT_EQ(row.value, vbox.toVBoxResultCode(row.hresult)) << row.value;
    }
    EXPECT_EQ(0u, vbox.toHResult(31));
}

TEST(ResultNames, AnHresultIsNamedThroughItsValue)
{
    VBox vbox;
    EXPECT_EQ(L"ObjectNotFound", vboxResultName(vbox.toVBoxResultCode(0x80BB0001)));
    EXPECT_EQ(L"Unknow", vboxResultName(vbox.toVBoxResultCode(0x80BB0010)));
    EXPECT_EQ(L"OleFailError", vboxResultName(vbox.toVBoxResultCode(0x80004005)));
    EXPECT_EQ(L"Unknow", vboxResultName(vbox.toVBoxResultCode(0x80070002)));
}

TEST(UnreadTexts, AllSixExistWithTheirValues)
{
    EXPECT_EQ(L"en_US", languageEnglish);
    EXPECT_EQ(L"zh_CN", languageChinese);
    EXPECT_EQ(L"selq6", flavourSelq6);
    EXPECT_EQ(L"dova", flavourDova);
    EXPECT_EQ(L"Unsupported error code", unsupportedErrorCode);
    EXPECT_EQ(L"Unsupported language", unsupportedLanguage);
}

} // namespace
