#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

/// All that differs from system to system. The stand-in is for Windows; what reads foreign bytes is also built for the
/// machine that it is developed on, where sanitizers and a fuzzer are at hand. Failures throw Failure with the result
/// that VirtualBox gives for the system's own error.
namespace VBoxSim::Platform {

using FileHandle = std::intptr_t;
constexpr FileHandle noFile = -1;

enum class Open
{
    Read,      ///< others may read, rename and delete it meanwhile
    Update,    ///< read and write an existing file; others may read
    Replace,   ///< write a new file in place of what is there
    Temporary, ///< read and write a new file that goes away with its handle until it is kept
};

FileHandle open(const std::filesystem::path& path, Open how);
void close(FileHandle file) noexcept;
std::uint64_t size(FileHandle file, const std::filesystem::path& path);
/// The number of bytes read; 0 at the end.
std::size_t read(FileHandle file, std::uint64_t offset, void* buffer, std::size_t length,
                 const std::filesystem::path& path);
std::size_t write(FileHandle file, std::uint64_t offset, const void* buffer, std::size_t length,
                  const std::filesystem::path& path);
/// To the disk itself.
void flush(FileHandle file, const std::filesystem::path& path);
/// A temporary file becomes a lasting one.
void keep(FileHandle file);

/// Moves a file or folder; whether what has the new name already gives way.
void move(const std::filesystem::path& from, const std::filesystem::path& to, bool replace);

/// Copies a file over what is there.
void copy(const std::filesystem::path& from, const std::filesystem::path& to);

/// The path for the system's file calls: paths too long for them get the prefix that lifts the limit.
std::filesystem::path unlimited(const std::filesystem::path& path);
/// With the system's separators, without "." and "..".
std::wstring normal(std::wstring_view path);
/// Whether the path starts at a drive or a share.
bool isAbsolute(std::wstring_view path);

bool equalIgnoringCase(std::wstring_view left, std::wstring_view right);
std::wstring toLower(std::wstring_view text);

unsigned processNumber();

/// Makes random numbers cheap from then on, also those that libraries take for themselves.
void keepRandomNumbersReady();

} // namespace VBoxSim::Platform
