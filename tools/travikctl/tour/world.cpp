#include "world.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <fstream>

#include "core/failure.h"
#include "core/text.h"

namespace {

const std::wstring folderPrefix = L"travikctl-tour-";

std::filesystem::path noteIn(const std::filesystem::path& scratch)
{
    return scratch / L"machine-folder.txt";
}

bool isRunning(DWORD process)
{
    const HANDLE handle = OpenProcess(SYNCHRONIZE, FALSE, process);
    if (!handle)
        return GetLastError() == ERROR_ACCESS_DENIED;
    const bool runs = WaitForSingleObject(handle, 0) == WAIT_TIMEOUT;
    CloseHandle(handle);
    return runs;
}

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
    : path_(std::filesystem::temp_directory_path() / (folderPrefix + std::to_wstring(GetCurrentProcessId())))
{
    if (!std::filesystem::create_directories(path_))
        throw CommandError(ExitCode::Refused, "the folder exists already: " + toUtf8(path_.wstring()), "Remove it.");
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    if (!rememberedMachineFolder(path_)) // else the next tour has something to set back
        std::filesystem::remove_all(path_, ignored);
}

std::vector<std::filesystem::path> ScratchFolder::leftovers()
{
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::temp_directory_path())) {
        const std::wstring name = entry.path().filename().wstring();
        if (name.starts_with(folderPrefix) && !isRunning(std::wcstoul(name.c_str() + folderPrefix.size(), nullptr, 10)))
            found.push_back(entry.path());
    }
    return found;
}

void rememberMachineFolder(const std::filesystem::path& scratch, const std::wstring& machineFolder)
{
    std::ofstream stream(noteIn(scratch), std::ios::binary);
    stream << toUtf8(machineFolder);
    stream.close();
    if (!stream)
        throw CommandError(ExitCode::Refused, "cannot write " + toUtf8(noteIn(scratch).wstring()),
                           "The folder for temporary files must be writable and have some space.");
}

std::optional<std::wstring> rememberedMachineFolder(const std::filesystem::path& scratch)
{
    std::ifstream stream(noteIn(scratch), std::ios::binary);
    if (!stream)
        return std::nullopt;
    return fromUtf8(std::string(std::istreambuf_iterator<char>(stream), {}));
}

void forgetMachineFolder(const std::filesystem::path& scratch)
{
    std::error_code ignored;
    std::filesystem::remove(noteIn(scratch), ignored);
}

std::vector<std::wstring> machinesIn(const std::filesystem::path& folder)
{
    constexpr std::string_view mark = " uuid=\"{";
    constexpr std::size_t length = 36;
    std::vector<std::wstring> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() != L".vbox")
            continue;
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        const std::size_t at = text.find(mark, std::min(text.find("<Machine "), text.size()));
        if (at != std::string::npos)
            found.push_back(fromUtf8(text.substr(at + mark.size(), length)));
    }
    return found;
}

void writeAppliance(const std::filesystem::path& file)
{
    const HRSRC place = FindResourceW(nullptr, MAKEINTRESOURCEW(1), RT_RCDATA);
    const HGLOBAL resource = place ? LoadResource(nullptr, place) : nullptr;
    std::ofstream stream(file, std::ios::binary);
    if (resource)
        stream.write(static_cast<const char*>(LockResource(resource)), SizeofResource(nullptr, place));
    stream.close();
    if (!resource || !stream)
        throw CommandError(ExitCode::Refused, "cannot write " + toUtf8(file.wstring()),
                           "The folder for temporary files must be writable and have some space.");
}
