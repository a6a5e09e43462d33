#include <windows.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <mutex>
#include <string>

#include "file_bytes.h"
#include "log/log.h"
#include "log_fixture.h"
#include "selq6/vbox.h"

namespace {

using namespace Travik;
using TravikTest::ConsoleCapture;
using TravikTest::maskTimes;
using TravikTest::readBytes;
using TravikTest::writeBytes;

class OpenVBox : public VBox
{
public:
    using VBox::lastRC;
    using VBox::mutex;
};

class LogFile : public TravikTest::LogFixture
{
protected:
    std::uint32_t setLogPath(const std::filesystem::path& path) { return vbox.setLogPath(path.wstring()); }
    static void record(const std::wstring& text) { writeRecord(LogLevel::Info, 1, L"f", text); }

    OpenVBox vbox;
};

TEST_F(LogFile, IsClosedAtFirst)
{
    EXPECT_FALSE(logStream.is_open());
    EXPECT_EQ(L"", currentLogPath);
}

TEST_F(LogFile, SetLogPathOpensItWritesNoRecordAndAnswers0)
{
    const ConsoleCapture console;
    EXPECT_EQ(0u, setLogPath(logFile));
    EXPECT_TRUE(logStream.is_open());
    EXPECT_EQ(logFile.wstring(), currentLogPath);
    EXPECT_EQ("", logBytes());
    EXPECT_EQ(L"", console.text());
}

TEST_F(LogFile, SetLogPathTakesNoMutexAndLeavesTheLastResult)
{
    vbox.lastRC = Travik::Result::Fail;
    const std::lock_guard lock(vbox.mutex);
    EXPECT_EQ(0u, setLogPath(logFile));
    EXPECT_EQ(Travik::Result::Fail, vbox.lastRC);
}

TEST_F(LogFile, IsAppendedTo)
{
    writeBytes(logFile, "old text");
    setLogPath(logFile);
    EXPECT_EQ("old text", logBytes());
    record(L"new");
    EXPECT_EQ("old text\r\n[TIME][INFO] (f) <1> # new", maskTimes(logBytes()));
}

TEST_F(LogFile, StaysUntouchedWhenItsPathIsSetAgain)
{
    setLogPath(logFile);
    record(L"one");
    const std::string before = logBytes();
    EXPECT_EQ(0u, setLogPath(logFile));
    EXPECT_EQ(before, logBytes());
    record(L"two");
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # one\r\n[TIME][INFO] (f) <1> # two", maskTimes(logBytes()));
}

TEST_F(LogFile, EndsWithALineEndWhenAnotherPathIsSet)
{
    const std::filesystem::path other = folder / L"other.txt";
    writeBytes(other, "kept");
    setLogPath(logFile);
    record(L"one");
    EXPECT_EQ(0u, setLogPath(other));
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # one\r\n", maskTimes(logBytes()));
    EXPECT_EQ("kept", readBytes(other));
    record(L"two");
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # one\r\n", maskTimes(logBytes()));
    EXPECT_EQ("kept\r\n[TIME][INFO] (f) <1> # two", maskTimes(readBytes(other)));
    EXPECT_EQ(other.wstring(), currentLogPath);
    EXPECT_TRUE(DeleteFileW(logFile.c_str())) << "the first file is closed";
}

TEST_F(LogFile, ComparesPathsCharacterByCharacter)
{
    setLogPath(logFile);
    setLogPath(folder / L"LOG.TXT"); // the same file, but another path
    EXPECT_EQ("\r\n", logBytes());
    EXPECT_TRUE(logStream.is_open());
}

TEST_F(LogFile, IsContinuedAfterAChangeThereAndBack)
{
    setLogPath(logFile);
    record(L"one");
    setLogPath(folder / L"other.txt");
    setLogPath(logFile);
    record(L"two");
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # one\r\n\r\n[TIME][INFO] (f) <1> # two", maskTimes(logBytes()));
}

TEST_F(LogFile, InAMissingFolderLeavesTheLogOnTheConsoleAndIsTriedAgain)
{
    const ConsoleCapture console;
    const std::filesystem::path late = folder / L"later" / L"log.txt";
    EXPECT_EQ(0u, setLogPath(late));
    EXPECT_FALSE(logStream.is_open());
    EXPECT_EQ(late.wstring(), currentLogPath);
    record(L"to the console");
    EXPECT_EQ(L"\n[TIME][INFO] (f) <1> # to the console", maskTimes(console.text()));

    EXPECT_EQ(0u, setLogPath(late));
    EXPECT_FALSE(logStream.is_open());
    EXPECT_FALSE(std::filesystem::exists(late.parent_path())) << "no folder is made";

    std::filesystem::create_directory(late.parent_path());
    EXPECT_EQ(0u, setLogPath(late));
    EXPECT_TRUE(logStream.is_open());
    record(L"to the file");
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # to the file", maskTimes(readBytes(late)));
    EXPECT_EQ(L"\n[TIME][INFO] (f) <1> # to the console", maskTimes(console.text()));
}

TEST_F(LogFile, ThatCannotBeOpenedEndsTheOldOneAllTheSame)
{
    const ConsoleCapture console;
    setLogPath(logFile);
    record(L"one");
    EXPECT_EQ(0u, setLogPath(folder / L"missing" / L"log.txt"));
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # one\r\n", maskTimes(logBytes()));
    record(L"two");
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # one\r\n", maskTimes(logBytes()));
    EXPECT_EQ(L"\n[TIME][INFO] (f) <1> # two", maskTimes(console.text()));
}

TEST_F(LogFile, WithAnEmptyPathStaysClosed)
{
    const ConsoleCapture console;
    EXPECT_EQ(0u, setLogPath(L""));
    EXPECT_FALSE(logStream.is_open());
    record(L"one");
    EXPECT_EQ(L"\n[TIME][INFO] (f) <1> # one", maskTimes(console.text()));
}

TEST_F(LogFile, MayHaveANameInAnyScript)
{
    const std::filesystem::path file = folder / L"\u65E5\u5FD7 \U0001F3AE \u00E9.txt";
    setLogPath(file);
    record(L"one");
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # one", maskTimes(readBytes(file)));
}

HANDLE openBySomeoneElse(const std::filesystem::path& file, DWORD disposition)
{
    return CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                       disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

TEST_F(LogFile, CanBeReadAndWrittenByOthersMeanwhile)
{
    setLogPath(logFile);
    record(L"one");
    const HANDLE other = openBySomeoneElse(logFile, OPEN_EXISTING);
    ASSERT_NE(INVALID_HANDLE_VALUE, other);
    record(L"two");

    SetFilePointer(other, 0, nullptr, FILE_END);
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(other, "-remark", 7, &written, nullptr));
    record(L"three");
    CloseHandle(other);
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # one\r\n[TIME][INFO] (f) <1> # two-remark\r\n[TIME][INFO] (f) <1> # three",
              maskTimes(logBytes()));
}

TEST_F(LogFile, OpensWhileOthersHaveItOpen)
{
    const HANDLE other = openBySomeoneElse(logFile, CREATE_NEW);
    ASSERT_NE(INVALID_HANDLE_VALUE, other);
    setLogPath(logFile);
    EXPECT_TRUE(logStream.is_open());
    record(L"one");
    CloseHandle(other);
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # one", maskTimes(logBytes()));
}

TEST_F(LogFile, KeepsTheLocaleOfItsStream)
{
    logStream.imbue(std::locale::classic());
    const std::locale before = logStream.getloc();
    setLogPath(logFile);
    EXPECT_TRUE(before == logStream.getloc());
}

} // namespace
