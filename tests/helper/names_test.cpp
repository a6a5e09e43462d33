// The helper carries the names of the codes itself, because the library does not export them: both tables must agree.

#include <gtest/gtest.h>
#include <travik/scoped_handle.h>

#include "errors/error_names.h"
#include "selq6/vbox.h"

using namespace Travik;

TEST(HelperNames, agreeWithTheLibraryForEveryCode)
{
    for (std::uint32_t code = 0; code < 400; ++code)
        EXPECT_EQ(errorCodeName(code), sdkErrorName(SdkErrorCode(code))) << code;
    EXPECT_STREQ(errorCodeName(0xFFFFFFFF), L"Unknow");
}

TEST(HelperNames, haveTheirOwnSpelling)
{
    EXPECT_STREQ(errorCodeName(FindMachineFail), L"FindMachineFail");
    EXPECT_STREQ(errorCodeName(101), L"InitVboxComFail");
    EXPECT_STREQ(errorCodeName(210), L"Unknow");
    EXPECT_STREQ(errorCodeName(215), L"MediumGetIdFail");
    EXPECT_STREQ(errorCodeName(216), L"Unknow");
}

TEST(HelperNames, nameEveryResultThatTheLibraryKnows)
{
    VBox vbox;
    for (std::uint32_t value = VBoxResult_Null; value < VBoxResult_Unknown; ++value)
        EXPECT_STRNE(resultName(vbox.toHResult(value)), L"") << value;
}

TEST(HelperNames, giveResultsTheirDocumentedSymbols)
{
    EXPECT_STREQ(resultName(0x80BB0001), L"VBOX_E_OBJECT_NOT_FOUND");
    EXPECT_STREQ(resultName(0x80BB0007), L"VBOX_E_INVALID_OBJECT_STATE");
    EXPECT_STREQ(resultName(0x80BB0010), L"VBOX_E_TIMEOUT");
    EXPECT_STREQ(resultName(0x80070057), L"E_INVALIDARG");
    EXPECT_STREQ(resultName(0x800706BA), L"RPC_S_SERVER_UNAVAILABLE");
    EXPECT_STREQ(resultName(0x12345678), L"");
}
