#include "images/vmdk_sparse.h"

#include <algorithm>
#include <array>

#include "images/endian.h"

namespace VBoxSim {

namespace {

constexpr std::size_t headerSize = 512;
constexpr std::uint32_t magic = 0x564D444B;
constexpr std::uint32_t flagNewlineTest = 0x1;
constexpr std::uint32_t flagZeroGrains = 0x4;
constexpr std::uint32_t flagCompressed = 0x10000;
constexpr std::uint32_t flagMarkers = 0x20000;
constexpr std::uint32_t tableEntries = 512;
constexpr std::uint64_t tableSize = tableEntries * sizeof(std::uint32_t);
constexpr std::uint64_t smallestGrain = 8 * sectorSize;
constexpr std::uint64_t largestGrain = 2048 * sectorSize;
constexpr std::uint64_t directoryAtEnd = UINT64_MAX;
constexpr std::size_t grainMarkerSize = 12;
constexpr std::size_t grainsPiece = std::size_t(256) << 10;
constexpr std::uint32_t absentEntry = 0;
constexpr std::uint32_t zeroEntry = 1;

[[noreturn]] void throwDamaged(const std::wstring& name, const wchar_t* what)
{
    throw Failure(Result::fileError, L"The VMDK image '" + name + L"' is damaged: " + what);
}

/// Fields of the header, as they stand in it.
struct RawHeader
{
    std::array<std::uint8_t, headerSize> bytes{};

    std::uint16_t u16(std::size_t place) const { return loadLittle<std::uint16_t>(&bytes[place]); }
    std::uint32_t u32(std::size_t place) const { return loadLittle<std::uint32_t>(&bytes[place]); }
    std::uint64_t u64(std::size_t place) const { return loadLittle<std::uint64_t>(&bytes[place]); }
};

RawHeader readRaw(const ByteSource& source, std::uint64_t offset, const std::wstring& name)
{
    RawHeader raw;
    if (source.size() < headerSize || offset > source.size() - headerSize)
        throwDamaged(name, L"it ends inside the header");
    source.readAt(offset, raw.bytes.data(), raw.bytes.size());
    if (raw.u32(0) != magic)
        throwDamaged(name, L"the header is missing");
    return raw;
}

/// Sectors to bytes; more than any image has is damage.
std::uint64_t bytes(std::uint64_t sectors, const std::wstring& name, const wchar_t* what)
{
    if (sectors > maxImageSize / sectorSize)
        throwDamaged(name, what);
    return sectors * sectorSize;
}

/// Where the grain directory is, in sectors.
std::uint64_t directoryOf(const RawHeader& raw, const ByteSource& source, const std::wstring& name)
{
    const std::uint64_t directory = raw.u64(56);
    if (directory != directoryAtEnd)
        return directory;
    // The footer tells, a copy of the header in front of the end-of-stream marker.
    if (source.size() < 3 * sectorSize)
        throwDamaged(name, L"it ends inside the header");
    const RawHeader footer = readRaw(source, source.size() - 2 * sectorSize, name);
    if (footer.u64(12) != raw.u64(12) || footer.u64(20) != raw.u64(20))
        throwDamaged(name, L"header and footer disagree");
    return footer.u64(56);
}

void checkLayout(const VmdkSparseHeader& header, std::uint64_t fileSize, const std::wstring& name)
{
    if (header.capacity == 0)
        throwDamaged(name, L"the size of the disk makes no sense");
    if (header.grainSize < smallestGrain || header.grainSize > largestGrain ||
        (header.grainSize & (header.grainSize - 1)) != 0)
        throwDamaged(name, L"the grain size makes no sense");
    if (header.descriptorSize > largestVmdkDescriptor || header.descriptorOffset + header.descriptorSize > fileSize)
        throwDamaged(name, L"the descriptor lies outside");
}

} // namespace

bool VmdkSparseHeader::hasZeroGrains() const
{
    return (flags & flagZeroGrains) != 0;
}

bool isVmdkSparse(const ByteSource& source)
{
    std::array<std::uint8_t, 4> start;
    if (source.size() < start.size())
        return false;
    source.readAt(0, start.data(), start.size());
    return loadLittle<std::uint32_t>(start.data()) == magic;
}

VmdkSparseHeader readVmdkSparseHeader(const ByteSource& source, const std::wstring& name)
{
    const RawHeader raw = readRaw(source, 0, name);
    const std::uint64_t directory = directoryOf(raw, source, name);
    const std::uint32_t version = raw.u32(4);
    if (version < 1 || version > 3)
        throw Failure(Result::notSupported, L"The VMDK image '" + name + L"' has an unknown version");

    VmdkSparseHeader header;
    header.flags = raw.u32(8);
    constexpr std::array<std::uint8_t, 4> newlines = {0x0A, 0x20, 0x0D, 0x0A};
    if ((header.flags & flagNewlineTest) && !std::equal(newlines.begin(), newlines.end(), &raw.bytes[73]))
        throwDamaged(name, L"a transfer in text mode has changed it");

    const std::uint16_t compression = raw.u16(77);
    header.compressed = (header.flags & flagCompressed) != 0;
    if (compression > 1 || (header.compressed && (compression != 1 || !(header.flags & flagMarkers))))
        throw Failure(Result::notSupported, L"The VMDK image '" + name + L"' has an unknown compression");

    if (raw.u64(12) > maxImageSize / sectorSize)
        throw Failure(Result::notSupported, L"The disk in '" + name + L"' is too large");
    header.capacity = bytes(raw.u64(12), name, L"the size of the disk makes no sense");
    header.grainSize = bytes(raw.u64(20), name, L"the grain size makes no sense");
    header.descriptorOffset = bytes(raw.u64(28), name, L"the descriptor lies outside");
    header.descriptorSize = bytes(raw.u64(36), name, L"the descriptor lies outside");
    header.directoryOffset = bytes(directory, name, L"the grain directory lies outside");
    if (raw.u32(44) != tableEntries)
        throwDamaged(name, L"the size of the grain tables makes no sense");
    checkLayout(header, source.size(), name);

    const std::uint64_t tableSpan = header.grainSize * tableEntries;
    header.directoryEntries = (header.capacity + tableSpan - 1) / tableSpan;
    if (header.directoryOffset == 0 ||
        header.directoryOffset + header.directoryEntries * sizeof(std::uint32_t) > source.size())
        throwDamaged(name, L"the grain directory lies outside");
    return header;
}

Inflater::Inflater()
{
    if (inflateInit(&stream_) != Z_OK)
        throw std::bad_alloc();
}

Inflater::~Inflater()
{
    inflateEnd(&stream_);
}

bool Inflater::inflate(const std::uint8_t* data, std::size_t length, std::uint8_t* out, std::size_t least,
                       std::size_t room)
{
    inflateReset(&stream_);
    stream_.next_in = const_cast<Bytef*>(data); // zlib does not write to it
    stream_.avail_in = static_cast<uInt>(length);
    stream_.next_out = out;
    stream_.avail_out = static_cast<uInt>(room);
    return ::inflate(&stream_, Z_FINISH) == Z_STREAM_END && room - stream_.avail_out >= least;
}

VmdkSparseData::VmdkSparseData(const std::shared_ptr<ByteSource>& source, std::wstring name, Check check)
    : name_(std::move(name)),
      header_(readVmdkSparseHeader(*source, name_)),
      grains_(source, grainsPiece),
      tables_(source, tableSize),
      grain_(static_cast<std::size_t>(header_.grainSize))
{
    if (check == Check::Header)
        return;
    readDirectory();
    checkTables();
}

void VmdkSparseData::damaged(const wchar_t* what) const
{
    throwDamaged(name_, what);
}

void VmdkSparseData::readDirectory()
{
    directory_.resize(static_cast<std::size_t>(header_.directoryEntries));
    tables_.readAt(header_.directoryOffset, directory_.data(), directory_.size() * sizeof directory_[0]);
    for (std::uint32_t& entry : directory_)
        entry = loadLittle<std::uint32_t>(reinterpret_cast<const std::uint8_t*>(&entry));

    std::vector<std::uint32_t> sorted;
    for (const std::uint32_t entry : directory_) {
        if (entry == 0)
            continue;
        if (entry * sectorSize + tableSize > tables_.size())
            damaged(L"a grain table lies beyond the end of the file");
        sorted.push_back(entry);
    }
    std::sort(sorted.begin(), sorted.end());
    if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end())
        damaged(L"two parts share one grain table");
}

void VmdkSparseData::checkTables()
{
    // A grain takes at least a sector when it is compressed, else its size: more grains than fit into the file share
    // their places, and a small file would stand for an endless disk.
    const std::uint64_t leastStored = header_.compressed ? sectorSize : header_.grainSize;
    const std::uint64_t mostGrains = grains_.size() / leastStored;
    std::uint64_t count = 0;
    for (const std::uint32_t table : directory_) {
        if (table == 0)
            continue;
        const std::uint8_t* entries = tables_.view(table * sectorSize, tableSize);
        for (std::size_t i = 0; i < tableEntries; ++i) {
            const std::uint64_t entry = loadLittle<std::uint32_t>(entries + 4 * i);
            if (entry == absentEntry || (entry == zeroEntry && header_.hasZeroGrains()))
                continue;
            if (entry * sectorSize < header_.descriptorOffset + header_.descriptorSize)
                damaged(L"a grain lies in the header");
            if (entry * sectorSize + (header_.compressed ? grainMarkerSize : sectorSize) > grains_.size())
                damaged(L"a grain lies beyond the end of the file");
            ++count;
        }
    }
    if (count > mostGrains)
        damaged(L"grains share their places");
}

std::uint64_t VmdkSparseData::grainEntry(std::uint64_t grain)
{
    const std::uint32_t table = directory_[static_cast<std::size_t>(grain / tableEntries)];
    if (table == 0)
        return absentEntry;
    const std::uint8_t* entries = tables_.view(table * sectorSize, tableSize);
    return loadLittle<std::uint32_t>(entries + 4 * (grain % tableEntries));
}

VmdkExtentData::Run VmdkSparseData::runAt(std::uint64_t offset, std::uint64_t limit)
{
    const std::uint64_t tableSpan = header_.grainSize * tableEntries;
    const auto kindOf = [&](std::uint64_t grain) {
        const std::uint64_t entry = grainEntry(grain);
        if (entry == absentEntry)
            return Run::Absent;
        return entry == zeroEntry && header_.hasZeroGrains() ? Run::Zero : Run::Stored;
    };
    const auto kind = kindOf(offset / header_.grainSize);
    // A stored run may end at any time; this keeps the look-ahead short.
    const std::uint64_t end =
        std::min({offset + limit, header_.capacity, kind == Run::Stored ? offset + tableSpan : UINT64_MAX});
    std::uint64_t place = offset;
    while (place < end && kindOf(place / header_.grainSize) == kind) {
        const bool noTable = directory_[static_cast<std::size_t>(place / tableSpan)] == 0;
        const std::uint64_t step = noTable ? tableSpan : header_.grainSize;
        place = (place / step + 1) * step;
    }
    return {std::min(place, end) - offset, kind};
}

std::size_t VmdkSparseData::contiguousLength(std::uint64_t offset, std::size_t length)
{
    const std::uint64_t grainSectors = header_.grainSize / sectorSize;
    std::uint64_t grain = offset / header_.grainSize;
    std::uint64_t known = header_.grainSize - offset % header_.grainSize;
    while (known < length && grainEntry(grain + 1) == grainEntry(grain) + grainSectors) {
        known += header_.grainSize;
        ++grain;
    }
    return static_cast<std::size_t>(std::min<std::uint64_t>(known, length));
}

void VmdkSparseData::read(std::uint64_t offset, std::uint8_t* buffer, std::size_t length)
{
    while (length > 0) {
        const std::uint64_t grain = offset / header_.grainSize;
        const std::uint64_t inGrain = offset % header_.grainSize;
        std::size_t piece = 0;
        if (header_.compressed) {
            piece = static_cast<std::size_t>(std::min<std::uint64_t>(length, header_.grainSize - inGrain));
            readCompressed(grain, inGrain, buffer, piece);
        } else {
            piece = contiguousLength(offset, length);
            grains_.readAt(grainEntry(grain) * sectorSize + inGrain, buffer, piece);
        }
        offset += piece;
        buffer += piece;
        length -= piece;
    }
}

void VmdkSparseData::readCompressed(std::uint64_t grain, std::uint64_t inGrain, std::uint8_t* buffer,
                                    std::size_t length)
{
    if (length == header_.grainSize) {
        inflateGrain(grain, buffer);
        return;
    }
    if (grainNumber_ != grain) {
        grainNumber_ = UINT64_MAX;
        inflateGrain(grain, grain_.data());
        grainNumber_ = grain;
    }
    std::memcpy(buffer, grain_.data() + inGrain, length);
}

void VmdkSparseData::inflateGrain(std::uint64_t grain, std::uint8_t* buffer)
{
    // Data that do not get smaller grow by a few bytes.
    constexpr std::uint64_t mostGrowth = 1024;
    const std::uint64_t place = grainEntry(grain) * sectorSize;
    const std::uint8_t* marker = grains_.view(place, grainMarkerSize);
    const auto sector = loadLittle<std::uint64_t>(marker);
    const auto size = loadLittle<std::uint32_t>(marker + 8);
    if (sector != grain * header_.grainSize / sectorSize)
        damaged(L"a grain stands at a wrong place");
    if (size == 0 || size > header_.grainSize + header_.grainSize / 16 + mostGrowth)
        damaged(L"a grain has a wrong size");
    const std::uint64_t rest = header_.capacity - grain * header_.grainSize;
    const auto least = static_cast<std::size_t>(std::min(rest, header_.grainSize));
    const auto room = static_cast<std::size_t>(header_.grainSize);
    if (!inflater_.inflate(grains_.view(place + grainMarkerSize, size), size, buffer, least, room))
        damaged(L"a grain cannot be decompressed");
}

} // namespace VBoxSim
