#include "run.h"

#include <gtest/gtest.h>

#include <fstream>

#include "child_process.h"
#include "json_schema.h"
#include "scratch.h"
#include "start_process.h"

namespace {

HANDLE inheritedFile(const std::filesystem::path& file)
{
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, &inherited, CREATE_ALWAYS,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::string contentOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

} // namespace

Console::Console()
{
    FreeConsole();
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    if (AllocConsole())
        screen_ = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                              OPEN_EXISTING, 0, nullptr);
    if (!screen_ || screen_ == INVALID_HANDLE_VALUE)
        throw std::runtime_error("no console can be had");
}

Console::~Console()
{
    CloseHandle(screen_);
    FreeConsole();
    AttachConsole(ATTACH_PARENT_PROCESS);
}

std::wstring Console::firstLine() const
{
    std::wstring line(60, L' ');
    DWORD read = 0;
    ReadConsoleOutputCharacterW(screen_, line.data(), static_cast<DWORD>(line.size()), COORD{0, 0}, &read);
    line.resize(line.find_last_not_of(L' ', read) + 1);
    return line;
}

Program::Program(const std::filesystem::path& program, const std::vector<std::wstring>& arguments, DWORD flags,
                 const Console* console)
{
    static int number = 0;
    const std::wstring name = L"output-" + std::to_wstring(++number);
    outFile_ = TravikTest::scratchFolder() / (name + L".out");
    errFile_ = TravikTest::scratchFolder() / (name + L".err");
    STARTUPINFOW start{};
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    start.hStdOutput = inheritedFile(outFile_);
    const HANDLE errors = inheritedFile(errFile_);
    start.hStdError = console ? console->screen() : errors;
    const PROCESS_INFORMATION process = TravikTest::startProcess(program, arguments, start, flags);
    CloseHandle(start.hStdOutput);
    CloseHandle(errors);
    CloseHandle(process.hThread);
    process_ = process.hProcess;
    id_ = process.dwProcessId;
}

Program::~Program()
{
    if (WaitForSingleObject(process_, 0) != WAIT_OBJECT_0)
        TerminateProcess(process_, 9);
    CloseHandle(process_);
}

void Program::pressCtrlC() const
{
    // One console at a time: ours, if there is one, is given up meanwhile.
    FreeConsole();
    if (!AttachConsole(id_))
        throw std::runtime_error("the program's console cannot be entered, error " + std::to_string(GetLastError()));
    SetConsoleCtrlHandler(nullptr, TRUE); // not for us
    const BOOL sent = GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
    Sleep(100); // it comes on a thread of its own
    FreeConsole();
    AttachConsole(ATTACH_PARENT_PROCESS);
    SetConsoleCtrlHandler(nullptr, FALSE);
    if (!sent)
        throw std::runtime_error("Ctrl-C cannot be sent");
}

std::string Program::outSoFar() const
{
    return contentOf(outFile_);
}

Outcome Program::wait(std::chrono::milliseconds limit)
{
    Outcome run;
    DWORD exitCode = 0;
    if (WaitForSingleObject(process_, static_cast<DWORD>(limit.count())) == WAIT_OBJECT_0 &&
        GetExitCodeProcess(process_, &exitCode))
        run.exitCode = static_cast<int>(exitCode);
    run.out = contentOf(outFile_);
    run.err = contentOf(errFile_);
    return run;
}

Outcome runProgram(const std::filesystem::path& program, const std::vector<std::wstring>& arguments)
{
    return Program(program, arguments).wait();
}

Outcome travikctl(const std::vector<std::wstring>& arguments)
{
    return runProgram(TravikTest::productFolder() / L"travikctl.exe", arguments);
}

Outcome travikctlJson(std::vector<std::wstring> arguments)
{
    arguments.insert(arguments.begin(), L"--json");
    const Outcome run = travikctl(arguments);
    EXPECT_EQ(problemByTravikctlSchema(run.json()), "") << run.out;
    return run;
}

void vboxsim(const std::vector<std::wstring>& arguments)
{
    const Outcome run = runProgram(TravikTest::productFolder() / L"vboxsim.exe", arguments);
    ASSERT_EQ(run.exitCode, 0) << run.all();
}
