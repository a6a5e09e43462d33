#include "settings/machine_names.h"

#include <Poco/Ascii.h>

#include "base/failure.h"
#include "base/safe_name.h"
#include "base/text.h"

namespace VBoxSim {

namespace {
constexpr std::wstring_view unsafeCharacters = L"\\/:*?\"<>|";
constexpr std::size_t longestFileName = 240; // with a suffix still within what file systems take

bool isSurrogate(wchar_t c, unsigned first)
{
    return (static_cast<unsigned>(c) & 0xFFFFFC00) == first;
}

/// What VirtualBox leaves in the name of a settings file.
bool isSafe(wchar_t c)
{
    const bool isAscii = c > 0 && c < 0x80;
    return isAscii ? Poco::Ascii::isAlphaNumeric(c) || std::wstring_view(L" ()-._").find(c) != std::wstring_view::npos
                   : c >= 0xA0 && c <= 0xD7AF;
}
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
    std::wstring safe;
    for (std::size_t i = 0; i < name.size(); ++i) {
        // Of a character beyond the first 65,536, which is two units here, the second one adds nothing.
        const bool secondHalf = i > 0 && isSurrogate(name[i], 0xDC00) && isSurrogate(name[i - 1], 0xD800);
        if (!secondHalf)
            safe += isSafe(name[i]) ? name[i] : L'_';
    }
    const auto replace = [](wchar_t& c, std::wstring_view unwanted) {
        const bool unsafe = unwanted.find(c) != unwanted.npos;
        if (unsafe)
            c = L'_';
        return unsafe;
    };
    for (std::size_t i = 0; i < safe.size() && safe[i] == L' '; ++i)
        safe[i] = L'_';
    if (!safe.empty())
        replace(safe.front(), L".-");
    for (std::size_t i = safe.size(); i-- > 0 && replace(safe[i], L" .");) {
    }
    return isDevice(safe) ? L"_" + safe : safe;
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
