#include "base/text.h"

#include <windows.h>
#include <Poco/UUIDGenerator.h>

#include <cwctype>

namespace VBoxSim {

std::string toUtf8(std::wstring_view text)
{
    if (text.empty())
        return {};
    const int length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), size, nullptr, nullptr);
    return result;
}

std::wstring fromUtf8(std::string_view text)
{
    if (text.empty())
        return {};
    const int length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    std::wstring result(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(), size);
    return result;
}

bool isStorable(std::wstring_view text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        if (c < 0x20 && c != L'\t' && c != L'\n' && c != L'\r')
            return false;
        if (c == 0xFFFE || c == 0xFFFF)
            return false;
        if (IS_HIGH_SURROGATE(c)) {
            if (i + 1 == text.size() || !IS_LOW_SURROGATE(text[i + 1]))
                return false;
            ++i;
        } else if (IS_LOW_SURROGATE(c)) {
            return false;
        }
    }
    return true;
}

bool equalIgnoringCase(std::wstring_view left, std::wstring_view right)
{
    return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

std::wstring toLower(std::wstring_view text)
{
    std::wstring result(text);
    CharLowerBuffW(result.data(), static_cast<DWORD>(result.size()));
    return result;
}

std::wstring newUuid()
{
    return fromUtf8(Poco::UUIDGenerator::defaultGenerator().createRandom().toString());
}

std::optional<std::wstring> parseUuid(std::wstring_view text)
{
    if (text.size() == 38 && text.front() == L'{' && text.back() == L'}')
        text = text.substr(1, 36);
    if (text.size() != 36)
        return std::nullopt;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? text[i] != L'-' : (text[i] > 0x7F || !std::iswxdigit(text[i])))
            return std::nullopt;
    }
    return toLower(text);
}

std::wstring braced(std::wstring_view uuid)
{
    return L"{" + std::wstring(uuid) + L"}";
}

} // namespace VBoxSim
