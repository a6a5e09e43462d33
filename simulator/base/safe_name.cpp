#include "base/safe_name.h"

#include <algorithm>
#include <array>
#include <cwctype>

#include "base/text.h"

namespace VBoxSim {

namespace {

constexpr std::size_t longestFileName = 200;

bool isForbidden(wchar_t character)
{
    return character < 0x20 || std::wstring_view(LR"(<>:"/\|?*)").find(character) != std::wstring_view::npos;
}

bool isBlankOrDot(wchar_t character)
{
    return character == L' ' || character == L'.';
}

} // namespace

std::string withoutLeadingDot(std::string name)
{
    while (name.starts_with("./"))
        name.erase(0, 2);
    return name;
}

bool isDevice(const std::wstring& name)
{
    static constexpr std::array<std::wstring_view, 6> plain = {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"};
    static constexpr std::array<std::wstring_view, 2> numbered = {L"COM", L"LPT"};
    // The system takes "nul.vdi", "nul .vdi" and "nul" as the same device; the superscript digits count as digits.
    std::wstring stem = name.substr(0, name.find(L'.'));
    while (!stem.empty() && stem.back() == L' ')
        stem.pop_back();
    std::transform(stem.begin(), stem.end(), stem.begin(), [](wchar_t c) { return c < 0x80 ? std::towupper(c) : c; });
    if (std::find(plain.begin(), plain.end(), stem) != plain.end())
        return true;
    return stem.size() == 4 &&
           std::find(numbered.begin(), numbered.end(), std::wstring_view(stem).substr(0, 3)) != numbered.end() &&
           std::wstring_view(L"0123456789\u00B9\u00B2\u00B3").find(stem[3]) != std::wstring_view::npos;
}

bool leavesFolder(const std::string& name)
{
    constexpr const char* separators = R"(/\)";
    if (name.empty() || std::string(separators).find(name[0]) != std::string::npos)
        return true;
    if (name.size() >= 2 && name[1] == ':')
        return true;
    for (std::size_t start = 0; start <= name.size();) {
        const std::size_t end = std::min(name.find_first_of(separators, start), name.size());
        // The system drops blanks and dots at the end of a component: ".. " is "..".
        const std::string component = name.substr(start, end - start);
        if (component != "." && component.rfind("..", 0) == 0 && component.find_first_not_of(". ") == std::string::npos)
            return true;
        start = end + 1;
    }
    return false;
}

bool isPlainFileName(const std::wstring& name)
{
    return !name.empty() && !isBlankOrDot(name.back()) && std::none_of(name.begin(), name.end(), isForbidden) &&
           !isDevice(name);
}

std::wstring safeFileName(const std::string& name, const std::wstring& fallback)
{
    std::wstring safe = fromUtf8(name.substr(name.find_last_of(R"(/\)") + 1));
    std::replace_if(safe.begin(), safe.end(), isForbidden, L'_');
    if (safe.size() > longestFileName) {
        // Keep the suffix: it tells the format.
        const std::size_t dot = safe.rfind(L'.');
        const std::wstring suffix = dot != std::wstring::npos && safe.size() - dot <= 10 ? safe.substr(dot) : L"";
        safe.replace(longestFileName - suffix.size(), std::wstring::npos, suffix);
    }
    while (!safe.empty() && isBlankOrDot(safe.back()))
        safe.pop_back();
    if (safe.empty())
        return fallback;
    return isDevice(safe) ? L"_" + safe : safe;
}

} // namespace VBoxSim
