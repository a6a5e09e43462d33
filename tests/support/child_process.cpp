#include "child_process.h"

#include <tlhelp32.h>

#include <stdexcept>
#include <utility>

#include "start_process.h"

namespace TravikTest {
namespace {

void require(bool done, const char* what)
{
    if (!done)
        throw std::runtime_error(std::string(what) + " failed: " + std::to_string(GetLastError()));
}

/// A pipe of which the program inherits one end.
void makePipe(HANDLE& read, HANDLE& write, HANDLE& inherited)
{
    require(CreatePipe(&read, &write, nullptr, 0), "CreatePipe");
    require(SetHandleInformation(inherited, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT), "SetHandleInformation");
}

} // namespace

std::string utf8(std::wstring_view text)
{
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), size, nullptr, nullptr);
    return result;
}

std::wstring wide(std::string_view utf8Text)
{
    const int length = static_cast<int>(utf8Text.size());
    const int size = MultiByteToWideChar(CP_UTF8, 0, utf8Text.data(), length, nullptr, 0);
    std::wstring result(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8Text.data(), length, result.data(), size);
    return result;
}

std::vector<DWORD> processesNamed(const std::wstring& executable)
{
    std::vector<DWORD> found;
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    require(snapshot != INVALID_HANDLE_VALUE, "CreateToolhelp32Snapshot");
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry)) {
        if (_wcsicmp(entry.szExeFile, executable.c_str()) == 0)
            found.push_back(entry.th32ProcessID);
    }
    CloseHandle(snapshot);
    return found;
}

void terminate(DWORD process)
{
    const HANDLE handle = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, process);
    require(handle != nullptr, "OpenProcess");
    const bool ended = TerminateProcess(handle, 9) && WaitForSingleObject(handle, 10'000) == WAIT_OBJECT_0;
    CloseHandle(handle);
    require(ended, "TerminateProcess");
}

ChildProcess::ChildProcess(const std::filesystem::path& program, const std::vector<std::wstring>& arguments)
{
    STARTUPINFOW start{};
    start.dwFlags = STARTF_USESTDHANDLES;
    makePipe(start.hStdInput, input_, start.hStdInput);
    makePipe(output_, start.hStdOutput, start.hStdOutput);
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    const PROCESS_INFORMATION process = startProcess(program, arguments, start);
    CloseHandle(start.hStdInput);
    CloseHandle(start.hStdOutput);
    CloseHandle(process.hThread);
    process_ = process.hProcess;
    id_ = process.dwProcessId;
}

ChildProcess::~ChildProcess()
{
    if (WaitForSingleObject(process_, 0) != WAIT_OBJECT_0) {
        TerminateProcess(process_, 9);
        WaitForSingleObject(process_, 10'000);
    }
    CloseHandle(process_);
    CloseHandle(input_);
    CloseHandle(output_);
}

void ChildProcess::fetchOutput()
{
    DWORD available = 0;
    while (PeekNamedPipe(output_, nullptr, 0, nullptr, &available, nullptr) && available > 0) {
        std::string text(available, '\0');
        DWORD got = 0;
        require(ReadFile(output_, text.data(), available, &got, nullptr), "ReadFile");
        pending_.append(text, 0, got);
    }
}

std::wstring ChildProcess::readLine(milliseconds limit)
{
    std::size_t end = std::string::npos;
    soon(
        [&] {
            const bool ended = WaitForSingleObject(process_, 0) == WAIT_OBJECT_0;
            fetchOutput();
            end = pending_.find('\n');
            return end != std::string::npos || ended;
        },
        limit);
    if (end == std::string::npos)
        throw std::runtime_error("the other process wrote no line, only: " + pending_);
    std::string line = pending_.substr(0, end);
    pending_.erase(0, end + 1);
    if (line.ends_with('\r')) // of a stream in text mode
        line.pop_back();
    return wide(line);
}

void ChildProcess::writeLine(std::wstring_view text)
{
    const std::string line = utf8(text) + '\n';
    DWORD written = 0;
    require(WriteFile(input_, line.data(), static_cast<DWORD>(line.size()), &written, nullptr), "WriteFile");
}

std::optional<DWORD> ChildProcess::wait(milliseconds limit)
{
    // Its output is fetched meanwhile: a full pipe would hold it up.
    const bool ended = soon(
        [&] {
            const bool gone = WaitForSingleObject(process_, 0) == WAIT_OBJECT_0;
            fetchOutput();
            return gone;
        },
        limit);
    DWORD code = 0;
    if (!ended || !GetExitCodeProcess(process_, &code))
        return std::nullopt;
    return code;
}

std::string ChildProcess::restOfOutput()
{
    fetchOutput();
    return std::exchange(pending_, std::string());
}

void ChildProcess::kill()
{
    require(TerminateProcess(process_, 9) && WaitForSingleObject(process_, 10'000) == WAIT_OBJECT_0,
            "TerminateProcess");
}

ChildResult runToEnd(const std::filesystem::path& program, const std::vector<std::wstring>& arguments)
{
    ChildProcess child(program, arguments);
    const std::optional<DWORD> exitCode = child.wait();
    return {exitCode, child.restOfOutput()};
}

} // namespace TravikTest
