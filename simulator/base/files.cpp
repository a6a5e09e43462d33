#include "base/files.h"

#include "base/failure.h"
#include "base/file.h"
#include "base/text.h"

namespace VBoxSim::Files {

namespace {

using std::filesystem::path;

/// Does something with a file for which all failures are alike.
template <class Action>
auto orFileError(Action&& action)
{
    try {
        return action();
    } catch (const Failure& failure) {
        throw Failure(Result::fileError, failure.text());
    }
}

void writeWhole(const std::wstring& file, std::string_view content)
{
    File fresh = File::create(file);
    fresh.writeAt(0, content.data(), content.size());
    fresh.flush();
}

void keepPrevious(const std::wstring& file, const std::wstring& previous)
{
    try {
        Platform::copy(file, previous);
    } catch (const Failure&) {
        // The old version is a service, not a condition.
    }
}

} // namespace

bool exists(const std::wstring& file)
{
    std::error_code unreachable;
    return std::filesystem::exists(Platform::unlimited(file), unreachable);
}

bool isFolder(const std::wstring& folder)
{
    std::error_code unreachable;
    return std::filesystem::is_directory(Platform::unlimited(folder), unreachable);
}

bool isAbsolute(std::wstring_view file)
{
    return Platform::isAbsolute(file);
}

std::wstring resolve(std::wstring_view folder, std::wstring_view file)
{
    return Platform::normal(isAbsolute(file) ? std::wstring(file) : (path(folder) / file).wstring());
}

std::wstring relativeTo(std::wstring_view folder, std::wstring_view file)
{
    const std::wstring base = Platform::normal((path(folder) / L"").wstring());
    const std::wstring full = Platform::normal(file);
    const bool below = full.size() > base.size() && equalIgnoringCase(full.substr(0, base.size()), base);
    return below ? full.substr(base.size()) : std::wstring(file);
}

std::wstring folderOf(std::wstring_view file)
{
    return path(file).parent_path().wstring();
}

std::wstring nameOf(std::wstring_view file)
{
    return path(file).filename().wstring();
}

std::wstring stemOf(std::wstring_view file)
{
    return path(file).stem().wstring();
}

std::wstring suffixOf(std::wstring_view file)
{
    return toLower(path(file).extension().wstring());
}

std::wstring join(std::wstring_view folder, std::wstring_view name)
{
    return (path(folder) / name).make_preferred().wstring();
}

bool samePath(std::wstring_view left, std::wstring_view right)
{
    return equalIgnoringCase(Platform::normal(left), Platform::normal(right));
}

std::string read(const std::wstring& file)
{
    return orFileError([&] {
        constexpr std::uint64_t largestSettingsFile = std::uint64_t(64) << 20;
        const File opened = File::openForReading(file);
        const std::uint64_t size = opened.size();
        if (size > largestSettingsFile)
            throw Failure(Result::fileError, L"The file '" + file + L"' is too large");
        std::string content(static_cast<std::size_t>(size), '\0');
        opened.readAt(0, content.data(), content.size());
        return content;
    });
}

void createFolder(const std::wstring& folder)
{
    std::error_code reason;
    std::filesystem::create_directories(Platform::unlimited(folder), reason);
    if (!folder.empty() && !isFolder(folder))
        throw Failure(Result::fileError, L"Cannot create the folder '" + folder + L"': " + fromUtf8(reason.message()));
}

void writeAtomically(const std::wstring& file, std::string_view content, const std::wstring& previous)
{
    createFolder(folderOf(file));
    const std::wstring fresh = file + L"-tmp";
    orFileError([&] {
        writeWhole(fresh, content);
        if (!previous.empty() && exists(file))
            keepPrevious(file, previous);
        try {
            Platform::move(fresh, file, true);
        } catch (const Failure&) {
            remove(fresh);
            throw;
        }
    });
}

bool remove(const std::wstring& file)
{
    std::error_code reason;
    return !isFolder(file) && (std::filesystem::remove(Platform::unlimited(file), reason) || !exists(file));
}

bool removeEmptyFolder(const std::wstring& folder)
{
    std::error_code reason;
    return isFolder(folder) && std::filesystem::remove(Platform::unlimited(folder), reason);
}

bool move(const std::wstring& from, const std::wstring& to)
{
    try {
        Platform::move(from, to, false);
        return true;
    } catch (const Failure&) {
        return false;
    }
}

std::vector<std::wstring> list(const std::wstring& folder)
{
    std::vector<std::wstring> names;
    std::error_code unreadable;
    for (const auto& entry : std::filesystem::directory_iterator(Platform::unlimited(folder), unreadable))
        names.push_back(entry.path().filename().wstring());
    return names;
}

} // namespace VBoxSim::Files
