#include "task_log.h"

#include <windows.h>
#include <travik/vbox_instance.h>

#include <fstream>
#include <iterator>
#include <system_error>

#include "failure.h"
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

std::filesystem::path ownFile()
{
    return std::filesystem::temp_directory_path() / (L"travikctl-" + std::to_wstring(GetCurrentProcessId()) + L".log");
}

} // namespace

TaskLog::TaskLog(const std::string& file, bool wanted) : ours_(file.empty() && wanted)
{
    if (!file.empty())
        file_ = fullPath(file);
    else if (wanted)
        file_ = ownFile();
    if (!file_.empty() && !std::ofstream(file_, std::ios::app))
        throw CommandError(ExitCode::Refused, "the log file cannot be written: " + toUtf8(file_.wstring()),
                           "Name a file in a folder that exists and that you may write to.");
    std::error_code none;
    begin_ = file_.empty() ? 0 : std::filesystem::file_size(file_, none);
    GetVBoxInstance()->setLogPath(file_.empty() ? L"NUL" : file_.wstring());
}

TaskLog::~TaskLog()
{
    if (!ours_)
        return;
    GetVBoxInstance()->setLogPath(L"NUL"); // closes it
    std::error_code ignored;
    std::filesystem::remove(file_, ignored);
}

std::string TaskLog::reason() const
{
    std::ifstream stream(file_, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(begin_));
    return reasonIn({std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()});
}

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
