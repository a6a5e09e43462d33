#pragma once

#include <gmock/gmock.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace TravikTest {

/// Begins every test with a closed log and an empty folder, and closes the log after it.
class LogFixture : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// The folder of this test case.
    const std::filesystem::path folder = caseFolder();
    /// The file that openLog names.
    const std::filesystem::path logFile = folder / L"log.txt";

    /// Sends the log into logFile.
    void openLog();

    /// The bytes of logFile.
    std::string logBytes() const;

private:
    static std::filesystem::path caseFolder();
};

/// Takes what goes to std::wcout in this process.
class ConsoleCapture
{
public:
    ConsoleCapture();
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;
    ~ConsoleCapture();
    std::wstring text() const { return buffer_.str(); }

private:
    std::wstringbuf buffer_;
    std::wstreambuf* before_;
};

/// A log with each time stamp (24 characters between brackets at the beginning of a line) replaced by TIME; a time
/// stamp of another form stays, so that the comparison fails.
std::string maskTimes(const std::string& log);
std::wstring maskTimes(const std::wstring& log);

/// The time stamps of a log.
std::vector<std::string> timesOf(const std::string& log);

/// The records of a log without times and line numbers, such as "[INFO] (Travik::Utils::getFileName) # a.b"; the line
/// number has to be a positive decimal number.
std::vector<std::string> recordsOf(const std::string& log);

/// The bytes as text, one character each.
std::wstring widened(const std::string& bytes);

} // namespace TravikTest
