#pragma once

#include <vector>

#include "base/platform.h"

namespace VBoxSim {

/// An open file with positioned reads and writes. Failures throw Failure.
class File
{
public:
    static File openForReading(const std::filesystem::path& path);
    static File openForUpdate(const std::filesystem::path& path);
    /// A new file; one that is there gives way.
    static File create(const std::filesystem::path& path);

    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    std::uint64_t size() const;
    /// Reads exactly `length` bytes; a file that ends before is fileError.
    void readAt(std::uint64_t offset, void* buffer, std::size_t length) const;
    void writeAt(std::uint64_t offset, const void* buffer, std::size_t length);
    void flush();
    void close() noexcept;

private:
    friend class NewFile;
    File(const std::filesystem::path& path, Platform::Open how);

    Platform::FileHandle handle_;
    std::filesystem::path path_;
};

/// A file that comes into being whole or not at all: it is written under a temporary name beside the target, takes the
/// target's name on commit(), and is removed when it never gets there, even when the process dies.
class NewFile
{
public:
    /// fileError when the target is there already.
    explicit NewFile(std::filesystem::path target);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    File& file() { return file_; }
    const std::filesystem::path& temporaryPath() const { return temporary_; }
    /// Gives the file its name; never replaces another one.
    void commit();

private:
    static std::filesystem::path nameBeside(const std::filesystem::path& target);

    std::filesystem::path target_;
    std::filesystem::path temporary_;
    File file_;
    bool committed_ = false;
};

/// Files and folders that were made on the way to something bigger. All are removed again unless commit() is reached.
class CreatedFiles
{
public:
    CreatedFiles() = default;
    CreatedFiles(CreatedFiles&& other) noexcept;
    CreatedFiles& operator=(CreatedFiles&& other) noexcept;
    CreatedFiles(const CreatedFiles&) = delete;
    CreatedFiles& operator=(const CreatedFiles&) = delete;
    ~CreatedFiles() { rollBack(); }

    /// Makes the folder with its missing parents and remembers those that it made.
    void makeFolders(const std::filesystem::path& folder);
    /// Remembers a file that was made.
    void add(const std::filesystem::path& file) { paths_.push_back(file); }
    /// Takes over what another one remembers.
    void append(CreatedFiles&& other);
    /// Keeps everything.
    void commit() noexcept { paths_.clear(); }
    /// Removes everything, the newest first; folders only when they are empty.
    void rollBack() noexcept;

private:
    std::vector<std::filesystem::path> paths_;
};

} // namespace VBoxSim
