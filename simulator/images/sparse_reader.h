#pragma once

#include <algorithm>
#include <cstring>

#include "base/failure.h"
#include "images/image.h"

namespace VBoxSim {

/// Base of the formats that store only parts of a disk; a differencing image takes the rest from its parent.
class SparseReader : public ImageReader
{
protected:
    explicit SparseReader(std::shared_ptr<ImageReader> parent) : parent_(std::move(parent)) {}

    bool isDiff() const { return (info_.variant & ImageVariant::Diff) != 0; }

    /// The run at `offset`, at most `length` long, of a stretch that this image does not store.
    ImageRun absentRun(std::uint64_t offset, std::uint64_t length) const
    {
        if (!isDiff())
            return {length, true};
        requireParent();
        const std::uint64_t parentSize = parent_->info().logicalSize;
        if (offset >= parentSize)
            return {length, true};
        const ImageRun run = parent_->runAt(offset);
        return {std::min(run.length, length), run.zero};
    }

    /// Reads such a stretch.
    void readAbsent(std::uint64_t offset, std::uint8_t* buffer, std::size_t length) const
    {
        std::size_t inParent = 0;
        if (isDiff()) {
            requireParent();
            const std::uint64_t parentSize = parent_->info().logicalSize;
            if (offset < parentSize)
                inParent = static_cast<std::size_t>(std::min<std::uint64_t>(length, parentSize - offset));
            parent_->read(std::min(offset, parentSize), buffer, inParent);
        }
        std::memset(buffer + inParent, 0, length - inParent);
    }

private:
    void requireParent() const
    {
        if (!parent_)
            throw Failure(Result::notSupported, L"A differencing image can only be read together with its parent");
    }

    std::shared_ptr<ImageReader> parent_;
};

/// How much of an image is checked when it is opened.
enum class Check
{
    Header,
    Everything
};

} // namespace VBoxSim
