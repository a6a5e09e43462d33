#include <windows.h>

#include <iterator>

#include "base/failure.h"
#include "base/platform.h"

namespace VBoxSim::Platform {

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

ResultCode resultOf(DWORD code)
{
    switch (code) {
    case ERROR_FILE_NOT_FOUND:
        return Result::objectNotFound;
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
        return Result::iprtError;
    case ERROR_ACCESS_DENIED:
        return Result::accessDenied;
    default:
        return Result::fileError;
    }
}

[[noreturn]] void fail(const wchar_t* what, const std::filesystem::path& path)
{
    const DWORD code = GetLastError();
    throw Failure(resultOf(code), std::wstring(what) + L" '" + path.wstring() + L"': " + systemMessage(code));
}

HANDLE native(FileHandle file)
{
    return reinterpret_cast<HANDLE>(file);
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

DWORD limited(std::size_t length)
{
    constexpr std::size_t largestTransfer = std::size_t(64) << 20;
    return static_cast<DWORD>(length < largestTransfer ? length : largestTransfer);
}

bool isShare(std::wstring_view path)
{
    const auto slash = [](wchar_t c) { return c == L'\\' || c == L'/'; };
    return path.size() > 2 && slash(path[0]) && slash(path[1]);
}

} // namespace

FileHandle open(const std::filesystem::path& path, Open how)
{
    const struct
    {
        DWORD access, share, disposition, flags;
    } ways[] = {
        {GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN},
        {GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, OPEN_EXISTING, 0},
        {GENERIC_WRITE, 0, CREATE_ALWAYS, 0},
        {GENERIC_READ | GENERIC_WRITE | DELETE, FILE_SHARE_READ, CREATE_NEW, 0},
    };
    const auto& way = ways[static_cast<std::size_t>(how)];
    const HANDLE handle =
        CreateFileW(unlimited(path).c_str(), way.access, way.share, nullptr, way.disposition, way.flags, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        fail(how == Open::Read ? L"Cannot open" : L"Cannot open for writing", path);
    if (how == Open::Temporary)
        markForDeletion(handle, true);
    return reinterpret_cast<FileHandle>(handle);
}

void close(FileHandle file) noexcept
{
    CloseHandle(native(file));
}

std::uint64_t size(FileHandle file, const std::filesystem::path& path)
{
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(native(file), &size))
        fail(L"Cannot tell the size of", path);
    return static_cast<std::uint64_t>(size.QuadPart);
}

std::size_t read(FileHandle file, std::uint64_t offset, void* buffer, std::size_t length,
                 const std::filesystem::path& path)
{
    OVERLAPPED place = at(offset);
    DWORD count = 0;
    if (!ReadFile(native(file), buffer, limited(length), &count, &place) && GetLastError() != ERROR_HANDLE_EOF)
        fail(L"Cannot read", path);
    return count;
}

std::size_t write(FileHandle file, std::uint64_t offset, const void* buffer, std::size_t length,
                  const std::filesystem::path& path)
{
    OVERLAPPED place = at(offset);
    DWORD count = 0;
    if (!WriteFile(native(file), buffer, limited(length), &count, &place) || count == 0)
        fail(L"Cannot write", path);
    return count;
}

void flush(FileHandle file, const std::filesystem::path& path)
{
    if (!FlushFileBuffers(native(file)))
        fail(L"Cannot write", path);
}

void keep(FileHandle file)
{
    markForDeletion(native(file), false);
}

void move(const std::filesystem::path& from, const std::filesystem::path& to, bool replace)
{
    const DWORD flags = MOVEFILE_WRITE_THROUGH | (replace ? MOVEFILE_REPLACE_EXISTING : 0);
    if (!MoveFileExW(unlimited(from).c_str(), unlimited(to).c_str(), flags))
        fail(L"Cannot create", to);
}

void copy(const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (!CopyFileW(unlimited(from).c_str(), unlimited(to).c_str(), FALSE))
        fail(L"Cannot create", to);
}

std::filesystem::path unlimited(const std::filesystem::path& path)
{
    // The system's own limit for folders, with room for a name; that for files is a little higher.
    constexpr std::size_t longestPlainPath = 200;
    const std::wstring text = path.wstring();
    if (text.size() < longestPlainPath || text.starts_with(LR"(\\?\)"))
        return path;
    std::wstring full(text.size() + MAX_PATH, L'\0');
    const DWORD length = GetFullPathNameW(text.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (length == 0 || length >= full.size())
        return path;
    full.resize(length);
    return full.starts_with(LR"(\\)") ? LR"(\\?\UNC\)" + full.substr(2) : LR"(\\?\)" + full;
}

std::wstring normal(std::wstring_view path)
{
    // Not every standard library knows that a path can start with a share.
    if (isShare(path))
        return L"\\\\" + normal(path.substr(2));
    return std::filesystem::path(path).make_preferred().lexically_normal().wstring();
}

bool isAbsolute(std::wstring_view path)
{
    return isShare(path) || std::filesystem::path(path).is_absolute();
}

bool equalIgnoringCase(std::wstring_view left, std::wstring_view right)
{
    return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

std::wstring toLower(std::wstring_view text)
{
    std::wstring result(text);
    CharLowerBuffW(result.data(), static_cast<DWORD>(result.size()));
    return result;
}

unsigned processNumber()
{
    return GetCurrentProcessId();
}

void keepRandomNumbersReady()
{
    // Wine loads their provider anew for each of them, in milliseconds, unless somebody holds it.
    static const HMODULE provider = LoadLibraryExW(L"rsaenh.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    static_cast<void>(provider);
}

} // namespace VBoxSim::Platform
