#include "base/file.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <ranges>
#include <utility>

#include "base/storage_error.h"

namespace VBoxSim {

namespace {

std::wstring systemMessage(DWORD code)
{
    wchar_t text[512];
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, text,
                                  static_cast<DWORD>(std::size(text)), nullptr);
    while (length > 0 && (text[length - 1] == L'\n' || text[length - 1] == L'\r' || text[length - 1] == L' '))
        --length;
    return std::wstring(text, length) + L" (" + std::to_wstring(code) + L")";
}

[[noreturn]] void fail(Fault otherwise, const wchar_t* what, const std::filesystem::path& path)
{
    const DWORD code = GetLastError();
    Fault fault = otherwise;
    switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
        fault = Fault::NotFound;
        break;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
        fault = Fault::Exists;
        break;
    default:
        break;
    }
    throw StorageError(fault, std::wstring(what) + L" '" + path.wstring() + L"': " + systemMessage(code));
}

HANDLE open(const std::filesystem::path& path, DWORD access, DWORD share, DWORD disposition, DWORD flags)
{
    const HANDLE handle = CreateFileW(systemPath(path).c_str(), access, share, nullptr, disposition, flags, nullptr);
    return handle == INVALID_HANDLE_VALUE ? nullptr : handle;
}

OVERLAPPED at(std::uint64_t offset)
{
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return place;
}

/// Whether the file goes away with its last handle. A file system that knows no such mark ignores it.
void markForDeletion(HANDLE handle, bool deleted)
{
    FILE_DISPOSITION_INFO disposition{};
    disposition.DeleteFile = deleted ? TRUE : FALSE;
    SetFileInformationByHandle(handle, FileDispositionInfo, &disposition, sizeof disposition);
}

constexpr std::size_t largestTransfer = std::size_t(64) << 20;

} // namespace

std::filesystem::path systemPath(const std::filesystem::path& path)
{
    // The system's own limit for folders; that for files is a little higher.
    constexpr std::size_t longestPlainPath = 247;
    const std::wstring text = path.wstring();
    if (text.size() <= longestPlainPath || text.rfind(LR"(\\?\)", 0) == 0)
        return path;
    std::wstring full(text.size() + MAX_PATH, L'\0');
    const DWORD length = GetFullPathNameW(text.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (length == 0 || length >= full.size())
        return path;
    full.resize(length);
    if (full.rfind(LR"(\\)", 0) == 0)
        return LR"(\\?\UNC\)" + full.substr(2);
    return LR"(\\?\)" + full;
}

File::File(void* handle, std::filesystem::path path) : handle_(handle), path_(std::move(path)) {}

File::File(File&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)), path_(std::move(other.path_)) {}

File& File::operator=(File&& other) noexcept
{
    std::swap(handle_, other.handle_);
    std::swap(path_, other.path_);
    return *this;
}

File::~File()
{
    close();
}

File File::openForReading(const std::filesystem::path& path)
{
    const HANDLE handle =
        open(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN);
    if (!handle)
        fail(Fault::Unreadable, L"Cannot open", path);
    return {handle, path};
}

File File::openForUpdate(const std::filesystem::path& path)
{
    const HANDLE handle = open(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, OPEN_EXISTING, 0);
    if (!handle)
        fail(Fault::Unwritable, L"Cannot open for writing", path);
    return {handle, path};
}

std::uint64_t File::size() const
{
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(handle_, &size))
        fail(Fault::Unreadable, L"Cannot tell the size of", path_);
    return static_cast<std::uint64_t>(size.QuadPart);
}

void File::readAt(std::uint64_t offset, void* buffer, std::size_t length) const
{
    auto* bytes = static_cast<std::uint8_t*>(buffer);
    while (length > 0) {
        OVERLAPPED place = at(offset);
        DWORD count = 0;
        const auto wanted = static_cast<DWORD>(std::min(length, largestTransfer));
        if (!ReadFile(handle_, bytes, wanted, &count, &place) && GetLastError() != ERROR_HANDLE_EOF)
            fail(Fault::Unreadable, L"Cannot read", path_);
        if (count == 0)
            throw StorageError(Fault::Damaged, L"'" + path_.wstring() + L"' ends too early");
        offset += count;
        bytes += count;
        length -= count;
    }
}

void File::writeAt(std::uint64_t offset, const void* buffer, std::size_t length)
{
    const auto* bytes = static_cast<const std::uint8_t*>(buffer);
    while (length > 0) {
        OVERLAPPED place = at(offset);
        DWORD count = 0;
        const auto wanted = static_cast<DWORD>(std::min(length, largestTransfer));
        if (!WriteFile(handle_, bytes, wanted, &count, &place) || count == 0)
            fail(Fault::Unwritable, L"Cannot write", path_);
        offset += count;
        bytes += count;
        length -= count;
    }
}

void File::close() noexcept
{
    if (handle_)
        CloseHandle(std::exchange(handle_, nullptr));
}

NewFile::NewFile(std::filesystem::path target) : target_(std::move(target)), file_(nullptr, target_)
{
    static std::atomic<unsigned> counter{0};
    if (GetFileAttributesW(systemPath(target_).c_str()) != INVALID_FILE_ATTRIBUTES)
        throw StorageError(Fault::Exists, L"'" + target_.wstring() + L"' exists already");
    HANDLE handle = nullptr;
    do {
        temporary_ = target_.parent_path() /
                     (L"~" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++counter) + L".tmp");
        handle = open(temporary_, GENERIC_READ | GENERIC_WRITE | DELETE, FILE_SHARE_READ, CREATE_NEW, 0);
    } while (!handle && GetLastError() == ERROR_FILE_EXISTS);
    if (!handle)
        fail(Fault::Unwritable, L"Cannot create", target_);
    markForDeletion(handle, true);
    file_ = File(handle, target_);
}

NewFile::~NewFile()
{
    if (committed_)
        return;
    file_.close();
    DeleteFileW(systemPath(temporary_).c_str());
}

void NewFile::commit()
{
    markForDeletion(file_.handle_, false);
    file_.close();
    if (!MoveFileExW(systemPath(temporary_).c_str(), systemPath(target_).c_str(), 0))
        fail(Fault::Unwritable, L"Cannot create", target_);
    committed_ = true;
}

CreatedFiles::CreatedFiles(CreatedFiles&& other) noexcept : paths_(std::exchange(other.paths_, {})) {}

CreatedFiles& CreatedFiles::operator=(CreatedFiles&& other) noexcept
{
    std::swap(paths_, other.paths_);
    return *this;
}

void CreatedFiles::makeFolders(const std::filesystem::path& folder)
{
    std::vector<std::filesystem::path> missing;
    for (std::filesystem::path step = folder; GetFileAttributesW(systemPath(step).c_str()) == INVALID_FILE_ATTRIBUTES;
         step = step.parent_path()) {
        missing.push_back(step);
        if (!step.has_relative_path())
            break;
    }
    for (const std::filesystem::path& step : std::views::reverse(missing)) {
        if (!CreateDirectoryW(systemPath(step).c_str(), nullptr))
            fail(Fault::Unwritable, L"Cannot create the folder", step);
        paths_.push_back(step);
    }
}

void CreatedFiles::append(CreatedFiles&& other)
{
    paths_.insert(paths_.end(), other.paths_.begin(), other.paths_.end());
    other.paths_.clear();
}

void CreatedFiles::rollBack() noexcept
{
    for (const std::filesystem::path& path : std::views::reverse(paths_)) {
        const std::filesystem::path place = systemPath(path);
        if (!DeleteFileW(place.c_str()))
            RemoveDirectoryW(place.c_str());
    }
    paths_.clear();
}

} // namespace VBoxSim
