#include "log_fixture.h"

#include <iostream>
#include <locale>
#include <regex>

#include "file_bytes.h"
#include "log/log.h"
#include "scratch.h"

namespace TravikTest {
namespace {

const std::string time = R"((?:Sun|Mon|Tue|Wed|Thu|Fri|Sat) (?:Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) )"
                         R"([ 0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9] [0-9]{4})";

void closeLog()
{
    if (Travik::logStream.is_open())
        Travik::logStream.close();
    Travik::logStream.clear();
    Travik::logStream.imbue(std::locale::classic());
    Travik::logStream.flags(std::ios_base::skipws | std::ios_base::dec);
    Travik::currentLogPath.clear();
    std::wcout.clear();
}

} // namespace

void LogFixture::SetUp()
{
    closeLog();
    std::filesystem::create_directories(folder);
}

void LogFixture::TearDown()
{
    closeLog();
}

void LogFixture::openLog()
{
    Travik::reopenLogFile(logFile.wstring());
    ASSERT_TRUE(Travik::logStream.is_open());
}

std::string LogFixture::logBytes() const
{
    return readBytes(logFile);
}

std::filesystem::path LogFixture::caseFolder()
{
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    return scratchFolder() / test.test_suite_name() / test.name();
}

ConsoleCapture::ConsoleCapture() : before_(std::wcout.rdbuf(&buffer_)) {}

ConsoleCapture::~ConsoleCapture()
{
    std::wcout.rdbuf(before_);
}

std::string maskTimes(const std::string& log)
{
    static const std::regex stamp("(^|\n)\\[" + time + "\\]");
    return std::regex_replace(log, stamp, "$1[TIME]");
}

std::wstring maskTimes(const std::wstring& log)
{
    static const std::wregex stamp(L"(^|\n)\\[" + widened(time) + L"\\]");
    return std::regex_replace(log, stamp, L"$1[TIME]");
}

std::vector<std::string> timesOf(const std::string& log)
{
    static const std::regex stamp("(?:^|\n)\\[(" + time + ")\\]");
    std::vector<std::string> times;
    for (std::sregex_iterator match(log.begin(), log.end(), stamp); match != std::sregex_iterator(); ++match)
        times.push_back((*match)[1]);
    return times;
}

std::vector<std::string> recordsOf(const std::string& log)
{
    static const std::regex number(" <[1-9][0-9]*> # ");
    std::vector<std::string> records;
    const std::string separator = "\r\n[TIME]";
    const std::string masked = maskTimes(log);
    std::size_t begin = masked.find(separator);
    if (begin != 0 && !masked.empty())
        records.push_back("not a record: " + masked.substr(0, begin));
    while (begin != std::string::npos) {
        begin += separator.size();
        const std::size_t end = masked.find(separator, begin);
        records.push_back(std::regex_replace(masked.substr(begin, end - begin), number, " # ",
                                             std::regex_constants::format_first_only));
        begin = end;
    }
    return records;
}

std::wstring widened(const std::string& bytes)
{
    std::wstring text;
    for (const char byte : bytes)
        text += static_cast<wchar_t>(static_cast<unsigned char>(byte));
    return text;
}

} // namespace TravikTest
