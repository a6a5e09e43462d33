#pragma once

#include <memory>
#include <vector>

#include "base/file.h"

namespace VBoxSim {

/// Bytes that can be read at any place: a file, or a piece of one.
class ByteSource
{
public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t size() const = 0;
    /// Reads exactly `length` bytes; beyond the end is fileError.
    virtual void readAt(std::uint64_t offset, void* buffer, std::size_t length) const = 0;
};

class FileSource : public ByteSource
{
public:
    explicit FileSource(const std::filesystem::path& path);
    std::uint64_t size() const override { return size_; }
    void readAt(std::uint64_t offset, void* buffer, std::size_t length) const override;

private:
    File file_;
    std::uint64_t size_;
};

/// A file that somebody else holds open.
class OpenFileSource : public ByteSource
{
public:
    explicit OpenFileSource(const File& file) : file_(file) {}
    std::uint64_t size() const override { return file_.size(); }
    void readAt(std::uint64_t offset, void* buffer, std::size_t length) const override
    {
        file_.readAt(offset, buffer, length);
    }

private:
    const File& file_;
};

/// A piece of another source, which holds it whole.
class WindowSource : public ByteSource
{
public:
    WindowSource(std::shared_ptr<const ByteSource> whole, std::uint64_t offset, std::uint64_t size);
    std::uint64_t size() const override { return size_; }
    void readAt(std::uint64_t offset, void* buffer, std::size_t length) const override;

private:
    std::shared_ptr<const ByteSource> whole_;
    std::uint64_t offset_;
    std::uint64_t size_;
};

/// Reads ahead in pieces of a given size, for small reads that mostly go forward.
class ReadAhead
{
public:
    ReadAhead(std::shared_ptr<const ByteSource> source, std::size_t piece) : source_(std::move(source)), piece_(piece)
    {}

    std::uint64_t size() const { return source_->size(); }
    /// Pointer to `length` bytes from `offset` on, good until the next call.
    const std::uint8_t* view(std::uint64_t offset, std::size_t length);
    /// Reads past the buffer.
    void readAt(std::uint64_t offset, void* buffer, std::size_t length) const
    {
        source_->readAt(offset, buffer, length);
    }

private:
    std::shared_ptr<const ByteSource> source_;
    std::size_t piece_;
    std::vector<std::uint8_t> buffer_;
    std::uint64_t start_ = 0;
    std::size_t filled_ = 0;
};

/// Everything in a source, which may not be longer than `limit` (fileError).
std::string readAll(const ByteSource& source, std::uint64_t limit, const std::wstring& name);

} // namespace VBoxSim
