#include "child_process.h"

#include <windows.h>

#include <stdexcept>

#include "file_bytes.h"
#include "scratch.h"
#include "start_process.h"

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
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = output.get();
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    const PROCESS_INFORMATION started = startProcess(program, arguments, startup);
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
