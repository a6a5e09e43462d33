#include "images/byte_source.h"

#include <algorithm>
#include <string>

#include "base/failure.h"

namespace VBoxSim {

namespace {

void checkRange(std::uint64_t offset, std::uint64_t length, std::uint64_t size)
{
    if (offset > size || length > size - offset)
        throw Failure(Result::fileError, L"Data beyond the end of the file are referred to");
}

} // namespace

FileSource::FileSource(const std::filesystem::path& path) : file_(File::openForReading(path)), size_(file_.size()) {}

void FileSource::readAt(std::uint64_t offset, void* buffer, std::size_t length) const
{
    checkRange(offset, length, size_);
    file_.readAt(offset, buffer, length);
}

WindowSource::WindowSource(std::shared_ptr<const ByteSource> whole, std::uint64_t offset, std::uint64_t size)
    : whole_(std::move(whole)), offset_(offset), size_(size)
{
    checkRange(offset, size, whole_->size());
}

void WindowSource::readAt(std::uint64_t offset, void* buffer, std::size_t length) const
{
    checkRange(offset, length, size_);
    whole_->readAt(offset_ + offset, buffer, length);
}

const std::uint8_t* ReadAhead::view(std::uint64_t offset, std::size_t length)
{
    checkRange(offset, length, size());
    if (offset < start_ || offset + length > start_ + filled_) {
        const std::uint64_t rest = size() - offset;
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(rest, std::max(piece_, length)));
        if (buffer_.size() < wanted)
            buffer_.resize(wanted);
        filled_ = 0;
        source_->readAt(offset, buffer_.data(), wanted);
        start_ = offset;
        filled_ = wanted;
    }
    return buffer_.data() + (offset - start_);
}

std::string readAll(const ByteSource& source, std::uint64_t limit, const std::wstring& name)
{
    if (source.size() > limit)
        throw Failure(Result::fileError, L"'" + name + L"' is too large");
    std::string text(static_cast<std::size_t>(source.size()), '\0');
    source.readAt(0, text.data(), text.size());
    return text;
}

} // namespace VBoxSim
