#include "log/log_text.h"

#include <windows.h>

#include <algorithm>
#include <ctime>
#include <cwchar>

namespace Travik {
namespace {

using Codecvt = std::codecvt<wchar_t, char, std::mbstate_t>;

constexpr bool isHighSurrogate(wchar_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool isLowSurrogate(wchar_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

std::wstring padded(std::uint32_t value, std::size_t digits)
{
    const std::wstring text = hexadecimal(value);
    std::wstring upper = std::wstring(digits - std::min(digits, text.size()), L'0') + text;
    for (wchar_t& digit : upper)
        digit = digit >= L'a' ? static_cast<wchar_t>(digit - L'a' + L'A') : digit;
    return upper;
}

std::wstring escaped(std::wstring_view character)
{
    if (character.size() == 1)
        return L"\\u" + padded(character[0], 4);
    return L"\\U" + padded(0x10000u + ((character[0] - 0xD800u) << 10) + (character[1] - 0xDC00u), 8);
}

/// The text character by character; a surrogate pair is one.
template <class Visit>
void forEachCharacter(std::wstring_view text, Visit visit)
{
    for (std::size_t i = 0; i < text.size();) {
        const bool pair = i + 1 < text.size() && isHighSurrogate(text[i]) && isLowSurrogate(text[i + 1]);
        const std::size_t units = pair ? 2 : 1;
        visit(text.substr(i, units));
        i += units;
    }
}

/// Whether the codecvt could convert the character.
bool appendConverted(std::string& bytes, std::wstring_view character, const Codecvt& codecvt)
{
    std::mbstate_t state = {};
    char converted[16];
    const wchar_t* fromNext = nullptr;
    char* toNext = nullptr;
    const wchar_t* const end = character.data() + character.size();
    const bool done =
        codecvt.out(state, character.data(), end, fromNext, converted, std::end(converted), toNext) == Codecvt::ok &&
        fromNext == end;
    if (done)
        bytes.append(converted, toNext);
    return done;
}

#ifndef _MSC_VER
/// The user's ANSI code page: MinGW's runtime has no locale but the classic one.
class AnsiCodecvt final : public Codecvt
{
protected:
    result do_out(std::mbstate_t&, const wchar_t* from, const wchar_t* fromEnd, const wchar_t*& fromNext, char* to,
                  char* toEnd, char*& toNext) const override
    {
        fromNext = from;
        toNext = to;
        while (fromNext != fromEnd) {
            const bool pair = fromNext + 1 != fromEnd && isHighSurrogate(*fromNext) && isLowSurrogate(fromNext[1]);
            const int units = pair ? 2 : 1;
            char bytes[8];
            const int count = encode(fromNext, units, bytes, sizeof bytes);
            if (count == 0)
                return error;
            if (toEnd - toNext < count)
                return partial;
            toNext = std::copy_n(bytes, count, toNext);
            fromNext += units;
        }
        return ok;
    }

    result do_unshift(std::mbstate_t&, char* to, char*, char*& toNext) const override
    {
        toNext = to;
        return noconv;
    }

    int do_encoding() const noexcept override { return 0; }
    bool do_always_noconv() const noexcept override { return false; }
    int do_max_length() const noexcept override { return 8; }

private:
    /// Number of bytes, 0 for a character that the code page lacks.
    static int encode(const wchar_t* units, int unitCount, char* bytes, int size)
    {
        if (GetACP() == CP_UTF8)
            return WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, units, unitCount, bytes, size, nullptr, nullptr);
        BOOL replaced = FALSE;
        const int count =
            WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, units, unitCount, bytes, size, nullptr, &replaced);
        return replaced ? 0 : count;
    }
};
#endif

} // namespace

std::wstring hexadecimal(std::uint32_t value)
{
    std::wstring digits;
    do {
        digits.insert(digits.begin(), L"0123456789abcdef"[value % 16]);
        value /= 16;
    } while (value != 0);
    return digits;
}

const std::wstring& TimeStamp::now()
{
    FILETIME time;
    GetSystemTimeAsFileTime(&time);
    const std::uint64_t second = (std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) / 10'000'000;
    if (second != second_) { // the C runtime looks for the time zone, which under Wine costs as much as three writes
        wchar_t buffer[256] = L"";
        const __time64_t now = _time64(nullptr);
        _wctime64_s(buffer, std::size(buffer), &now);
        text_.assign(buffer, std::wcscspn(buffer, L"\n"));
        second_ = second;
    }
    return text_;
}

void appendEncoded(std::string& bytes, std::wstring_view text, const std::locale& locale)
{
    // The usual text is ASCII: as one piece, and without looking for the locale's facet, which costs more than the
    // text.
    const auto isPlain = [](wchar_t unit) { return unit < 0x80 && unit != L'\n'; };
    const auto special = std::find_if_not(text.begin(), text.end(), isPlain);
    const auto plain = static_cast<std::size_t>(special - text.begin());
    bytes.resize(bytes.size() + plain);
    std::transform(text.begin(), special, bytes.end() - static_cast<std::ptrdiff_t>(plain),
                   [](wchar_t unit) { return static_cast<char>(unit); });
    text.remove_prefix(plain);

    const Codecvt* codecvt = nullptr;
    forEachCharacter(text, [&](std::wstring_view character) {
        if (character[0] == L'\n') {
            bytes += "\r\n";
            return;
        }
        if (character[0] < 0x80) {
            bytes += static_cast<char>(character[0]);
            return;
        }
        if (!codecvt)
            codecvt = &std::use_facet<Codecvt>(locale);
        if (!appendConverted(bytes, character, *codecvt)) {
            for (const wchar_t unit : escaped(character))
                bytes += static_cast<char>(unit);
        }
    });
}

std::wstring escapeForConsole(std::wstring_view text)
{
    std::wstring result;
    forEachCharacter(text, [&result](std::wstring_view character) {
        if (character[0] <= 0xFF)
            result += character;
        else
            result += escaped(character);
    });
    return result;
}

std::wstring logPathFor(const std::wstring& program, const std::wstring& suffix)
{
    const auto separator = static_cast<std::uint32_t>(program.find_last_of(L"\\/"));
    const std::wstring folder = program.substr(0, separator);
    const std::wstring file = program.substr(separator);
    // The log keeps the extension of the program in its name; front ends look for it there.
    [[maybe_unused]] const std::wstring withoutExtension = file.substr(0, file.rfind(L'.'));
    return folder + L"\\vmsdk" + file + L"_" + suffix;
}

std::locale userTextLocale()
{
#ifdef _MSC_VER
    return std::locale(std::locale(""), std::locale::classic(), std::locale::numeric);
#else
    return std::locale(std::locale::classic(), new AnsiCodecvt);
#endif
}

} // namespace Travik
