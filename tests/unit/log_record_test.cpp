#include <gmock/gmock.h>

#include <cstdint>
#include <ctime>
#include <ios>
#include <limits>
#include <string>
#include <vector>

#include "file_bytes.h"
#include "log/log.h"
#include "log/log_text.h"
#include "log_fixture.h"
#include "replaced_system.h"

namespace {

using namespace Travik;
using TravikTest::ConsoleCapture;
using TravikTest::maskTimes;
using TravikTest::recordsOf;
using TravikTest::timesOf;

class LogRecords : public TravikTest::LogFixture
{};

TEST_F(LogRecords, HaveTheirFixedLayoutByteForByte)
{
    openLog();
    LogRecord(LogLevel::Info).logRecord(LogLevel::Info, 57, L"Travik::VBox::findMachine")
        << L"Windows 10" << std::flush;
    EXPECT_EQ("\r\n[TIME][INFO] (Travik::VBox::findMachine) <57> # Windows 10", maskTimes(logBytes()));
}

TEST_F(LogRecords, OfTheLibraryHaveTheSameLayout)
{
    openLog();
    writeRecord(LogLevel::Error, 1234, L"Travik::Utils::getFileName", L"a | b");
    EXPECT_EQ("\r\n[TIME][ERROR] (Travik::Utils::getFileName) <1234> # a | b", maskTimes(logBytes()));
}

TEST_F(LogRecords, AreEndedByTheNextRecord)
{
    openLog();
    writeRecord(LogLevel::Info, 1, L"first", L"");
    EXPECT_EQ("\r\n[TIME][INFO] (first) <1> # ", maskTimes(logBytes()));
    writeRecord(LogLevel::Info, 2, L"second", L"text");
    EXPECT_EQ("\r\n[TIME][INFO] (first) <1> # \r\n[TIME][INFO] (second) <2> # text", maskTimes(logBytes()));
}

TEST_F(LogRecords, BeginWithAHeaderWithoutALineEnd)
{
    openLog();
    LogRecord(LogLevel::Info).logRecord(LogLevel::Info, 3, L"name");
    EXPECT_EQ("\r\n[TIME][INFO] (name) <3> # ", maskTimes(logBytes()));
}

TEST_F(LogRecords, NameFourLevelsAndLeaveTheOthersEmpty)
{
    openLog();
    for (const std::uint32_t level : {0u, 1u, 2u, 3u, 4u, 7u, 0xFFFFFFFFu})
        LogRecord(level).logRecord(level, 1, L"f");
    EXPECT_THAT(recordsOf(logBytes()), testing::ElementsAre("[INFO] (f) # ", "[WARN] (f) # ", "[ERROR] (f) # ",
                                                            "[FATAL] (f) # ", "[] (f) # ", "[] (f) # ", "[] (f) # "));
}

TEST_F(LogRecords, GoToTheSameDestinationAtEveryLevel)
{
    const ConsoleCapture console;
    openLog();
    for (const std::uint32_t level : {0u, 1u, 2u, 3u, 7u})
        writeRecord(level, 1, L"f", L"");
    EXPECT_EQ(5u, recordsOf(logBytes()).size());
    EXPECT_EQ(L"", console.text());
}

/// While it lives, the process is in another time zone, as the C runtime's TZ names it.
class TimeZone
{
public:
    explicit TimeZone(const char* name) { set(name); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() { set(""); }

private:
    static void set(const char* name)
    {
        _putenv_s("TZ", name);
        _tzset();
    }
};

TEST_F(LogRecords, ShowTheTimeOfTheUsersZoneIn24Characters)
{
    openLog();
    {
        const TravikTest::Clock clock(1'771'123'200); // Sun Feb 15 02:40:00 2026 UTC
        const TimeZone east("AAA-9");
        writeRecord(LogLevel::Info, 1, L"f", L"");
    }
    {
        const TravikTest::Clock clock(1'771'123'201);
        const TimeZone west("EST5EDT");
        writeRecord(LogLevel::Info, 1, L"f", L"");
    }
    EXPECT_THAT(timesOf(logBytes()), testing::ElementsAre("Sun Feb 15 11:40:00 2026", "Sat Feb 14 21:40:01 2026"));
}

TEST_F(LogRecords, FollowTheClock)
{
    openLog();
    const TimeZone utc("UTC0");
    // Also back, where it is set anew; a second that is not over has its text already.
    for (const std::int64_t seconds : {1'771'123'259LL, 1'771'123'260LL, 1'771'123'260LL, 1'771'123'259LL}) {
        const TravikTest::Clock clock(seconds);
        writeRecord(LogLevel::Info, 1, L"f", L"");
    }
    EXPECT_THAT(timesOf(logBytes()), testing::ElementsAre("Sun Feb 15 02:40:59 2026", "Sun Feb 15 02:41:00 2026",
                                                          "Sun Feb 15 02:41:00 2026", "Sun Feb 15 02:40:59 2026"));
}

TEST_F(LogRecords, AreWrittenWithoutATimeThatCannotBeConverted)
{
    openLog();
    const TravikTest::Clock clock(-1);
    writeRecord(LogLevel::Error, 5, L"f", L"text");
    LogRecord(LogLevel::Info).logRecord(LogLevel::Info, 6, L"g") << L"more" << std::flush;
    EXPECT_EQ("\r\n[][ERROR] (f) <5> # text\r\n[][INFO] (g) <6> # more", logBytes());
}

TEST_F(LogRecords, ShowTheLineInDecimalAfterHexadecimalOutput)
{
    openLog();
    LogRecord(LogLevel::Info).logRecord(LogLevel::Info, 254, L"f")
        << std::hex << std::showbase << std::uppercase << 255 << std::flush;
    LogRecord(LogLevel::Info).logRecord(LogLevel::Info, 254, L"f");
    writeRecord(LogLevel::Info, 4095, L"f", joinArguments(4096u, -17));
    EXPECT_EQ("\r\n[TIME][INFO] (f) <254> # 0XFF\r\n[TIME][INFO] (f) <254> # \r\n[TIME][INFO] (f) <4095> # 4096 | -17",
              maskTimes(logBytes()));
}

TEST_F(LogRecords, ShowTheLineInDecimalOnTheConsoleToo)
{
    const ConsoleCapture console;
    const std::ios_base::fmtflags before = std::wcout.flags();
    std::wcout << std::hex << std::showbase;
    writeRecord(LogLevel::Info, 254, L"f", L"");
    std::wcout.flags(before);
    EXPECT_EQ(L"\n[TIME][INFO] (f) <254> # ", maskTimes(console.text()));
}

TEST_F(LogRecords, ShowEveryLineNumber)
{
    openLog();
    for (const std::int32_t line : {0, 1, 1000000, std::numeric_limits<std::int32_t>::max()})
        LogRecord(LogLevel::Info).logRecord(LogLevel::Info, line, L"f");
    EXPECT_EQ("\r\n[TIME][INFO] (f) <0> # \r\n[TIME][INFO] (f) <1> # \r\n[TIME][INFO] (f) <1000000> # "
              "\r\n[TIME][INFO] (f) <2147483647> # ",
              maskTimes(logBytes()));
}

TEST_F(LogRecords, KeepLineEndsAndEmbeddedZerosOfTheirText)
{
    openLog();
    using namespace std::string_literals;
    writeRecord(LogLevel::Info, 1, L"f", L"a\nb\0c"s);
    writeRecord(LogLevel::Info, 1, L"f", L"next");
    EXPECT_EQ("\r\n[TIME][INFO] (f) <1> # a\r\nb\0c\r\n[TIME][INFO] (f) <1> # next"s, maskTimes(logBytes()));
}

TEST_F(LogRecords, HoldTextsOf64KCharacters)
{
    openLog();
    writeRecord(LogLevel::Info, 1, L"f", std::wstring(65536, L'x'));
    writeRecord(LogLevel::Info, 1, L"f", std::wstring(65536, L'\u4E2D'));
    std::string escapes;
    for (int i = 0; i < 65536; ++i)
        escapes += "\\u4E2D";
    const std::vector<std::string> records = recordsOf(logBytes());
    ASSERT_EQ(2u, records.size());
    EXPECT_TRUE(records[0] == "[INFO] (f) # " + std::string(65536, 'x'));
    EXPECT_TRUE(records[1] == "[INFO] (f) # " + escapes);
}

/// Stands in front of a stream's buffer and keeps what a second reader sees of the file after each flush.
class FlushWitness : public std::wstreambuf
{
public:
    FlushWitness(std::wios& stream, std::filesystem::path file)
        : stream_(stream), inner_(stream.rdbuf(this)), file_(std::move(file))
    {}
    FlushWitness(const FlushWitness&) = delete;
    FlushWitness& operator=(const FlushWitness&) = delete;
    ~FlushWitness() override { stream_.rdbuf(inner_); }

    std::vector<std::string> seen;

protected:
    int_type overflow(int_type unit) override { return inner_->sputc(traits_type::to_char_type(unit)); }
    std::streamsize xsputn(const wchar_t* units, std::streamsize count) override { return inner_->sputn(units, count); }
    int sync() override
    {
        const int result = inner_->pubsync();
        seen.push_back(maskTimes(TravikTest::readBytes(file_)));
        return result;
    }

private:
    std::wios& stream_;
    std::wstreambuf* inner_;
    std::filesystem::path file_;
};

TEST_F(LogRecords, AreOnDiskAfterTheLineEndTheHeaderAndTheText)
{
    openLog();
    FlushWitness witness(logStream, logFile);
    writeRecord(LogLevel::Info, 1, L"f", L"text");
    EXPECT_THAT(witness.seen,
                testing::ElementsAre("\r\n", "\r\n[TIME][INFO] (f) <1> # ", "\r\n[TIME][INFO] (f) <1> # text"));
}

TEST_F(LogRecords, AreOnDiskUpToTheHeaderBeforeTheCallerAppends)
{
    openLog();
    FlushWitness witness(logStream, logFile);
    LogRecord(LogLevel::Info).logRecord(LogLevel::Info, 1, L"f");
    EXPECT_THAT(witness.seen, testing::ElementsAre("\r\n", "\r\n[TIME][INFO] (f) <1> # "));
}

TEST_F(LogRecords, FollowAgainAfterTheStreamHadFailed)
{
    openLog();
    writeRecord(LogLevel::Info, 1, L"f", L"before");
    logStream.setstate(std::ios_base::badbit | std::ios_base::failbit);
    writeRecord(LogLevel::Info, 1, L"f", L"after");
    EXPECT_THAT(recordsOf(logBytes()), testing::ElementsAre("[INFO] (f) # before", "[INFO] (f) # after"));
}

TEST_F(LogRecords, FollowAgainAfterADiskThatWasFull)
{
    openLog();
    writeRecord(LogLevel::Info, 1, L"f", L"before");
    {
        const TravikTest::FullDisk full;
        writeRecord(LogLevel::Info, 1, L"f", L"lost");
        writeRecord(LogLevel::Info, 1, L"f", L"lost, too");
    }
    writeRecord(LogLevel::Info, 1, L"f", L"after");
    writeRecord(LogLevel::Info, 1, L"f", L"and on");
    EXPECT_THAT(recordsOf(logBytes()),
                testing::ElementsAre("[INFO] (f) # before", "[INFO] (f) # after", "[INFO] (f) # and on"));
}

TEST_F(LogRecords, FollowAgainOnAConsoleThatHadFailed)
{
    const ConsoleCapture console;
    std::wcout.setstate(std::ios_base::badbit);
    writeRecord(LogLevel::Info, 1, L"f", L"after");
    EXPECT_EQ(L"\n[TIME][INFO] (f) <1> # after", maskTimes(console.text()));
}

TEST(RecordTexts, JoinArgumentsByABarBetweenBlanks)
{
    EXPECT_EQ(L"", joinArguments());
    EXPECT_EQ(L"one", joinArguments(std::wstring(L"one")));
    EXPECT_EQ(L"3 | name | -1 | 4294967295", joinArguments(3, std::wstring(L"name"), -1, 0xFFFFFFFFu));
    EXPECT_EQ(L" | ", joinArguments(std::wstring(), std::wstring()));
}

TEST(RecordTexts, WriteHexadecimalInLowerCaseWithoutLeadingZeros)
{
    EXPECT_EQ(L"0", hexadecimal(0));
    EXPECT_EQ(L"1", hexadecimal(1));
    EXPECT_EQ(L"10", hexadecimal(16));
    EXPECT_EQ(L"80bb0001", hexadecimal(0x80BB0001));
    EXPECT_EQ(L"ffffffff", hexadecimal(0xFFFFFFFF));
}

} // namespace
