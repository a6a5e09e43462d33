#include "front_end.h"

#include <shellapi.h>

#include <stdexcept>

#include "library.h"
#include "scratch.h"

namespace TravikTest {
namespace {

constexpr std::wstring_view roleOption = L"--play-role";

const Role*& firstRole()
{
    static const Role* first = nullptr;
    return first;
}

std::filesystem::path thisProgram()
{
    std::wstring path(32'768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

std::vector<std::wstring> commandLine()
{
    int count = 0;
    wchar_t** const texts = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> arguments(texts, texts + count);
    LocalFree(texts);
    return arguments;
}

std::vector<std::wstring> withRole(const std::wstring& role, std::vector<std::wstring> arguments)
{
    arguments.insert(arguments.begin(), {std::wstring(roleOption), role});
    return arguments;
}

} // namespace

void RoleIo::say(std::wstring_view text) const
{
    const std::string line = utf8(text) + '\n';
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

std::wstring RoleIo::hear() const
{
    std::string line;
    char c = 0;
    DWORD got = 0;
    while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), &c, 1, &got, nullptr) && got == 1 && c != '\n')
        line += c;
    return wide(line);
}

Role::Role(const wchar_t* name, Body body) : name_(name), body_(body), next_(firstRole())
{
    firstRole() = this;
}

std::optional<int> playRole()
{
    const std::vector<std::wstring> arguments = commandLine();
    if (arguments.size() < 3 || arguments[1] != roleOption)
        return std::nullopt;
    for (const Role* role = firstRole(); role; role = role->next_) {
        if (arguments[2] == role->name_)
            return role->body_(RoleIo{{arguments.begin() + 3, arguments.end()}});
    }
    throw std::runtime_error("there is no such role: " + utf8(arguments[2]));
}

FrontEndProcess::FrontEndProcess(const std::wstring& role, std::vector<std::wstring> arguments)
    : ChildProcess(thisProgram(), withRole(role, std::move(arguments)))
{}

} // namespace TravikTest
