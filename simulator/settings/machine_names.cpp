#include "settings/machine_names.h"

#include "base/failure.h"
#include "base/text.h"

namespace VBoxSim {

namespace {
constexpr std::wstring_view unsafeCharacters = L"\\/:*?\"<>|";
constexpr std::size_t longestFileName = 240; // with a suffix still within what file systems take
} // namespace

void checkMachineName(std::wstring_view name)
{
    if (name.empty())
        throw Failure(Result::fileError, L"The machine name must not be empty");
    if (!isStorable(name) || name.find_first_of(L"\t\r\n") != name.npos ||
        name.find_first_of(unsafeCharacters) != name.npos)
        throw Failure(Result::fileError, L"The machine name '" + std::wstring(name) + L"' has invalid characters");
    if (name.size() > longestFileName)
        throw Failure(Result::fileError, L"The machine name is too long for a file name");
}

std::wstring safeMachineName(std::wstring_view name)
{
    std::wstring safe(name);
    for (wchar_t& c : safe)
        if (c < 0x20 || unsafeCharacters.find(c) != unsafeCharacters.npos)
            c = L'_';
    // Windows drops blanks and dots at the end of a name.
    for (std::size_t i = safe.size(); i-- > 0 && (safe[i] == L' ' || safe[i] == L'.');)
        safe[i] = L'_';
    return safe;
}

CreateFlags parseCreateFlags(std::wstring_view flags)
{
    CreateFlags parsed;
    forEachEntry(flags, L",", [&](std::wstring_view entry) {
        const std::size_t equals = std::min(entry.find(L'='), entry.size());
        const std::wstring_view key = entry.substr(0, equals);
        const std::wstring_view value = entry.substr(std::min(equals + 1, entry.size()));
        if (key == L"forceOverwrite" && (value == L"0" || value == L"1"))
            parsed.forceOverwrite = value == L"1";
        else if (key == L"directoryIncludesUUID" && (value == L"0" || value == L"1"))
            parsed.folderWithUuid = value == L"1";
        else if (key == L"UUID" && parseUuid(value))
            parsed.uuid = *parseUuid(value);
        else
            throw Failure(Result::invalidArgument, L"'" + std::wstring(entry) + L"' is not a valid creation flag");
    });
    return parsed;
}

} // namespace VBoxSim
