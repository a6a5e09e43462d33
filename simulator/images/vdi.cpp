#include "images/vdi.h"

#include <array>

#include "base/failure.h"
#include "base/text.h"
#include "images/endian.h"

namespace VBoxSim {

namespace {

// Places in the header.
constexpr std::size_t signatureAt = 0x40;
constexpr std::size_t versionAt = 0x44;
constexpr std::size_t headerSizeAt = 0x48;
constexpr std::size_t typeAt = 0x4C;
constexpr std::size_t mapOffsetAt = 0x154;
constexpr std::size_t dataOffsetAt = 0x158;
constexpr std::size_t geometryAt = 0x15C;
constexpr std::size_t diskSizeAt = 0x170;
constexpr std::size_t blockSizeAt = 0x178;
constexpr std::size_t extraSizeAt = 0x17C;
constexpr std::size_t blockCountAt = 0x180;
constexpr std::size_t allocatedAt = 0x184;
constexpr std::size_t uuidAt = 0x188;
constexpr std::size_t modificationUuidAt = 0x198;
constexpr std::size_t parentUuidAt = 0x1A8;
constexpr std::size_t parentModificationUuidAt = 0x1B8;
constexpr std::size_t logicalGeometryAt = 0x1C8;
constexpr std::size_t headerEnd = 0x1D8;
constexpr std::size_t headerEndWithoutGeometry = logicalGeometryAt;

constexpr std::uint32_t signature = 0xBEDA107F;
constexpr std::uint32_t version = 0x00010001;
constexpr std::uint32_t typeDynamic = 1;
constexpr std::uint32_t typeFixed = 2;
constexpr std::uint32_t typeDiff = 4;
constexpr std::uint32_t blockUnallocated = 0xFFFFFFFF;
constexpr std::uint32_t blockZero = 0xFFFFFFFE;
constexpr std::uint64_t largestBlock = std::uint64_t(64) << 20;

constexpr char banner[] = "<<< Oracle VM VirtualBox Disk Image >>>\n";

void storeUuid(std::uint8_t* place, const std::wstring& uuid)
{
    const auto bytes = guidBytes(uuid);
    std::memcpy(place, bytes.data(), bytes.size());
}

std::uint64_t roundUp(std::uint64_t number, std::uint64_t unit)
{
    return (number + unit - 1) / unit * unit;
}

bool isPowerOfTwo(std::uint64_t number)
{
    return number != 0 && (number & (number - 1)) == 0;
}

} // namespace

bool isVdi(const ByteSource& source)
{
    std::array<std::uint8_t, 4> bytes;
    if (source.size() < signatureAt + bytes.size())
        return false;
    source.readAt(signatureAt, bytes.data(), bytes.size());
    return loadLittle<std::uint32_t>(bytes.data()) == signature;
}

VdiReader::VdiReader(std::shared_ptr<ByteSource> source, std::wstring name, std::shared_ptr<ImageReader> parent,
                     Check check)
    : SparseReader(std::move(parent)), source_(std::move(source)), name_(std::move(name))
{
    readHeader();
    if (check == Check::Everything)
        readMap();
}

void VdiReader::damaged(const wchar_t* what) const
{
    throw Failure(Result::fileError, L"The VDI image '" + name_ + L"' is damaged: " + what);
}

void VdiReader::readHeader()
{
    std::array<std::uint8_t, headerEnd> header{};
    if (source_->size() < header.size())
        damaged(L"it ends inside the header");
    source_->readAt(0, header.data(), header.size());
    const auto number = [&](std::size_t place) { return loadLittle<std::uint32_t>(&header[place]); };

    if (number(versionAt) != version)
        throw Failure(Result::notSupported, L"The VDI image '" + name_ + L"' has an unknown version");
    // The size counts from its own field on; images without the last geometry are older.
    if (number(headerSizeAt) < headerEndWithoutGeometry - headerSizeAt)
        damaged(L"the header is too short");

    const std::uint32_t type = number(typeAt);
    if (type != typeDynamic && type != typeFixed && type != typeDiff)
        throw Failure(Result::notSupported, L"The VDI image '" + name_ + L"' has an unknown type");
    if (number(extraSizeAt) != 0)
        throw Failure(Result::notSupported, L"The VDI image '" + name_ + L"' has extra data in its blocks");

    info_.format = ImageFormat::Vdi;
    info_.variant = type == typeFixed  ? ImageVariant::Fixed
                    : type == typeDiff ? ImageVariant::Diff
                                       : ImageVariant::Standard;
    info_.logicalSize = loadLittle<std::uint64_t>(&header[diskSizeAt]);
    info_.physicalSize = source_->size();
    info_.uuid = uuidOfGuid(&header[uuidAt]);
    info_.modificationUuid = uuidOfGuid(&header[modificationUuidAt]);
    info_.parentUuid = uuidOfGuid(&header[parentUuidAt]);
    mapOffset_ = number(mapOffsetAt);
    dataOffset_ = number(dataOffsetAt);
    blockSize_ = number(blockSizeAt);
    blockCount_ = number(blockCountAt);
    checkLayout(number(allocatedAt));
}

void VdiReader::checkLayout(std::uint64_t allocated) const
{
    if (info_.logicalSize == 0 || info_.logicalSize % sectorSize != 0)
        damaged(L"the size of the disk makes no sense");
    if (info_.logicalSize > maxImageSize)
        throw Failure(Result::notSupported, L"The disk in '" + name_ + L"' is too large");
    if (!isPowerOfTwo(blockSize_) || blockSize_ < VdiWriter::blockSize || blockSize_ > largestBlock)
        damaged(L"the block size makes no sense");
    if (blockCount_ != roundUp(info_.logicalSize, blockSize_) / blockSize_)
        damaged(L"the number of blocks does not fit the size of the disk");
    if (mapOffset_ < headerEndWithoutGeometry || dataOffset_ < mapOffset_ + 4 * blockCount_)
        damaged(L"its parts overlap");
    if (allocated > blockCount_ || mapOffset_ + 4 * blockCount_ > source_->size() ||
        (allocated > 0 && dataOffset_ + allocated * blockSize_ > source_->size()))
        damaged(L"the file is shorter than its header says");
    if (info_.variant == ImageVariant::Diff && info_.parentUuid.empty())
        damaged(L"it is a differencing image without a parent");
}

void VdiReader::readMap()
{
    map_.resize(static_cast<std::size_t>(blockCount_));
    source_->readAt(mapOffset_, map_.data(), map_.size() * sizeof map_[0]);
    const std::uint64_t capacity = source_->size() > dataOffset_ ? (source_->size() - dataOffset_) / blockSize_ : 0;
    // Two blocks at one place would let a small file stand for an endless disk.
    std::vector<bool> taken(static_cast<std::size_t>(std::min(capacity, blockCount_)));
    for (std::uint32_t& entry : map_) {
        entry = loadLittle<std::uint32_t>(reinterpret_cast<const std::uint8_t*>(&entry));
        if (entry == blockUnallocated || entry == blockZero)
            continue;
        if (entry >= taken.size())
            damaged(L"a block lies beyond the end of the file");
        if (taken[entry])
            damaged(L"two blocks share one place");
        taken[entry] = true;
    }
}

bool VdiReader::isStored(std::uint64_t block) const
{
    return map_[static_cast<std::size_t>(block)] < blockZero;
}

ImageRun VdiReader::runAt(std::uint64_t offset)
{
    const std::uint64_t block = offset / blockSize_;
    const std::uint64_t blockEnd = std::min((block + 1) * blockSize_, info_.logicalSize);
    if (isStored(block))
        return {blockEnd - offset, false};
    if (isDiff() && map_[static_cast<std::size_t>(block)] == blockUnallocated)
        return absentRun(offset, blockEnd - offset);
    std::uint64_t end = block + 1;
    while (end < blockCount_ && !isStored(end) && !isDiff())
        ++end;
    return {std::min(end * blockSize_, info_.logicalSize) - offset, true};
}

void VdiReader::readChecked(std::uint64_t offset, std::uint8_t* buffer, std::size_t length)
{
    while (length > 0) {
        const auto block = static_cast<std::size_t>(offset / blockSize_);
        const std::uint64_t inBlock = offset % blockSize_;
        const auto piece = static_cast<std::size_t>(std::min<std::uint64_t>(length, blockSize_ - inBlock));
        if (isStored(block))
            source_->readAt(dataOffset_ + map_[block] * blockSize_ + inBlock, buffer, piece);
        else if (map_[block] == blockZero)
            std::memset(buffer, 0, piece);
        else
            readAbsent(offset, buffer, piece);
        offset += piece;
        buffer += piece;
        length -= piece;
    }
}

VdiWriter::VdiWriter(const std::filesystem::path& target, std::uint64_t logicalSize, VdiIdentity identity)
    : file_(target), logicalSize_(logicalSize), identity_(std::move(identity))
{
    if (logicalSize == 0 || logicalSize % sectorSize != 0 || logicalSize > maxImageSize)
        throw Failure(Result::invalidArgument, L"No disk can have " + std::to_wstring(logicalSize) + L" bytes");
    if (identity_.uuid.empty())
        identity_.uuid = newUuid();
    map_.assign(static_cast<std::size_t>(roundUp(logicalSize, blockSize) / blockSize), blockUnallocated);
    dataOffset_ = blockSize + roundUp(4 * map_.size(), blockSize);
}

void VdiWriter::writeBlock(std::uint64_t block, const std::uint8_t* data)
{
    file_.file().writeAt(dataOffset_ + allocated_ * blockSize, data, static_cast<std::size_t>(blockSize));
    map_[static_cast<std::size_t>(block)] = allocated_++;
}

void VdiWriter::takeAll()
{
    fixed_ = true;
    for (std::uint32_t& entry : map_)
        entry = allocated_++;
    constexpr std::uint8_t nothing = 0;
    file_.file().writeAt(dataOffset_ + allocated_ * blockSize - 1, &nothing, 1);
}

void VdiWriter::commit()
{
    const std::vector<std::uint8_t> head = header();
    file_.file().writeAt(0, head.data(), head.size());
    // Padded to the data, so that a file without any data has its full length.
    std::vector<std::uint8_t> map(static_cast<std::size_t>(dataOffset_ - blockSize));
    for (std::size_t i = 0; i < map_.size(); ++i)
        storeLittle(&map[4 * i], map_[i]);
    file_.file().writeAt(blockSize, map.data(), map.size());
    file_.commit();
}

std::vector<std::uint8_t> VdiWriter::header() const
{
    std::vector<std::uint8_t> header(sectorSize);
    const auto number = [&](std::size_t place, std::uint64_t value) {
        storeLittle(&header[place], static_cast<std::uint32_t>(value));
    };
    constexpr std::uint32_t heads = 16;
    constexpr std::uint32_t sectors = 63;
    constexpr std::uint64_t mostCylinders = 16383;

    std::memcpy(header.data(), banner, sizeof banner - 1);
    number(signatureAt, signature);
    number(versionAt, version);
    number(headerSizeAt, 0x190);
    number(typeAt, fixed_ ? typeFixed : identity_.parentUuid.empty() ? typeDynamic : typeDiff);
    number(mapOffsetAt, blockSize);
    number(dataOffsetAt, dataOffset_);
    number(geometryAt, std::min(logicalSize_ / sectorSize / heads / sectors, mostCylinders));
    number(geometryAt + 4, heads);
    number(geometryAt + 8, sectors);
    number(geometryAt + 12, sectorSize);
    storeLittle(&header[diskSizeAt], logicalSize_);
    number(blockSizeAt, blockSize);
    number(blockCountAt, map_.size());
    number(allocatedAt, allocated_);
    storeUuid(&header[uuidAt], identity_.uuid);
    storeUuid(&header[modificationUuidAt], newUuid());
    storeUuid(&header[parentUuidAt], identity_.parentUuid);
    storeUuid(&header[parentModificationUuidAt], identity_.parentModificationUuid);
    number(logicalGeometryAt + 12, sectorSize);
    return header;
}

void setVdiUuid(File& file, const std::wstring& uuid, const std::wstring* parentUuid)
{
    std::array<std::uint8_t, 16> bytes;
    storeUuid(bytes.data(), uuid);
    file.writeAt(uuidAt, bytes.data(), bytes.size());
    if (!parentUuid)
        return;
    storeUuid(bytes.data(), *parentUuid);
    file.writeAt(parentUuidAt, bytes.data(), bytes.size());
}

} // namespace VBoxSim
