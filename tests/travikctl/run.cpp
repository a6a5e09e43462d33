#include "run.h"

#include <gtest/gtest.h>

#include <fstream>

#include "child_process.h"
#include "scratch.h"

namespace {

/// As the C runtime of the other side takes it apart.
std::wstring quoted(const std::wstring& argument)
{
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (wchar_t character : argument) {
        if (character == L'"')
            text.append(backslashes + 1, L'\\');
        backslashes = character == L'\\' ? backslashes + 1 : 0;
        text += character;
    }
    return text.append(backslashes, L'\\') + L"\"";
}

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
    if (screen_ == nullptr || screen_ == INVALID_HANDLE_VALUE)
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
    std::wstring command = quoted(program.wstring());
    for (const std::wstring& argument : arguments)
        command += L' ' + quoted(argument);

    STARTUPINFOW start{};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    start.hStdOutput = inheritedFile(outFile_);
    const HANDLE errors = inheritedFile(errFile_);
    start.hStdError = console != nullptr ? console->screen() : errors;
    PROCESS_INFORMATION process{};
    const BOOL started = CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, flags, nullptr,
                                        nullptr, &start, &process);
    CloseHandle(start.hStdOutput);
    CloseHandle(errors);
    if (!started)
        throw std::runtime_error("cannot start " + TravikTest::utf8(program.wstring()));
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
    return travikctl(arguments);
}

void vboxsim(const std::vector<std::wstring>& arguments)
{
    const Outcome run = runProgram(TravikTest::productFolder() / L"vboxsim.exe", arguments);
    ASSERT_EQ(run.exitCode, 0) << run.all();
}
