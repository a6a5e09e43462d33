#include <windows.h>
#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <ios>
#include <locale>
#include <string>

#include "file_bytes.h"
#include "log/log.h"
#include "log/log_text.h"
#include "log_fixture.h"
#include "replaced_system.h"

namespace {

using namespace Travik;
using TravikTest::recordsOf;

std::string encoded(const std::wstring& text, const std::locale& locale)
{
    std::string bytes = "before ";
    appendEncoded(bytes, text, locale);
    return bytes.substr(7);
}

const std::wstring loneHigh(1, static_cast<wchar_t>(0xD83C));
const std::wstring loneLow(1, static_cast<wchar_t>(0xDFAE));

TEST(EncodedInTheClassicLocale, AsciiStaysAsItIs)
{
    std::wstring ascii;
    std::string bytes;
    for (char c = 1; c > 0 && c < 127; ++c) {
        ascii += static_cast<wchar_t>(c);
        bytes += c == '\n' ? "\r\n" : std::string(1, c);
    }
    EXPECT_EQ(bytes, encoded(ascii, std::locale::classic()));
    EXPECT_EQ("\x7F", encoded(L"\x7F", std::locale::classic()));
    EXPECT_EQ(std::string("a\0b", 3), encoded(std::wstring(L"a\0b", 3), std::locale::classic()));
}

TEST(EncodedInTheClassicLocale, CharactersAboveFFAreEscaped)
{
    EXPECT_EQ("\\u4E2D\\u6587", encoded(L"\u4E2D\u6587", std::locale::classic()));
    EXPECT_EQ("\\uFFFF", encoded(L"\uFFFF", std::locale::classic()));
    EXPECT_EQ("\\U00010000\\U0001F3AE\\U0010FFFF", encoded(L"\U00010000\U0001F3AE\U0010FFFF", std::locale::classic()));
}

TEST(EncodedInTheClassicLocale, LoneSurrogatesAreEscapedByThemselves)
{
    EXPECT_EQ("\\uD83C", encoded(loneHigh, std::locale::classic()));
    EXPECT_EQ("\\uDFAEx", encoded(loneLow + L"x", std::locale::classic()));
    EXPECT_EQ("\\uDFAE\\uD83C", encoded(loneLow + loneHigh, std::locale::classic()));
    EXPECT_EQ("\\uD83C\\U0001F3AE", encoded(loneHigh + loneHigh + loneLow, std::locale::classic()));
    EXPECT_EQ("\\U0001F3AE\\uDFAE", encoded(loneHigh + loneLow + loneLow, std::locale::classic()));
}

TEST(EncodedInTheUsersLocale, CharactersOfTheCodePageAreConvertedAndTheOthersEscaped)
{
    if (GetACP() == CP_UTF8)
        GTEST_SKIP() << "the next test is for that";
    char expected[8] = {};
    BOOL replaced = FALSE;
    const int count = WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, L"\u00E9", 1, expected, 8, nullptr, &replaced);
    EXPECT_EQ(replaced ? "\\u00E9" : std::string(expected, static_cast<std::size_t>(count)),
              encoded(L"\u00E9", userTextLocale()));
    // No ANSI code page holds these.
    EXPECT_EQ("\\U0001F3AE", encoded(loneHigh + loneLow, userTextLocale()));
    EXPECT_EQ("\\uD83C-\\uDFAE", encoded(loneHigh + L"-" + loneLow, userTextLocale()));
    EXPECT_EQ("plain\r\n", encoded(L"plain\n", userTextLocale()));
}

TEST(EncodedInTheUsersLocale, EveryCharacterOfTheFirst384IsTheCodePagesByteOrAnEscape)
{
    if (GetACP() == CP_UTF8)
        GTEST_SKIP() << "the next test is for that";
    const std::locale locale = userTextLocale();
    for (wchar_t unit = 0x7E; unit < 0x180; ++unit) {
        char expected[8] = {};
        BOOL replaced = FALSE;
        const int count = WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, &unit, 1, expected, 8, nullptr, &replaced);
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(unit));
        EXPECT_EQ(replaced ? escape : std::string(expected, static_cast<std::size_t>(count)),
                  encoded(std::wstring(1, unit), locale))
            << std::hex << static_cast<unsigned>(unit);
    }
}

TEST(EncodedInTheUsersLocale, OnAUtf8SystemAsciiEndsAt7F)
{
    const TravikTest::CodePage utf8(CP_UTF8);
    EXPECT_EQ("\x7F\xC2\x80-\xC2\x80\x7F", encoded(L"\x7F\u0080-\u0080\x7F", userTextLocale()));
}

TEST(EncodedInTheUsersLocale, OnAUtf8SystemEveryCharacterIsConvertedButLoneSurrogates)
{
    const TravikTest::CodePage utf8(CP_UTF8);
    const std::locale locale = userTextLocale();
    EXPECT_EQ("\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x8E\xAE", encoded(L"\u00E9\u4E2D\U0001F3AE", locale));
    EXPECT_EQ("\\uD83C-\\uDFAE", encoded(loneHigh + L"-" + loneLow, locale));
}

TEST(UsersLocale, KeepsTheClassicRulesForNumbers)
{
    const auto& numbers = std::use_facet<std::numpunct<wchar_t>>(userTextLocale());
    EXPECT_EQ("", numbers.grouping());
    EXPECT_EQ(L'.', numbers.decimal_point());
}

class LogEscapes : public TravikTest::LogFixture
{};

TEST_F(LogEscapes, KeepTheRecordAndTheOnesAfterIt)
{
    openLog();
    writeRecord(LogLevel::Info, 1, L"f", L"\u4E2D\u6587 | \U0001F3AE | " + loneHigh + L" | " + loneLow);
    writeRecord(LogLevel::Info, 1, L"f", L"next");
    EXPECT_THAT(
        recordsOf(logBytes()),
        testing::ElementsAre("[INFO] (f) # \\u4E2D\\u6587 | \\U0001F3AE | \\uD83C | \\uDFAE", "[INFO] (f) # next"));
}

TEST_F(LogEscapes, StandOnlyForCharactersThatAStandardFileStreamRefuses)
{
    for (const wchar_t character : {L'\u0080', L'\u00E9', L'\u00FF', L'\u0100', L'\u4E2D'}) {
        const std::filesystem::path file = folder / L"standard.txt";
        bool refused = false;
        {
            std::wofstream standard(file, std::ios::binary); // its close would throw after a refusal
            standard << character << std::flush;
            refused = !standard.good();
        }
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(character));
        EXPECT_EQ(refused ? escape : TravikTest::readBytes(file),
                  encoded(std::wstring(1, character), std::locale::classic()))
            << std::hex << static_cast<unsigned>(character);
    }
}

TEST_F(LogEscapes, CoverTextThatACallerAppendsToARecordOfItsOwn)
{
    openLog();
    LogRecord(LogLevel::Info).logRecord(LogLevel::Info, 1, L"\u4E2D") << L"\U0001F3AE" << std::flush;
    LogRecord(LogLevel::Info).logRecord(LogLevel::Info, 1, L"f") << L"next" << std::flush;
    EXPECT_THAT(recordsOf(logBytes()), testing::ElementsAre("[INFO] (\\u4E2D) # \\U0001F3AE", "[INFO] (f) # next"));
}

TEST_F(LogEscapes, SplitNoSurrogatePairInALongText)
{
    const TravikTest::CodePage utf8(CP_UTF8);
    openLog();
    logStream.imbue(userTextLocale());
    std::wstring text = L"x"; // an odd place for every pair
    std::string bytes = "x";
    for (int i = 0; i < 20000; ++i) {
        text += L"\U0001F3AE";
        bytes += "\xF0\x9F\x8E\xAE";
    }
    writeRecord(LogLevel::Info, 1, L"f", text);
    const std::vector<std::string> records = recordsOf(logBytes());
    ASSERT_EQ(1u, records.size());
    EXPECT_TRUE(records[0] == "[INFO] (f) # " + bytes);
}

} // namespace
