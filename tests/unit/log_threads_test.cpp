#include <gmock/gmock.h>

#include <array>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "log/log.h"
#include "log_fixture.h"

namespace {

using namespace Travik;
using TravikTest::recordsOf;

constexpr int threads = 4;
constexpr int recordsEach = 2000;

/// Of different lengths, some with characters that are escaped.
std::wstring textOf(int number)
{
    return std::to_wstring(number) + L" " + std::wstring(static_cast<std::size_t>(number % 90), L'x') +
           (number % 7 == 0 ? L"\u4E2D" : L"");
}

std::string shownTextOf(int number)
{
    return std::to_string(number) + " " + std::string(static_cast<std::size_t>(number % 90), 'x') +
           (number % 7 == 0 ? "\\u4E2D" : "");
}

void writeFromAllThreads()
{
    std::vector<std::thread> workers;
    for (int thread = 0; thread < threads; ++thread)
        workers.emplace_back([thread] {
            const std::wstring name = L"thread" + std::to_wstring(thread);
            for (int number = 0; number < recordsEach; ++number)
                writeRecord(number % 2 == 0 ? LogLevel::Info : LogLevel::Error, 1, name, textOf(number));
        });
    for (std::thread& worker : workers)
        worker.join();
}

/// Every record of every thread is there once, whole, and in the order in which its thread wrote it.
void expectAllRecords(const std::vector<std::string>& records)
{
    ASSERT_EQ(static_cast<std::size_t>(threads * recordsEach), records.size());
    std::map<std::string, int> next;
    for (const std::string& record : records) {
        const std::size_t begin = record.find('(');
        const std::size_t end = record.find(')');
        ASSERT_TRUE(begin < end && end != std::string::npos) << record;
        const std::string name = record.substr(begin + 1, end - begin - 1);
        const int number = next[name]++;
        ASSERT_EQ((number % 2 == 0 ? "[INFO] (" : "[ERROR] (") + name + ") # " + shownTextOf(number), record);
    }
    EXPECT_EQ(static_cast<std::size_t>(threads), next.size());
}

class LogUnderFourThreads : public TravikTest::LogFixture
{};

TEST_F(LogUnderFourThreads, LosesAndTearsNoRecordInTheFile)
{
    openLog();
    writeFromAllThreads();
    expectAllRecords(recordsOf(logBytes()));
}

TEST_F(LogUnderFourThreads, LosesAndTearsNoRecordOnTheConsole)
{
    const TravikTest::ConsoleCapture console;
    writeFromAllThreads();
    std::string log;
    for (const wchar_t unit : console.text())
        log += unit == L'\n' ? "\r\n" : std::string(1, static_cast<char>(unit));
    expectAllRecords(recordsOf(log));
}

} // namespace
