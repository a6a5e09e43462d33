// What reaches the standard output of a process that logs.

#include <gmock/gmock.h>

#include <string>

#include "child_program.h"
#include "file_bytes.h"
#include "log/log_text.h"
#include "log_fixture.h"

namespace {

using TravikTest::ChildResult;
using TravikTest::maskTimes;

class LogConsole : public TravikTest::LogFixture
{
protected:
    /// The standard output of a child that logs so, with plain line ends.
    static std::string outputOf(std::vector<std::wstring> arguments)
    {
        arguments.insert(arguments.begin(), L"log");
        const ChildResult child = TravikTest::runToEnd(TravikTest::childProgram(), arguments);
        EXPECT_EQ(0u, child.exitCode);
        std::string output = child.output;
        std::erase(output, '\r');
        return maskTimes(output);
    }
};

TEST_F(LogConsole, GetsEveryRecordUntilAFileIsNamed)
{
    EXPECT_EQ("\n[TIME][INFO] (unit_child) <7> # one\n[TIME][INFO] (unit_child) <7> # two",
              outputOf({L"record", L"one", L"record", L"two", L"path", logFile.wstring(), L"record", L"three"}));
    EXPECT_EQ("\r\n[TIME][INFO] (unit_child) <7> # three", maskTimes(logBytes()));
}

TEST_F(LogConsole, GetsTheRecordsWhenTheFileCannotBeOpened)
{
    EXPECT_EQ("\n[TIME][INFO] (unit_child) <7> # one",
              outputOf({L"path", (folder / L"missing" / L"log.txt").wstring(), L"record", L"one"}));
}

TEST_F(LogConsole, WritesCharactersUpToFFAndEscapesTheOthers)
{
    EXPECT_EQ("\n[TIME][INFO] (unit_child) <7> # caf\xE9 \\u0100 \\u4E2D\\u6587 \\U0001F3AE"
              "\n[TIME][INFO] (unit_child) <7> # next",
              outputOf({L"record", L"caf\u00E9 \u0100 \u4E2D\u6587 \U0001F3AE", L"record", L"next"}));
}

TEST_F(LogConsole, EscapesLoneSurrogates)
{
    EXPECT_EQ("\n[TIME][INFO] (unit_child) <7> # \\uD83C-\\uDFAE\n[TIME][INFO] (unit_child) <7> # next",
              outputOf({L"record", std::wstring(L"\xD83C") + L"-" + L"\xDFAE", L"record", L"next"}));
}

TEST(ConsoleEscapes, BeginAboveFF)
{
    using Travik::escapeForConsole;
    EXPECT_EQ(L"", escapeForConsole(L""));
    EXPECT_EQ(L"a\\b\n\u0080\u00E9\u00FF", escapeForConsole(L"a\\b\n\u0080\u00E9\u00FF"));
    EXPECT_EQ(L"\\u0100\\uFFFF\\U00010000\\U0010FFFF", escapeForConsole(L"\u0100\uFFFF\U00010000\U0010FFFF"));
    EXPECT_EQ(L"\\uDFAE\\uD83C\\U0001F3AE", escapeForConsole(std::wstring(L"\xDFAE\xD83C") + L"\xD83C\xDFAE"));
    EXPECT_EQ(std::wstring(L"a\0b", 3), escapeForConsole(std::wstring(L"a\0b", 3)));
}

} // namespace
