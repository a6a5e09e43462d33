#include "text.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <utility>

std::string toUtf8(const std::wstring& text)
{
    const int length = static_cast<int>(text.size());
    std::string utf8(
        text.empty() ? 0 : WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr);
    return utf8;
}

std::wstring fromUtf8(const std::string& text)
{
    const int length = static_cast<int>(text.size());
    std::wstring wide(text.empty() ? 0 : MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string hexadecimal(std::uint32_t value)
{
    std::string text = "0x";
    for (int shift = 28; shift >= 0; shift -= 4)
        text += "0123456789abcdef"[(value >> shift) & 15];
    return text;
}

namespace {

bool isWide(char32_t character)
{
    struct Range
    {
        char32_t first, last;
    };
    static constexpr Range ranges[] = {{0x1100, 0x115F},   {0x2E80, 0xA4CF},   {0xAC00, 0xD7A3},  {0xF900, 0xFAFF},
                                       {0xFE30, 0xFE4F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F},
                                       {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};
    for (const Range& range : ranges) {
        if (character >= range.first && character <= range.last)
            return true;
    }
    return false;
}

} // namespace

std::size_t columnsOf(const std::string& text)
{
    const std::wstring wide = fromUtf8(text);
    std::size_t columns = 0;
    for (std::size_t i = 0; i < wide.size(); ++i) {
        char32_t character = wide[i];
        if (character >= 0xD800 && character < 0xDC00 && i + 1 < wide.size())
            character = 0x10000 + ((character - 0xD800) << 10) + (wide[++i] - 0xDC00u);
        columns += isWide(character) ? 2 : 1;
    }
    return columns;
}

std::wstring fullPath(const std::string& path)
{
    return std::filesystem::absolute(std::filesystem::path(fromUtf8(path))).make_preferred().wstring();
}

namespace {

/// How many letters must be changed, added or taken away (Levenshtein).
std::size_t distance(const std::string& from, const std::string& to)
{
    std::vector<std::size_t> row(to.size() + 1);
    for (std::size_t i = 0; i <= to.size(); ++i)
        row[i] = i;
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t changed = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

} // namespace

std::string closestTo(const std::string& word, const std::vector<std::string>& known)
{
    std::string closest;
    std::size_t least = word.size() / 3 + 2;
    for (const std::string& candidate : known) {
        if (const std::size_t letters = distance(word, candidate); letters < least) {
            least = letters;
            closest = candidate;
        }
    }
    return closest;
}
