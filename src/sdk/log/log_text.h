#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <iterator>
#include <locale>
#include <string>
#include <string_view>

namespace Travik {

/// Lower-case digits without prefix or leading zeros.
std::wstring hexadecimal(std::uint32_t value);

/// Text and numbers as records show them: text as it is, numbers in plain decimal whatever the locale.
inline const std::wstring& recordText(const std::wstring& text)
{
    return text;
}
std::wstring recordText(std::integral auto value)
{
    char digits[24]; // not std::to_wstring, which costs as much as a system call: it formats by the C runtime
    char* const end = std::to_chars(digits, std::end(digits), value).ptr;
    return {digits, end};
}

/// The arguments of a record, joined by " | ".
template <class First, class... Rest>
std::wstring joinArguments(const First& first, const Rest&... rest)
{
    std::wstring text = recordText(first);
    ((text += L" | ", text += recordText(rest)), ...);
    return text;
}
inline std::wstring joinArguments()
{
    return {};
}

/// The current local time as _wctime64_s writes it, 24 characters without the newline; empty for a time that has none.
/// For one thread at a time.
class TimeStamp
{
public:
    const std::wstring& now();

private:
    std::uint64_t second_ = 0; ///< since 1601; that of the text
    std::wstring text_;
};

/// Appends the text as the locale's codecvt converts it, line ends as CR LF. A character that it cannot convert becomes
/// \uXXXX, or \UXXXXXXXX beyond the basic plane.
void appendEncoded(std::string& bytes, std::wstring_view text, const std::locale& locale);

/// The text with the same escapes for the console, which writes all characters up to U+00FF and falls silent for good
/// at any other.
std::wstring escapeForConsole(std::wstring_view text);

/// Where initLogger puts the log of that suffix for a program: folder\vmsdk\program_suffix. Throws std::out_of_range
/// for a program path without any separator.
std::wstring logPathFor(const std::wstring& program, const std::wstring& suffix);

/// The user's locale for text, the classic one for numbers.
std::locale userTextLocale();

} // namespace Travik
