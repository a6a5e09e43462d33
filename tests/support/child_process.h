#pragma once

#include <windows.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace TravikTest {

using std::chrono::milliseconds;

/// Text for an exception or a test's message.
std::string utf8(std::wstring_view text);
std::wstring wide(std::string_view utf8Text);

/// Asks again and again until the answer is yes or the time is over; returns the last answer.
template <class Question>
bool soon(Question&& question, milliseconds limit = milliseconds(10'000))
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!question()) {
        if (std::chrono::steady_clock::now() >= end)
            return question();
        Sleep(10);
    }
    return true;
}

/// The running processes whose executable has this name.
std::vector<DWORD> processesNamed(const std::wstring& executable);

/// Ends one process and waits until it is gone.
void terminate(DWORD process);

/// A program that the test started, with lines of UTF-8 on its input and output. It does not outlive its owner.
class ChildProcess
{
public:
    ChildProcess(const std::filesystem::path& program, const std::vector<std::wstring>& arguments);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    DWORD id() const { return id_; }

    /// The next line that the program writes; throws when it ends or the time is over first.
    std::wstring readLine(milliseconds limit = milliseconds(20'000));
    void writeLine(std::wstring_view text);

    /// Waits for the program's end and returns its exit code, nothing when the time is over first.
    std::optional<DWORD> wait(milliseconds limit = milliseconds(20'000));

    /// What the program has written and readLine has not fetched; complete once it has ended.
    std::string restOfOutput();

    /// Ends the program as if it had crashed.
    void kill();

private:
    void fetchOutput();

    HANDLE process_ = nullptr;
    HANDLE input_ = nullptr;
    HANDLE output_ = nullptr;
    DWORD id_ = 0;
    std::string pending_;
};

/// What a program left that was run to its end, or stopped after 20 seconds.
struct ChildResult
{
    std::optional<DWORD> exitCode; ///< nothing when it had to be stopped
    std::string output;            ///< the bytes of its standard output
};
ChildResult runToEnd(const std::filesystem::path& program, const std::vector<std::wstring>& arguments);

} // namespace TravikTest
