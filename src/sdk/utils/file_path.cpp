#include "utils/file_path.h"

#include <Poco/File.h>
#include <Poco/Path.h>

#include <source_location>

#include "log/log.h"
#include "log/log_text.h"
#include "utils/text.h"

namespace Travik::Utils {
namespace {

/// The records of one helper: its arguments on entry, later its answer.
class Records
{
public:
    template <class... Arguments>
    Records(const wchar_t* name, std::source_location where, const Arguments&... arguments)
        : name_(name), line_(lineOf(where))
    {
        writeRecord(LogLevel::Info, line_, name_, joinArguments(arguments...));
    }

    bool answer(bool result) const
    {
        writeRecord(LogLevel::Info, line_, name_, result ? L"return 1" : L"return 0");
        return result;
    }

    std::wstring answer(std::wstring result) const
    {
        writeRecord(LogLevel::Info, line_, name_, L"return " + result);
        return result;
    }

private:
    std::wstring name_;
    std::int32_t line_;
};

/// Whether something can be moved or copied there without overwriting.
bool sourceOnly(const std::string& from, const std::string& to)
{
    return Poco::File(from).exists() && !Poco::File(to).exists();
}

} // namespace

bool checkFileExists(const std::wstring& path)
{
    const Records records(L"Travik::Utils::checkFileExists", std::source_location::current(), path);
    const std::string utf8 = toUtf8(path);
    if (utf8.empty())
        return false;
    return records.answer(Poco::File(utf8).exists());
}

bool copyFileToPath(const std::wstring& from, const std::wstring& to)
{
    const Records records(L"Travik::Utils::copyFileToPath", std::source_location::current(), from, to);
    const std::string source = toUtf8(from);
    const std::string target = toUtf8(to);
    if (source.empty() || target.empty())
        return false;
    const bool possible = sourceOnly(source, target);
    if (possible)
        Poco::File(source).copyTo(target, 0);
    return records.answer(possible);
}

bool renameFilePath(const std::wstring& from, const std::wstring& to)
{
    const Records records(L"Travik::Utils::renameFilePath", std::source_location::current(), from, to);
    const std::string source = toUtf8(from);
    const std::string target = toUtf8(to);
    if (source.empty() || target.empty())
        return false;
    const bool possible = sourceOnly(source, target);
    if (possible)
        Poco::File(source).renameTo(target, 0);
    return records.answer(possible);
}

bool removeFilePath(const std::wstring& path)
{
    const Records records(L"Travik::Utils::removeFilePath", std::source_location::current(), path);
    const std::string utf8 = toUtf8(path);
    if (utf8.empty())
        return false;
    Poco::File file(utf8);
    if (!file.exists())
        return records.answer(false);
    file.remove(file.isDirectory());
    return records.answer(!file.exists());
}

std::wstring getFileName(const std::wstring& path)
{
    const Records records(L"Travik::Utils::getFileName", std::source_location::current(), path);
    const std::string utf8 = toUtf8(path);
    if (utf8.empty())
        return {};
    const std::string name = Poco::Path(utf8).getFileName();
    return records.answer(toWide(name.substr(0, name.rfind('.'))));
}

std::wstring getParentDirectoryPath(const std::wstring& path)
{
    const Records records(L"Travik::Utils::getParentDirectoryPath", std::source_location::current(), path);
    const std::string utf8 = toUtf8(path);
    if (utf8.empty())
        return {};
    return records.answer(toWide(Poco::Path(utf8).parent().toString()));
}

} // namespace Travik::Utils
