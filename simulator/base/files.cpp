#include "base/files.h"

#include <windows.h>

#include <filesystem>
#include <memory>

#include "base/failure.h"
#include "base/text.h"

namespace VBoxSim::Files {

namespace {

struct CloseHandleOf
{
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using FileHandle = std::unique_ptr<void, CloseHandleOf>;

FileHandle open(const std::wstring& path, DWORD access, DWORD share, DWORD disposition)
{
    const HANDLE handle =
        CreateFileW(unlimited(path).c_str(), access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    return FileHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

[[noreturn]] void refuse(const wchar_t* what, const std::wstring& path)
{
    const DWORD error = GetLastError();
    throw Failure(Result::fileError, std::wstring(what) + L" '" + path + L"' (error " + std::to_wstring(error) + L")");
}

bool isShare(std::wstring_view path)
{
    const auto slash = [](wchar_t c) { return c == L'\\' || c == L'/'; };
    return path.size() > 2 && slash(path[0]) && slash(path[1]);
}

/// With backslashes, without "." and "..".
std::wstring normal(std::wstring_view path)
{
    // Not every standard library knows that a path can start with a share.
    if (isShare(path))
        return L"\\\\" + normal(path.substr(2));
    return std::filesystem::path(path).make_preferred().lexically_normal().wstring();
}

DWORD attributes(const std::wstring& path)
{
    return GetFileAttributesW(unlimited(path).c_str());
}

} // namespace

std::wstring unlimited(std::wstring_view path)
{
    if (path.size() < 200 || path.starts_with(L"\\\\?\\"))
        return std::wstring(path);
    std::wstring plain = normal(path);
    return plain.starts_with(L"\\\\") ? L"\\\\?\\UNC\\" + plain.substr(2) : L"\\\\?\\" + plain;
}

bool exists(const std::wstring& path)
{
    return attributes(path) != INVALID_FILE_ATTRIBUTES;
}

bool isFolder(const std::wstring& path)
{
    const DWORD found = attributes(path);
    return found != INVALID_FILE_ATTRIBUTES && (found & FILE_ATTRIBUTE_DIRECTORY);
}

bool isAbsolute(std::wstring_view path)
{
    return isShare(path) || std::filesystem::path(path).is_absolute();
}

std::wstring resolve(std::wstring_view folder, std::wstring_view path)
{
    return isAbsolute(path) ? normal(path) : normal((std::filesystem::path(folder) / path).wstring());
}

std::wstring relativeTo(std::wstring_view folder, std::wstring_view path)
{
    std::wstring base = normal(folder);
    if (!base.ends_with(L'\\'))
        base += L'\\';
    const std::wstring full = normal(path);
    const bool below = full.size() > base.size() && equalIgnoringCase(full.substr(0, base.size()), base);
    return below ? full.substr(base.size()) : std::wstring(path);
}

std::wstring folderOf(std::wstring_view path)
{
    return std::filesystem::path(path).parent_path().wstring();
}

std::wstring nameOf(std::wstring_view path)
{
    return std::filesystem::path(path).filename().wstring();
}

std::wstring stemOf(std::wstring_view path)
{
    return std::filesystem::path(path).stem().wstring();
}

std::wstring suffixOf(std::wstring_view path)
{
    return toLower(std::filesystem::path(path).extension().wstring());
}

std::wstring join(std::wstring_view folder, std::wstring_view name)
{
    return (std::filesystem::path(folder) / name).make_preferred().wstring();
}

bool samePath(std::wstring_view left, std::wstring_view right)
{
    return equalIgnoringCase(normal(left), normal(right));
}

std::string read(const std::wstring& path)
{
    const FileHandle file = open(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING);
    LARGE_INTEGER size{};
    if (!file || !GetFileSizeEx(file.get(), &size))
        refuse(L"Could not open the file", path);
    constexpr LONGLONG largestSettingsFile = 64LL << 20;
    if (size.QuadPart > largestSettingsFile)
        throw Failure(Result::fileError, L"The file '" + path + L"' is too large");
    std::string content(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD got = 0;
    if (!ReadFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &got, nullptr))
        refuse(L"Could not read the file", path);
    content.resize(got);
    return content;
}

void createFolder(const std::wstring& path)
{
    if (path.empty() || isFolder(path))
        return;
    createFolder(folderOf(path));
    if (!CreateDirectoryW(unlimited(path).c_str(), nullptr) && !isFolder(path))
        refuse(L"Could not create the folder", path);
}

void writeAtomically(const std::wstring& path, std::string_view content, const std::wstring& previous)
{
    createFolder(folderOf(path));
    const std::wstring fresh = path + L"-tmp";
    {
        const FileHandle file = open(fresh, GENERIC_WRITE, 0, CREATE_ALWAYS);
        DWORD written = 0;
        if (!file || !WriteFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr) ||
            written != content.size() || !FlushFileBuffers(file.get()))
            refuse(L"Could not write the file", fresh);
    }
    if (!previous.empty() && exists(path))
        CopyFileW(unlimited(path).c_str(), unlimited(previous).c_str(), FALSE);
    if (!MoveFileExW(unlimited(fresh).c_str(), unlimited(path).c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        const DWORD error = GetLastError();
        remove(fresh);
        SetLastError(error);
        refuse(L"Could not write the file", path);
    }
}

bool remove(const std::wstring& path)
{
    return DeleteFileW(unlimited(path).c_str()) || !exists(path);
}

bool removeEmptyFolder(const std::wstring& path)
{
    return RemoveDirectoryW(unlimited(path).c_str());
}

bool move(const std::wstring& from, const std::wstring& to)
{
    return MoveFileExW(unlimited(from).c_str(), unlimited(to).c_str(), MOVEFILE_WRITE_THROUGH);
}

std::vector<std::wstring> list(const std::wstring& folder)
{
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(unlimited(join(folder, L"*")).c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return names;
    do {
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L"..")
            names.push_back(name);
    } while (FindNextFileW(search, &found));
    FindClose(search);
    return names;
}

} // namespace VBoxSim::Files
