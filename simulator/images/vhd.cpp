#include "images/vhd.h"

#include <array>

#include "base/failure.h"
#include "base/text.h"
#include "images/endian.h"

namespace VBoxSim {

namespace {

constexpr std::size_t footerSize = 512;
constexpr std::size_t headerSize = 1024;
constexpr char footerCookie[] = "conectix";
constexpr char headerCookie[] = "cxsparse";

// Places in the footer.
constexpr std::size_t dataOffsetAt = 16;
constexpr std::size_t currentSizeAt = 48;
constexpr std::size_t typeAt = 60;
constexpr std::size_t footerChecksumAt = 64;
constexpr std::size_t uuidAt = 68;
// Places in the header.
constexpr std::size_t mapOffsetAt = 16;
constexpr std::size_t blockCountAt = 28;
constexpr std::size_t blockSizeAt = 32;
constexpr std::size_t headerChecksumAt = 36;
constexpr std::size_t parentUuidAt = 40;

constexpr std::uint32_t typeFixed = 2;
constexpr std::uint32_t typeDynamic = 3;
constexpr std::uint32_t typeDiff = 4;
constexpr std::uint32_t blockUnallocated = 0xFFFFFFFF;
constexpr std::uint64_t largestBlock = std::uint64_t(64) << 20;

template <std::size_t Size>
bool startsWith(const std::uint8_t* bytes, const char (&cookie)[Size])
{
    return std::memcmp(bytes, cookie, Size - 1) == 0;
}

/// Whether the bit is set; the highest of a byte is its first.
bool hasBit(const std::vector<std::uint8_t>& bitmap, std::uint64_t bit)
{
    return (bitmap[static_cast<std::size_t>(bit / 8)] & (0x80 >> bit % 8)) != 0;
}

template <std::size_t Size>
void seal(std::array<std::uint8_t, Size>& bytes, std::size_t checksumAt)
{
    storeBig<std::uint32_t>(&bytes[checksumAt], 0);
    std::uint32_t sum = 0;
    for (const std::uint8_t byte : bytes)
        sum += byte;
    storeBig(&bytes[checksumAt], ~sum);
}

} // namespace

bool isVhd(const ByteSource& source)
{
    std::array<std::uint8_t, sizeof footerCookie - 1> start;
    if (source.size() < footerSize)
        return false;
    source.readAt(source.size() - footerSize, start.data(), start.size());
    return startsWith(start.data(), footerCookie);
}

VhdReader::VhdReader(std::shared_ptr<ByteSource> source, std::wstring name, std::shared_ptr<ImageReader> parent,
                     Check check)
    : SparseReader(std::move(parent)), source_(std::move(source)), name_(std::move(name))
{
    readFooter();
    if (check == Check::Everything && !isFixed())
        readMap();
}

void VhdReader::damaged(const wchar_t* what) const
{
    throw Failure(Result::fileError, L"The VHD image '" + name_ + L"' is damaged: " + what);
}

void VhdReader::readFooter()
{
    std::array<std::uint8_t, footerSize> footer;
    source_->readAt(source_->size() - footerSize, footer.data(), footer.size());
    const auto type = loadBig<std::uint32_t>(&footer[typeAt]);
    if (type != typeFixed && type != typeDynamic && type != typeDiff)
        throw Failure(Result::notSupported, L"The VHD image '" + name_ + L"' has an unknown type");
    info_.format = ImageFormat::Vhd;
    info_.variant = type == typeFixed  ? ImageVariant::Fixed
                    : type == typeDiff ? ImageVariant::Diff
                                       : ImageVariant::Standard;
    info_.logicalSize = loadBig<std::uint64_t>(&footer[currentSizeAt]);
    info_.physicalSize = source_->size();
    info_.uuid = uuidOfGuid(&footer[uuidAt]);
    if (info_.logicalSize == 0 || info_.logicalSize % sectorSize != 0)
        damaged(L"the size of the disk makes no sense");
    if (info_.logicalSize > maxImageSize)
        throw Failure(Result::notSupported, L"The disk in '" + name_ + L"' is too large");
    if (!isFixed())
        readHeader(loadBig<std::uint64_t>(&footer[dataOffsetAt]));
    else if (info_.logicalSize > source_->size() - footerSize)
        damaged(L"the file is shorter than its disk");
}

void VhdReader::readHeader(std::uint64_t place)
{
    std::array<std::uint8_t, headerSize> header;
    if (place > source_->size() || source_->size() - place < header.size())
        damaged(L"its header lies outside");
    source_->readAt(place, header.data(), header.size());
    if (!startsWith(header.data(), headerCookie))
        damaged(L"its header is missing");
    mapOffset_ = loadBig<std::uint64_t>(&header[mapOffsetAt]);
    blockCount_ = loadBig<std::uint32_t>(&header[blockCountAt]);
    blockSize_ = loadBig<std::uint32_t>(&header[blockSizeAt]);
    info_.parentUuid = uuidOfGuid(&header[parentUuidAt]);
    if (blockSize_ == 0 || blockSize_ % sectorSize != 0 || blockSize_ > largestBlock)
        damaged(L"the block size makes no sense");
    if (blockCount_ < (info_.logicalSize + blockSize_ - 1) / blockSize_)
        damaged(L"it has too few blocks for its disk");
    if (mapOffset_ > source_->size() || 4 * blockCount_ > source_->size() - mapOffset_)
        damaged(L"its block map lies outside");
    bitmapSize_ = ((blockSize_ / sectorSize + 7) / 8 + sectorSize - 1) / sectorSize * sectorSize;
    bitmap_.resize(static_cast<std::size_t>(bitmapSize_));
}

void VhdReader::readMap()
{
    map_.resize(static_cast<std::size_t>(blockCount_));
    source_->readAt(mapOffset_, map_.data(), map_.size() * sizeof map_[0]);
    std::vector<std::uint32_t> taken;
    for (std::uint32_t& entry : map_) {
        entry = loadBig<std::uint32_t>(reinterpret_cast<const std::uint8_t*>(&entry));
        if (entry == blockUnallocated)
            continue;
        const std::uint64_t start = std::uint64_t(entry) * sectorSize;
        if (start > source_->size() || bitmapSize_ + blockSize_ > source_->size() - start)
            damaged(L"a block lies beyond the end of the file");
        taken.push_back(entry);
    }
    // Two blocks at one place would let a small file stand for an endless disk.
    std::sort(taken.begin(), taken.end());
    for (std::size_t i = 1; i < taken.size(); ++i)
        if ((taken[i] - taken[i - 1]) * sectorSize < bitmapSize_ + blockSize_)
            damaged(L"two blocks share one place");
}

bool VhdReader::isStored(std::uint64_t sector)
{
    const std::uint64_t block = sector * sectorSize / blockSize_;
    const std::uint32_t entry = map_[static_cast<std::size_t>(block)];
    if (entry == blockUnallocated)
        return false;
    if (bitmapBlock_ != block) {
        bitmapBlock_ = UINT64_MAX;
        source_->readAt(std::uint64_t(entry) * sectorSize, bitmap_.data(), bitmap_.size());
        bitmapBlock_ = block;
    }
    return hasBit(bitmap_, sector % (blockSize_ / sectorSize));
}

ImageRun VhdReader::runAt(std::uint64_t offset)
{
    if (isFixed())
        return {info_.logicalSize - offset, false};
    const std::uint64_t end = std::min((offset / blockSize_ + 1) * blockSize_, info_.logicalSize);
    if (map_[static_cast<std::size_t>(offset / blockSize_)] == blockUnallocated)
        return absentRun(offset, end - offset);
    const bool stored = isStored(offset / sectorSize);
    std::uint64_t place = (offset / sectorSize + 1) * sectorSize;
    while (place < end && isStored(place / sectorSize) == stored)
        place += sectorSize;
    const std::uint64_t length = std::min(place, end) - offset;
    return stored ? ImageRun{length, false} : absentRun(offset, length);
}

void VhdReader::readChecked(std::uint64_t offset, std::uint8_t* buffer, std::size_t length)
{
    if (isFixed()) {
        source_->readAt(offset, buffer, length);
        return;
    }
    while (length > 0) {
        const bool stored = isStored(offset / sectorSize);
        const std::uint64_t blockEnd = (offset / blockSize_ + 1) * blockSize_;
        std::uint64_t end = std::min(offset + length, blockEnd);
        std::uint64_t place = (offset / sectorSize + 1) * sectorSize;
        while (place < end && isStored(place / sectorSize) == stored)
            place += sectorSize;
        const auto piece = static_cast<std::size_t>(std::min(place, end) - offset);
        const std::uint64_t block = std::uint64_t(map_[static_cast<std::size_t>(offset / blockSize_)]) * sectorSize;
        if (stored)
            source_->readAt(block + bitmapSize_ + offset % blockSize_, buffer, piece);
        else
            readAbsent(offset, buffer, piece);
        offset += piece;
        buffer += piece;
        length -= piece;
    }
}

void setVhdUuid(File& file, const ByteSource& source, const std::wstring& uuid, const std::wstring* parentUuid)
{
    std::array<std::uint8_t, footerSize> footer;
    const std::uint64_t end = source.size() - footerSize;
    source.readAt(end, footer.data(), footer.size());
    const auto bytes = guidBytes(uuid);
    std::copy(bytes.begin(), bytes.end(), &footer[uuidAt]);
    seal(footer, footerChecksumAt);
    file.writeAt(end, footer.data(), footer.size());
    if (loadBig<std::uint32_t>(&footer[typeAt]) == typeFixed)
        return;
    file.writeAt(0, footer.data(), footer.size()); // its copy
    if (!parentUuid)
        return;
    std::array<std::uint8_t, headerSize> header;
    const auto place = loadBig<std::uint64_t>(&footer[dataOffsetAt]);
    source.readAt(place, header.data(), header.size());
    const auto parent = guidBytes(*parentUuid);
    std::copy(parent.begin(), parent.end(), &header[parentUuidAt]);
    seal(header, headerChecksumAt);
    file.writeAt(place, header.data(), header.size());
}

} // namespace VBoxSim
