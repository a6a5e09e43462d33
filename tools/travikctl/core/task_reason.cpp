// Apart from the rest of task_log.h, which needs the library.

#include <cstdint>

#include "task_log.h"
#include "text.h"

namespace {

/// \u4E2D and \U0001F3AE become characters again.
std::string withoutEscapes(const std::string& text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t digits = text.compare(i, 2, "\\u") == 0 ? 4 : text.compare(i, 2, "\\U") == 0 ? 8 : 0;
        const std::string number = digits != 0 ? text.substr(i + 2, digits) : "";
        if (number.size() != digits || digits == 0 ||
            number.find_first_not_of("0123456789ABCDEFabcdef") != std::string::npos) {
            plain += text[i];
            continue;
        }
        const auto character = static_cast<std::uint32_t>(std::stoul(number, nullptr, 16));
        std::wstring wide;
        if (character >= 0x10000)
            wide = {static_cast<wchar_t>(0xD7C0 + (character >> 10)),
                    static_cast<wchar_t>(0xDC00 | (character & 0x3FF))};
        else
            wide = static_cast<wchar_t>(character);
        plain += toUtf8(wide);
        i += 1 + digits;
    }
    return plain;
}

} // namespace

std::string reasonIn(const std::string& log)
{
    static const std::string heading = " Progress fail desc: ";
    const std::size_t found = log.rfind(heading);
    if (found == std::string::npos)
        return "";
    const std::size_t begin = found + heading.size();
    std::string text = log.substr(begin, log.find("\r\n[", begin) - begin); // up to the next record
    text.erase(text.find_last_not_of(" \r\n") + 1);
    return withoutEscapes(text);
}
