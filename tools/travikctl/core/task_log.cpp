#include "task_log.h"

#include <windows.h>
#include <travik/vbox_instance.h>

#include <fstream>
#include <iterator>
#include <system_error>

#include "failure.h"
#include "text.h"

namespace {

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
