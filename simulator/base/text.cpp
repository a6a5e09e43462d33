#include "base/text.h"

#include <Poco/UUIDGenerator.h>

#include "base/platform.h"

namespace VBoxSim {

namespace {

constexpr char32_t replacementCharacter = 0xFFFD;
constexpr char32_t invalid = 0xFFFFFFFF;

bool isHighSurrogate(char32_t c)
{
    return c >= 0xD800 && c <= 0xDBFF;
}

bool isLowSurrogate(char32_t c)
{
    return c >= 0xDC00 && c <= 0xDFFF;
}

/// The character at a place, which moves behind it; `invalid` for what is none.
char32_t nextCharacter(std::wstring_view text, std::size_t& place)
{
    const char32_t first = static_cast<char32_t>(text[place++]);
    if (isHighSurrogate(first) && place < text.size() && isLowSurrogate(static_cast<char32_t>(text[place])))
        return 0x10000 + ((first - 0xD800) << 10) + (static_cast<char32_t>(text[place++]) - 0xDC00);
    return isHighSurrogate(first) || isLowSurrogate(first) || first > 0x10FFFF ? invalid : first;
}

/// The bounds of the byte behind a first byte: no overlong form, no surrogate, nothing beyond the last character.
std::pair<std::uint8_t, std::uint8_t> secondByteBounds(std::uint8_t first)
{
    switch (first) {
    case 0xE0:
        return {0xA0, 0xBF};
    case 0xED:
        return {0x80, 0x9F};
    case 0xF0:
        return {0x90, 0xBF};
    case 0xF4:
        return {0x80, 0x8F};
    default:
        return {0x80, 0xBF};
    }
}

char32_t nextCharacter(std::string_view text, std::size_t& place)
{
    const auto first = static_cast<std::uint8_t>(text[place++]);
    if (first < 0x80)
        return first;
    const unsigned more = first >= 0xC2 && first <= 0xDF ? 1 : first >> 4 == 0xE ? 2 : first >> 3 == 0x1E ? 3 : 0;
    if (more == 0 || first > 0xF4)
        return invalid;
    char32_t character = first & (0x3Fu >> more);
    auto [lowest, highest] = secondByteBounds(first);
    for (unsigned i = 0; i < more; ++i) {
        const auto byte = place < text.size() ? static_cast<std::uint8_t>(text[place]) : std::uint8_t(0);
        if (byte < lowest || byte > highest)
            return invalid;
        character = character << 6 | (byte & 0x3F);
        ++place;
        lowest = 0x80;
        highest = 0xBF;
    }
    return character;
}

void append(std::string& text, char32_t c)
{
    if (c < 0x80) {
        text += static_cast<char>(c);
        return;
    }
    const int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    text += static_cast<char>((0xFF00u >> (more + 1) & 0xFF) | c >> 6 * more);
    for (int i = more; i-- > 0;)
        text += static_cast<char>(0x80 | (c >> 6 * i & 0x3F));
}

void append(std::wstring& text, char32_t c)
{
    if (sizeof(wchar_t) == 2 && c > 0xFFFF) {
        text += static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
        text += static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
        text += static_cast<wchar_t>(c);
    }
}

template <class To, class From>
To converted(From text)
{
    To result;
    result.reserve(text.size());
    for (std::size_t place = 0; place < text.size();) {
        const char32_t c = nextCharacter(text, place);
        append(result, c == invalid ? replacementCharacter : c);
    }
    return result;
}

/// The bytes of a GUID's numbers are the other way round in a UUID's text.
constexpr std::array<std::size_t, 16> guidOrder = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};

} // namespace

std::string toUtf8(std::wstring_view text)
{
    return converted<std::string>(text);
}

std::wstring fromUtf8(std::string_view text)
{
    return converted<std::wstring>(text);
}

bool isStorable(std::wstring_view text)
{
    for (std::size_t place = 0; place < text.size();) {
        const char32_t c = nextCharacter(text, place);
        if (c == invalid || c == 0xFFFE || c == 0xFFFF)
            return false;
        if (c < 0x20 && c != '\t' && c != '\n' && c != '\r')
            return false;
    }
    return true;
}

bool equalIgnoringCase(std::wstring_view left, std::wstring_view right)
{
    return Platform::equalIgnoringCase(left, right);
}

std::wstring toLower(std::wstring_view text)
{
    return Platform::toLower(text);
}

std::wstring newUuid()
{
    Platform::keepRandomNumbersReady();
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
        if (dash ? text[i] != L'-' : std::wstring_view(L"0123456789abcdefABCDEF").find(text[i]) == text.npos)
            return std::nullopt;
    }
    return toLower(text);
}

std::wstring braced(std::wstring_view uuid)
{
    return L"{" + std::wstring(uuid) + L"}";
}

std::array<std::uint8_t, 16> guidBytes(std::wstring_view uuid)
{
    constexpr std::wstring_view digits = L"0123456789abcdef";
    std::array<std::uint8_t, 16> bytes{};
    std::size_t digit = 0;
    for (const wchar_t c : uuid)
        if (const std::size_t value = digits.find(c); value != digits.npos && digit < 2 * bytes.size()) {
            std::uint8_t& byte = bytes[guidOrder[digit++ / 2]];
            byte = static_cast<std::uint8_t>(byte << 4 | value);
        }
    return bytes;
}

std::wstring uuidOfGuid(const std::uint8_t* bytes)
{
    if (std::all_of(bytes, bytes + guidOrder.size(), [](std::uint8_t byte) { return byte == 0; }))
        return {};
    std::wstring text;
    for (std::size_t i = 0; i < guidOrder.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            text += L'-';
        const std::uint8_t byte = bytes[guidOrder[i]];
        text += L"0123456789abcdef"[byte >> 4];
        text += L"0123456789abcdef"[byte & 15];
    }
    return text;
}

} // namespace VBoxSim
