#include <Poco/Unicode.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "base/failure.h"
#include "base/platform.h"
#include "base/text.h"

namespace VBoxSim::Platform {

namespace {

ResultCode resultOf(int code)
{
    switch (code) {
    case ENOENT:
        return Result::objectNotFound;
    case ENOTDIR:
    case ENAMETOOLONG:
        return Result::iprtError;
    case EACCES:
        return Result::accessDenied;
    default:
        return Result::fileError;
    }
}

[[noreturn]] void fail(const wchar_t* what, const std::filesystem::path& path)
{
    const int code = errno;
    // Windows tells a missing folder from a missing file.
    const bool noFolder = code == ENOENT && !std::filesystem::exists(path.parent_path());
    throw Failure(noFolder ? Result::iprtError : resultOf(code), std::wstring(what) + L" '" + path.wstring() + L"': " +
                                                                     fromUtf8(std::generic_category().message(code)));
}

int native(FileHandle file)
{
    return static_cast<int>(file);
}

} // namespace

FileHandle open(const std::filesystem::path& path, Open how)
{
    constexpr int flags[] = {O_RDONLY, O_RDWR, O_WRONLY | O_CREAT | O_TRUNC, O_RDWR | O_CREAT | O_EXCL};
    const int file = ::open(path.c_str(), flags[static_cast<std::size_t>(how)] | O_CLOEXEC, 0666);
    if (file < 0)
        fail(how == Open::Read ? L"Cannot open" : L"Cannot open for writing", path);
    return file;
}

void close(FileHandle file) noexcept
{
    ::close(native(file));
}

std::uint64_t size(FileHandle file, const std::filesystem::path& path)
{
    struct stat status
    {};
    if (fstat(native(file), &status) != 0)
        fail(L"Cannot tell the size of", path);
    return static_cast<std::uint64_t>(status.st_size);
}

std::size_t read(FileHandle file, std::uint64_t offset, void* buffer, std::size_t length,
                 const std::filesystem::path& path)
{
    const ssize_t count = pread(native(file), buffer, length, static_cast<off_t>(offset));
    if (count < 0)
        fail(L"Cannot read", path);
    return static_cast<std::size_t>(count);
}

std::size_t write(FileHandle file, std::uint64_t offset, const void* buffer, std::size_t length,
                  const std::filesystem::path& path)
{
    const ssize_t count = pwrite(native(file), buffer, length, static_cast<off_t>(offset));
    if (count <= 0)
        fail(L"Cannot write", path);
    return static_cast<std::size_t>(count);
}

void flush(FileHandle file, const std::filesystem::path& path)
{
    if (fsync(native(file)) != 0)
        fail(L"Cannot write", path);
}

void keep(FileHandle) {} // no file here goes away by itself

void move(const std::filesystem::path& from, const std::filesystem::path& to, bool replace)
{
    if (!replace && std::filesystem::exists(to)) {
        errno = EEXIST;
        fail(L"Cannot create", to);
    }
    if (rename(from.c_str(), to.c_str()) != 0)
        fail(L"Cannot create", to);
}

void copy(const std::filesystem::path& from, const std::filesystem::path& to)
{
    std::error_code reason;
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing, reason);
    if (reason) {
        errno = reason.value();
        fail(L"Cannot create", to);
    }
}

std::filesystem::path unlimited(const std::filesystem::path& path)
{
    return path;
}

std::wstring normal(std::wstring_view path)
{
    std::wstring slashed(path);
    std::replace(slashed.begin(), slashed.end(), L'\\', L'/');
    return std::filesystem::path(slashed).lexically_normal().wstring();
}

bool isAbsolute(std::wstring_view path)
{
    return std::filesystem::path(path).is_absolute();
}

bool equalIgnoringCase(std::wstring_view left, std::wstring_view right)
{
    return toLower(left) == toLower(right);
}

std::wstring toLower(std::wstring_view text)
{
    std::wstring result(text);
    for (wchar_t& c : result)
        c = static_cast<wchar_t>(Poco::Unicode::toLower(static_cast<int>(c)));
    return result;
}

unsigned processNumber()
{
    return static_cast<unsigned>(getpid());
}

void keepRandomNumbersReady() {} // they are

} // namespace VBoxSim::Platform
