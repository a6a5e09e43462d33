#include "child_process.h"

#include <windows.h>

#include <stdexcept>

#include "file_bytes.h"
#include "scratch.h"

namespace TravikTest {
namespace {

constexpr DWORD patience = 20000; // milliseconds

class Handle
{
public:
    explicit Handle(HANDLE handle) : handle_(handle) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { CloseHandle(handle_); }
    HANDLE get() const { return handle_; }

private:
    HANDLE handle_;
};

HANDLE inheritableFile(const std::filesystem::path& file)
{
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, nullptr, TRUE};
    const HANDLE handle = CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        throw std::runtime_error("no file for the output of a child process");
    return handle;
}

/// Each argument in quotation marks; none of ours holds one, or ends in a backslash.
std::wstring commandLine(const std::filesystem::path& program, const std::vector<std::wstring>& arguments)
{
    std::wstring line = L"\"" + program.wstring() + L"\"";
    for (const std::wstring& argument : arguments)
        line += L" \"" + argument + L"\"";
    return line;
}

} // namespace

std::filesystem::path childProgram()
{
    return productFolder() / L"tests" / L"unit_child.exe";
}

ChildResult runChild(const std::filesystem::path& program, const std::vector<std::wstring>& arguments)
{
    const std::filesystem::path outputFile = scratchFolder() / L"child_output.txt";
    const Handle output(inheritableFile(outputFile));
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = output.get();
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION started = {};
    std::wstring line = commandLine(program, arguments);
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &started))
        throw std::runtime_error("cannot start " + program.string());
    const Handle process(started.hProcess);
    const Handle thread(started.hThread);

    ChildResult result;
    result.ended = WaitForSingleObject(process.get(), patience) == WAIT_OBJECT_0;
    if (!result.ended) {
        TerminateProcess(process.get(), 99);
        WaitForSingleObject(process.get(), patience);
    }
    DWORD exitCode = 0;
    GetExitCodeProcess(process.get(), &exitCode);
    result.exitCode = exitCode;
    result.output = readBytes(outputFile);
    return result;
}

} // namespace TravikTest
