// check(): what a failure carries, and what it must not carry over from an older one.

#include <gtest/gtest.h>

#include "fake_vbox.h"

using namespace Travik;

namespace {

SdkError failureOf(FakeVBox& vbox, std::uint32_t code)
{
    try {
        check(vbox, code);
    } catch (const SdkError& error) {
        return error;
    }
    ADD_FAILURE() << "nothing was thrown";
    return SdkError(0, 0, L"");
}

} // namespace

TEST(Check, letsSuccessPass)
{
    FakeVBox vbox;
    vbox.lastResult = Result::Fail;
    EXPECT_NO_THROW(check(vbox, vbox.lockMachine(1, 2)));
}

TEST(Check, carriesCodeResultTextAndOperation)
{
    FakeVBox vbox;
    vbox.fail("findMachine", FindMachineFail, Result::ObjectNotFound);
    VBoxHandle machine = 0;
    const SdkError error = failureOf(vbox, vbox.findMachine(L"x", &machine));
    EXPECT_EQ(error.code(), 107u);
    EXPECT_STREQ(error.codeName(), L"FindMachineFail");
    EXPECT_EQ(error.result(), Result::ObjectNotFound);
    EXPECT_STREQ(error.resultName(), L"VBOX_E_OBJECT_NOT_FOUND");
    EXPECT_EQ(error.operation(), L"findMachine");
    EXPECT_EQ(error.text(), L"vbox sdk failure in Travik::VBox::findMachine(1 | two):17 errorDesc=FindMachineFail");
    EXPECT_STREQ(error.what(), "FindMachineFail (107), VBOX_E_OBJECT_NOT_FOUND (0x80bb0001)");
}

TEST(Check, saysHresultForOneWithoutName)
{
    EXPECT_STREQ(SdkError(106, 0x80123456, L"").what(), "OpenMachineFail (106), HRESULT (0x80123456)");
}

TEST(Check, namesNoResultForFailuresBeforeVirtualBoxIsAsked)
{
    for (const std::uint32_t code : {181u, 194u, 195u, 196u, 197u}) {
        FakeVBox vbox;
        vbox.lastResult = Result::ObjectNotFound; // of an older failure: renameVmDisk leaves it standing
        vbox.lastText =
            std::wstring(L"vbox sdk failure in Travik::VBox::renameVmDisk(a | b):9 errorDesc=") + errorCodeName(code);
        const SdkError error = failureOf(vbox, code);
        EXPECT_EQ(error.result(), 0u) << code;
        EXPECT_EQ(error.operation(), L"renameVmDisk") << code;
        EXPECT_STRNE(error.what(), "") << code;
    }
    FakeVBox vbox;
    vbox.lastResult = Result::ObjectNotFound;
    EXPECT_EQ(failureOf(vbox, 180).result(), Result::ObjectNotFound);
    EXPECT_EQ(failureOf(vbox, 198).result(), Result::ObjectNotFound);
}

TEST(Check, doesNotPassAnOlderTextOn)
{
    FakeVBox vbox;
    vbox.fail("lockMachine", LockMachineFail, Result::InvalidObjectState);
    vbox.lockMachine(1, 2);
    vbox.failSilently("importOva", ApplianceImportMachinesFail, 0); // success without an object leaves no text
    const SdkError error = failureOf(vbox, vbox.importOva(L"x.ova"));
    EXPECT_EQ(error.text(), L"");
    EXPECT_EQ(error.operation(), L"");
    EXPECT_STREQ(error.what(), "ApplianceImportMachinesFail (174)");
}

TEST(Check, keepsTheTextOfACreationThatFailed)
{
    FakeVBox vbox;
    vbox.lastResult = Result::ClassNotRegistered;
    vbox.lastText = L"vbox sdk failure in Travik::VBox::_initVBox():38 with rc=0x80040154 rcDesc=Unknow "
                    L"errorDesc=VBoxCoCreateInstanceVBoxFail";
    const SdkError error = failureOf(vbox, InitVboxComFail);
    EXPECT_EQ(error.operation(), L"_initVBox");
    EXPECT_EQ(error.result(), Result::ClassNotRegistered);
    EXPECT_STREQ(error.resultName(), L"REGDB_E_CLASSNOTREG");
}

TEST(Check, keepsTheTextOfTheCodeWithoutName)
{
    FakeVBox vbox;
    vbox.fail("listVms", 210, Result::Fail);
    std::vector<VBoxHandle> machines;
    const SdkError error = failureOf(vbox, vbox.listVms(&machines));
    EXPECT_EQ(error.operation(), L"listVms");
    EXPECT_STREQ(error.codeName(), L"Unknow");
}

TEST(Check, findsTheOperationOnlyInALibraryText)
{
    EXPECT_EQ(SdkError(1, 0, L"").operation(), L"");
    EXPECT_EQ(SdkError(1, 0, L"No space left (disk)").operation(), L"");
    EXPECT_EQ(SdkError(1, 0, L"vbox sdk failure in nothing").operation(), L"");
    EXPECT_EQ(SdkError(1, 0, L"vbox sdk failure in plain(x::y)").operation(), L"plain");
}

TEST(Check, findsTheArgumentsInALibraryText)
{
    const auto arguments = [](const wchar_t* text) { return SdkError(107, 0, text).arguments(); };
    EXPECT_EQ(arguments(L"vbox sdk failure in Travik::VBox::findMachine(Player):41 with rc=0x80bb0001"), L"Player");
    EXPECT_EQ(arguments(L"vbox sdk failure in Travik::VBox::openMachine(C:\\a (1):b.vbox):9 errorDesc=x"),
              L"C:\\a (1):b.vbox");
    EXPECT_EQ(arguments(L"No space left (disk):1"), L"");
}

const std::uint32_t processGone[] = {Result::RpcServerUnavailable,
                                     Result::RpcCallFailed,
                                     Result::RpcCallFailedDne,
                                     Result::RpcDisconnected,
                                     0x80010007,
                                     0x80010012,
                                     0x800401FD};

TEST(Check, throwsServerGoneWhenTheServerDoesNotAnswerEither)
{
    for (const std::uint32_t result : processGone) {
        FakeVBox vbox;
        vbox.fail("saveSettings", SaveSettingsFail, result);
        vbox.fail("getHost", GetHostFail, Result::RpcServerUnavailable);
        EXPECT_TRUE(isProcessGone(result));
        EXPECT_THROW(check(vbox, vbox.saveSettings(1)), ServerGone) << result;
    }
    for (const std::uint32_t result :
         {Result::Ok, Result::InvalidObjectState, Result::AccessDenied, Result::Fail, Result::ClassNotRegistered})
        EXPECT_FALSE(isProcessGone(result)) << result;
}

TEST(Check, throwsMachineGoneWhenOnlyTheMachinesProcessIsGone)
{
    for (const std::uint32_t result : processGone) {
        FakeVBox vbox;
        vbox.fail("consoleGetState", ConsoleGetStateFail, result);
        std::uint32_t state = 0;
        try {
            check(vbox, vbox.consoleGetState(1, &state));
            FAIL() << "nothing was thrown";
        } catch (const MachineGone& gone) {
            EXPECT_EQ(gone.code(), 130u) << "of the operation, not of the question whether the server answers";
            EXPECT_EQ(gone.result(), result);
            EXPECT_EQ(gone.operation(), L"consoleGetState");
        }
        EXPECT_EQ(vbox.count("getHost"), 1);
    }
}

TEST(Check, asksTheServerOnlyThen)
{
    FakeVBox vbox;
    vbox.fail("saveSettings", SaveSettingsFail, Result::FileError);
    EXPECT_THROW(check(vbox, vbox.saveSettings(1)), SdkError);
    EXPECT_EQ(vbox.count("getHost"), 0);
}
