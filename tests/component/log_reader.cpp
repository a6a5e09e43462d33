#include "log_reader.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace TravikTest {
namespace {

/// "Fri Nov 20 11:16:13 2026", brackets around it.
bool isTime(const std::string& text)
{
    const std::string pattern = "[aaa aaa  d dd:dd:dd dddd]";
    if (text.size() != pattern.size())
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto character = static_cast<unsigned char>(text[i]);
        const bool fits = pattern[i] == 'a'   ? std::isalpha(character) != 0
                          : pattern[i] == 'd' ? std::isdigit(character) != 0
                          : i == 9            ? std::isdigit(character) != 0 || character == ' '
                                              : text[i] == pattern[i];
        if (!fits)
            return false;
    }
    return true;
}

/// Masks time and line of a record that is laid out as it should be; the line goes to shown.
std::string masked(const std::string& raw, int& shown)
{
    const std::size_t timeLength = 26;
    const std::size_t line = raw.find(") <");
    const std::size_t text = line == std::string::npos ? line : raw.find("> # ", line);
    shown = 0;
    if (text == std::string::npos || !isTime(raw.substr(0, timeLength)))
        return raw;
    const std::string number = raw.substr(line + 3, text - line - 3);
    const bool decimal = !number.empty() && number[0] != '0' && number.size() <= 5 &&
                         std::all_of(number.begin(), number.end(), [](unsigned char c) { return std::isdigit(c); });
    shown = decimal ? std::stoi(number) : 0;
    return decimal ? raw.substr(timeLength, line + 1 - timeLength) + " # " + raw.substr(text + 4) : raw;
}

} // namespace

void LogReader::skip()
{
    file_.reset(_wfopen(path_.c_str(), L"rb"));
    if (file_)
        std::fseek(file_.get(), 0, SEEK_END);
}

std::string LogReader::takeBytes()
{
    std::string bytes;
    if (!file_)
        return bytes;
    std::fseek(file_.get(), 0, SEEK_CUR); // forgets that the end was reached
    char part[4096];
    while (const std::size_t count = std::fread(part, 1, sizeof part, file_.get()))
        bytes.append(part, count);
    return bytes;
}

std::vector<std::string> LogReader::take()
{
    std::vector<int> lines;
    return take(lines);
}

std::vector<std::string> LogReader::take(std::vector<int>& lines)
{
    const std::string bytes = takeBytes();
    const std::string lineEnd = "\r\n[";
    std::vector<std::string> records;
    std::size_t start = bytes.find(lineEnd);
    if (start != 0 && !bytes.empty()) {
        lines.push_back(0);
        records.push_back(bytes.substr(0, start));
    }
    while (start != std::string::npos) {
        const std::size_t next = bytes.find(lineEnd, start + 1);
        lines.push_back(0);
        records.push_back(
            masked(bytes.substr(start + 2, next == std::string::npos ? next : next - start - 2), lines.back()));
        start = next;
    }
    return records;
}

std::string logged(const std::wstring& text)
{
    std::string result;
    char escape[16];
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned unit = text[i];
        const unsigned next = i + 1 < text.size() ? text[i + 1] : 0u;
        if (unit == '\n') {
            result += "\r\n"; // a file in text mode
        } else if (unit < 0x80) {
            result += static_cast<char>(unit);
        } else if (unit >= 0xD800 && unit < 0xDC00 && next >= 0xDC00 && next < 0xE000) {
            std::snprintf(escape, sizeof escape, "\\U%08X", 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00));
            result += escape;
            ++i;
        } else {
            std::snprintf(escape, sizeof escape, "\\u%04X", unit);
            result += escape;
        }
    }
    return result;
}

std::string record(const char* level, const std::wstring& function, const std::wstring& text)
{
    return std::string("[") + level + "] (" + logged(function) + ") # " + logged(text);
}

} // namespace TravikTest
