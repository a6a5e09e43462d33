#include "start_process.h"

#include <cstdio>
#include <stdexcept>

namespace TravikTest {
namespace {

/// As CommandLineToArgvW and the C runtime take it apart.
std::wstring quoted(const std::wstring& argument)
{
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (wchar_t c : argument) {
        if (c == L'"')
            text.append(backslashes + 1, L'\\');
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        text += c;
    }
    return text.append(backslashes, L'\\') + L'"';
}

} // namespace

PROCESS_INFORMATION startProcess(const std::filesystem::path& program, const std::vector<std::wstring>& arguments,
                                 STARTUPINFOW startup, DWORD flags)
{
    std::wstring command = quoted(program.wstring());
    for (const std::wstring& argument : arguments)
        command += L' ' + quoted(argument);
    startup.cb = sizeof(startup);
    DWORD error = 0;
    for (int attempt = 0; attempt < 3; ++attempt) {
        PROCESS_INFORMATION process{};
        if (CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr, &startup,
                           &process))
            return process;
        error = GetLastError();
        if (error != ERROR_INTERNAL_ERROR)
            break;
        std::fputs("Wine lost a start\n", stderr); // ./dev test counts these lines
    }
    throw std::runtime_error("cannot start " + program.string() + ": " + std::to_string(error));
}

} // namespace TravikTest
