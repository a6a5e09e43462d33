#include <windows.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "child_program.h"
#include "file_bytes.h"
#include "log/log.h"
#include "log/log_text.h"
#include "log_fixture.h"
#include "replaced_system.h"

namespace {

using namespace Travik;
using TravikTest::ChildResult;
using TravikTest::ConsoleCapture;
using TravikTest::maskTimes;
using TravikTest::ProgramPath;
using TravikTest::readBytes;
using TravikTest::writeBytes;

TEST(LogPathFor, IsBelowVmsdkBesideTheProgramWithItsExtensionKept)
{
    EXPECT_EQ(L"D:\\emu\\vmsdk\\player.exe_x.log", logPathFor(L"D:\\emu\\player.exe", L"x.log"));
    EXPECT_EQ(L"D:\\emu\\vmsdk\\player_x.log", logPathFor(L"D:\\emu\\player", L"x.log"));
    EXPECT_EQ(L"D:\\emu.d\\vmsdk\\player_x.log", logPathFor(L"D:\\emu.d\\player", L"x.log"));
    EXPECT_EQ(L"D:\\emu\\vmsdk\\a.b.exe_", logPathFor(L"D:\\emu\\a.b.exe", L""));
}

TEST(LogPathFor, SplitsAtTheLastSeparatorOfEitherKind)
{
    EXPECT_EQ(L"D:/emu\\vmsdk/player.exe_x.log", logPathFor(L"D:/emu/player.exe", L"x.log"));
    EXPECT_EQ(L"D:\\emu\\vmsdk/player.exe_x.log", logPathFor(L"D:\\emu/player.exe", L"x.log"));
    EXPECT_EQ(L"\\vmsdk\\player.exe_x.log", logPathFor(L"\\player.exe", L"x.log"));
}

TEST(LogPathFor, RefusesAProgramWithoutASeparator)
{
    EXPECT_THROW(logPathFor(L"player.exe", L"x.log"), std::out_of_range);
    EXPECT_THROW(logPathFor(L"D:player.exe", L"x.log"), std::out_of_range);
    EXPECT_THROW(logPathFor(L"", L"x.log"), std::out_of_range);
}

class InitLogger : public TravikTest::LogFixture
{
protected:
    void SetUp() override
    {
        LogFixture::SetUp();
        std::filesystem::create_directories(folder / L"emu" / L"vmsdk");
    }

    std::filesystem::path logFor(const std::wstring& suffix) const
    {
        return folder / L"emu" / L"vmsdk" / (L"player.exe_" + suffix);
    }
    static void record(const std::wstring& text) { writeRecord(LogLevel::Info, 1, L"f", text); }

    const std::filesystem::path player = folder / L"emu" / L"player.exe";
    const ProgramPath program{player.wstring()};
};

TEST_F(InitLogger, StartsTheLogWithAnEmptyLineAndItsOwn)
{
    const ConsoleCapture console;
    initLogger(L"x.log");
    EXPECT_EQ("\r\n[TIME] initLogger x.log", maskTimes(readBytes(logFor(L"x.log"))));
    EXPECT_TRUE(logStream.is_open());
    EXPECT_EQ(logFor(L"x.log").wstring(), currentLogPath);
    EXPECT_EQ(L"", console.text());
}

TEST_F(InitLogger, LetsTheRecordsFollow)
{
    initLogger(L"x.log");
    record(L"one");
    EXPECT_EQ("\r\n[TIME] initLogger x.log\r\n[TIME][INFO] (f) <1> # one", maskTimes(readBytes(logFor(L"x.log"))));
}

TEST_F(InitLogger, EmptiesTheFile)
{
    writeBytes(logFor(L"x.log"), std::string(1000, 'o'));
    initLogger(L"x.log");
    EXPECT_EQ("\r\n[TIME] initLogger x.log", maskTimes(readBytes(logFor(L"x.log"))));
}

TEST_F(InitLogger, WithTheSameSuffixLeavesTheFileOpenAndUntouched)
{
    initLogger(L"x.log");
    record(L"one");
    const std::string before = readBytes(logFor(L"x.log"));
    initLogger(L"x.log");
    EXPECT_EQ(before, readBytes(logFor(L"x.log")));
    EXPECT_TRUE(logStream.is_open());
    record(L"two");
    EXPECT_EQ(maskTimes(before) + "\r\n[TIME][INFO] (f) <1> # two", maskTimes(readBytes(logFor(L"x.log"))));
}

TEST_F(InitLogger, WithAnotherSuffixEndsTheFirstFileAndEmptiesTheNewOne)
{
    writeBytes(logFor(L"y.log"), "old");
    initLogger(L"x.log");
    record(L"one");
    initLogger(L"y.log");
    record(L"two");
    EXPECT_EQ("\r\n[TIME] initLogger x.log\r\n[TIME][INFO] (f) <1> # one\r\n", maskTimes(readBytes(logFor(L"x.log"))));
    EXPECT_EQ("\r\n[TIME] initLogger y.log\r\n[TIME][INFO] (f) <1> # two", maskTimes(readBytes(logFor(L"y.log"))));
}

TEST_F(InitLogger, EndsAFileThatWasSetByItsPath)
{
    openLog();
    record(L"one");
    initLogger(L"x.log");
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # one\r\n", maskTimes(logBytes()));
    EXPECT_EQ("\r\n[TIME] initLogger x.log", maskTimes(readBytes(logFor(L"x.log"))));
}

TEST_F(InitLogger, LeavesTheLogUntouchedWhenItsPathWasSetByHand)
{
    reopenLogFile(logFor(L"x.log").wstring());
    record(L"one");
    initLogger(L"x.log");
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # one", maskTimes(readBytes(logFor(L"x.log"))));
}

TEST_F(InitLogger, MakesNoFolderAndWritesToTheConsoleWithoutIt)
{
    const ConsoleCapture console;
    std::filesystem::remove(folder / L"emu" / L"vmsdk");
    initLogger(L"x.log");
    EXPECT_FALSE(std::filesystem::exists(folder / L"emu" / L"vmsdk"));
    EXPECT_FALSE(logStream.is_open());
    EXPECT_EQ(logFor(L"x.log").wstring(), currentLogPath);
    record(L"one");
    EXPECT_EQ(L"\n[TIME] initLogger x.log\n[TIME][INFO] (f) <1> # one", maskTimes(console.text()));

    std::filesystem::create_directory(folder / L"emu" / L"vmsdk");
    initLogger(L"x.log");
    EXPECT_EQ("\r\n[TIME] initLogger x.log", maskTimes(readBytes(logFor(L"x.log"))));
}

TEST_F(InitLogger, GivesTheStreamTheUsersLocaleAndLaterPathsKeepIt)
{
    const TravikTest::CodePage utf8(CP_UTF8);
    initLogger(L"x.log");
    record(L"\u4E2D");
    reopenLogFile(logFile.wstring());
    record(L"\U0001F3AE");
    logStream << 1234567 << std::flush;
    EXPECT_EQ("\r\n[TIME] initLogger x.log\r\n[TIME][INFO] (f) <1> # \xE4\xB8\xAD\r\n",
              maskTimes(readBytes(logFor(L"x.log"))));
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # \xF0\x9F\x8E\xAE"
              "1234567",
              maskTimes(logBytes()));
}

TEST_F(InitLogger, TakesASuffixInAnyScript)
{
    const std::wstring suffix = L"\u65E5\u5FD7\U0001F3AE.log";
    initLogger(suffix);
    record(L"one");
    EXPECT_EQ("\r\n[TIME] initLogger \\u65E5\\u5FD7\\U0001F3AE.log\r\n[TIME][INFO] (f) <1> # one",
              maskTimes(readBytes(logFor(suffix))));
}

TEST_F(InitLogger, ThrowsForAProgramPathWithoutASeparatorAndLeavesTheLogAsItWas)
{
    openLog();
    const ProgramPath bare(L"player.exe");
    EXPECT_THROW(initLogger(L"x.log"), std::out_of_range);
    EXPECT_TRUE(logStream.is_open());
    EXPECT_EQ(logFile.wstring(), currentLogPath);
    EXPECT_EQ("", logBytes());
}

TEST_F(InitLogger, TakesTheSuffixAsThePathWhenTheProgramIsUnknown)
{
    const ProgramPath unknown(L"");
    writeBytes(logFile, "old");
    initLogger(logFile.wstring());
    EXPECT_EQ("\r\n[TIME] initLogger " + logFile.string(), maskTimes(logBytes()));
}

TEST_F(InitLogger, InAProcessOfItsOwnLogsBesideThatProgram)
{
    std::filesystem::copy_file(TravikTest::childProgram(), player);
    const ChildResult child = TravikTest::runToEnd(player, {L"log", L"record", L"before", L"init", L"x.log", L"record",
                                                            L"one", L"init", L"x.log", L"init", L"y.log"});
    EXPECT_EQ(0u, child.exitCode);
    std::string output = child.output;
    std::erase(output, '\r');
    EXPECT_EQ("\n[TIME][INFO] (unit_child) <7> # before", maskTimes(output));
    EXPECT_EQ("\r\n[TIME] initLogger x.log\r\n[TIME][INFO] (unit_child) <7> # one\r\n",
              maskTimes(readBytes(logFor(L"x.log"))));
    EXPECT_EQ("\r\n[TIME] initLogger y.log", maskTimes(readBytes(logFor(L"y.log"))));
}

} // namespace
