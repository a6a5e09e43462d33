#include "world.h"

#include <windows.h>

#include <array>
#include <fstream>

#include "core/failure.h"
#include "core/text.h"

namespace {

std::filesystem::path vboxSimProgram()
{
    std::wstring own(32768, L'\0');
    own.resize(GetModuleFileNameW(nullptr, own.data(), static_cast<DWORD>(own.size())));
    return std::filesystem::path(own).parent_path() / "vboxsim.exe";
}

/// One argument as the C runtime of the other side reads it back; ours hold no quotes and end in no backslash.
std::wstring quoted(const std::wstring& argument)
{
    return L"\"" + argument + L"\"";
}

std::string readAll(HANDLE pipe)
{
    std::string text;
    std::array<char, 4096> buffer;
    DWORD size = 0;
    while (ReadFile(pipe, buffer.data(), static_cast<DWORD>(buffer.size()), &size, nullptr) && size > 0)
        text.append(buffer.data(), size);
    return text;
}

} // namespace

std::string runVBoxSim(const std::vector<std::wstring>& arguments)
{
    const std::filesystem::path program = vboxSimProgram();
    if (!std::filesystem::exists(program))
        throw CommandError(ExitCode::NotFound,
                           "the stand-in's control program vboxsim.exe does not lie beside travikctl.exe",
                           "The tour runs against the stand-in only; build or unpack it too.");
    std::wstring line = quoted(program.wstring());
    for (const std::wstring& argument : arguments)
        line += L" " + quoted(argument);

    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE reading = nullptr, writing = nullptr;
    CreatePipe(&reading, &writing, &inherited, 0);
    SetHandleInformation(reading, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = start.hStdError = writing;
    PROCESS_INFORMATION process{};
    const BOOL started = CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                                        nullptr, &start, &process);
    CloseHandle(writing);
    if (!started) {
        CloseHandle(reading);
        throw CommandError(ExitCode::Refused, "vboxsim.exe could not be started", "Build or unpack it anew.");
    }
    const std::string output = readAll(reading);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD exitCode = 1;
    GetExitCodeProcess(process.hProcess, &exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    CloseHandle(reading);
    if (exitCode != 0)
        throw CommandError(ExitCode::Refused, "vboxsim " + toUtf8(arguments.front()) + " failed: " + output,
                           "Run that command alone; 'vboxsim status' tells what the stand-in is doing.");
    return output;
}

ScratchFolder::ScratchFolder()
    : path_(std::filesystem::temp_directory_path() / (L"travikctl-tour-" + std::to_wstring(GetCurrentProcessId())))
{
    if (!std::filesystem::create_directories(path_))
        throw CommandError(ExitCode::Refused, "the folder exists already: " + toUtf8(path_.wstring()), "Remove it.");
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void writeAppliance(const std::filesystem::path& file)
{
    const HRSRC place = FindResourceW(nullptr, MAKEINTRESOURCEW(1), RT_RCDATA);
    const HGLOBAL resource = place != nullptr ? LoadResource(nullptr, place) : nullptr;
    std::ofstream stream(file, std::ios::binary);
    if (resource != nullptr)
        stream.write(static_cast<const char*>(LockResource(resource)), SizeofResource(nullptr, place));
    stream.close();
    if (resource == nullptr || !stream)
        throw CommandError(ExitCode::Refused, "cannot write " + toUtf8(file.wstring()),
                           "The folder for temporary files must be writable and have some space.");
}
