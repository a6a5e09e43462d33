#include "image_writers.h"

#include <zlib.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <stdexcept>

namespace ImageWriters {

namespace {

constexpr std::size_t sector = 512;

void put(Bytes& bytes, std::size_t place, std::uint64_t value, std::size_t length)
{
    for (std::size_t i = 0; i < length; ++i)
        bytes.at(place + i) = static_cast<std::uint8_t>(value >> (8 * i));
}

std::uint64_t get(const Bytes& bytes, std::size_t place, std::size_t length)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < length; ++i)
        value |= std::uint64_t(bytes.at(place + i)) << (8 * i);
    return value;
}

void pad(Bytes& bytes, std::size_t unit)
{
    bytes.resize((bytes.size() + unit - 1) / unit * unit);
}

Bytes piece(const Bytes& content, std::size_t start, std::size_t length)
{
    Bytes result(length);
    if (start < content.size())
        std::copy_n(content.begin() + static_cast<std::ptrdiff_t>(start), std::min(length, content.size() - start),
                    result.begin());
    return result;
}

bool isZero(const Bytes& bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

bool isStored(const Bytes& data, std::size_t number, const std::vector<std::size_t>& wanted)
{
    if (wanted.empty())
        return !isZero(data);
    return std::find(wanted.begin(), wanted.end(), number) != wanted.end();
}

Bytes sparseHeader(const Bytes& content, const VmdkOptions& options, std::uint64_t directorySector)
{
    Bytes header(sector);
    put32(header, 0, 0x564D444B);
    put32(header, 4, options.compressed ? 3 : options.zeroGrains ? 2 : 1);
    put32(header, 8, 1 | (options.zeroGrains ? 4 : 0) | (options.compressed ? 0x30000 : 0));
    put64(header, 12, content.size() / sector);
    put64(header, 20, options.grainSectors);
    put64(header, 28, 1);
    put64(header, 36, 20);
    put32(header, 44, 512);
    put64(header, 56, directorySector);
    put64(header, 64, 128);
    putText(header, 73, "\n \r\n");
    put16(header, 77, options.compressed ? 1 : 0);
    return header;
}

/// Marker of a streamOptimized file that stands in front of tables, directory, footer and end.
Bytes marker(std::uint64_t sectors, std::uint32_t type)
{
    Bytes bytes(sector);
    put64(bytes, 0, sectors);
    put32(bytes, 12, type);
    return bytes;
}

void append(Bytes& bytes, const Bytes& more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
}

} // namespace

const Bytes sampleGuid = {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66,
                          0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
const char sampleUuidText[] = "00112233-4455-6677-8899-aabbccddeeff";

void put16(Bytes& bytes, std::size_t place, std::uint64_t value)
{
    put(bytes, place, value, 2);
}
void put32(Bytes& bytes, std::size_t place, std::uint64_t value)
{
    put(bytes, place, value, 4);
}
void put64(Bytes& bytes, std::size_t place, std::uint64_t value)
{
    put(bytes, place, value, 8);
}
std::uint64_t get64(const Bytes& bytes, std::size_t place)
{
    return get(bytes, place, 8);
}
std::uint32_t get32(const Bytes& bytes, std::size_t place)
{
    return static_cast<std::uint32_t>(get(bytes, place, 4));
}

void putText(Bytes& bytes, std::size_t place, const std::string& text)
{
    if (place + text.size() > bytes.size())
        throw std::out_of_range("putText");
    std::copy(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(place));
}

Bytes makeContent(std::size_t size, unsigned seed)
{
    constexpr std::size_t chunk = std::size_t(48) << 10;
    std::mt19937 random(seed);
    Bytes content(size);
    for (std::size_t start = 0; start < size; start += chunk) {
        const std::size_t end = std::min(start + chunk, size);
        switch (random() % 4) {
        case 0:
            for (std::size_t i = start; i < end; ++i)
                content[i] = static_cast<std::uint8_t>(random());
            break;
        case 1:
            for (std::size_t i = start; i < end; ++i)
                content[i] = static_cast<std::uint8_t>("structured content "[i % 19]);
            break;
        default:
            break;
        }
    }
    return content;
}

void writeFile(const std::filesystem::path& file, const Bytes& bytes)
{
    std::ofstream stream(file, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!stream.flush())
        throw std::runtime_error("cannot write " + file.string());
}

Bytes readFile(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error("cannot read " + file.string());
    Bytes bytes(static_cast<std::size_t>(std::filesystem::file_size(file)));
    stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

Bytes makeVdi(const Bytes& content, const VdiOptions& options)
{
    constexpr std::size_t block = 1 << 20;
    const std::size_t blocks = (content.size() + block - 1) / block;
    const std::size_t mapPlace = 0x200;
    const std::size_t dataPlace = (mapPlace + 4 * blocks + 511) / 512 * 512;

    Bytes image(dataPlace);
    std::uint32_t allocated = 0;
    for (std::size_t i = blocks; i-- > 0;) {
        const Bytes data = piece(content, i * block, block);
        std::uint32_t entry = options.markZeroBlocks ? 0xFFFFFFFE : 0xFFFFFFFF;
        if (options.type == 2 || isStored(data, i, options.blocks)) {
            entry = allocated++;
            append(image, data);
        }
        put32(image, mapPlace + 4 * i, entry);
    }
    putText(image, 0, "<<< Oracle VM VirtualBox Disk Image >>>\n");
    put32(image, 0x40, 0xBEDA107F);
    put32(image, 0x44, 0x00010001);
    put32(image, 0x48, options.oldHeader ? 0x180 : 0x190);
    put32(image, 0x4C, options.type);
    put32(image, 0x154, mapPlace);
    put32(image, 0x158, dataPlace);
    put32(image, 0x168, 512);
    put64(image, 0x170, content.size());
    put32(image, 0x178, block);
    put32(image, 0x180, blocks);
    put32(image, 0x184, allocated);
    std::copy(sampleGuid.begin(), sampleGuid.end(), image.begin() + 0x188);
    std::copy(options.parentGuid.begin(), options.parentGuid.end(), image.begin() + 0x1A8);
    return image;
}

Bytes deflated(const Bytes& bytes)
{
    uLongf length = compressBound(static_cast<uLong>(bytes.size()));
    Bytes result(length);
    if (compress(result.data(), &length, bytes.data(), static_cast<uLong>(bytes.size())) != Z_OK)
        throw std::runtime_error("compress");
    result.resize(length);
    return result;
}

Bytes gzipped(const Bytes& bytes)
{
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::runtime_error("deflateInit2");
    Bytes result(deflateBound(&stream, static_cast<uLong>(bytes.size())) + 100);
    stream.next_in = const_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = result.data();
    stream.avail_out = static_cast<uInt>(result.size());
    const int end = deflate(&stream, Z_FINISH);
    result.resize(stream.total_out);
    deflateEnd(&stream);
    if (end != Z_STREAM_END)
        throw std::runtime_error("deflate");
    return result;
}

namespace {

void putBig(Bytes& bytes, std::size_t place, std::uint64_t value, std::size_t length)
{
    for (std::size_t i = 0; i < length; ++i)
        bytes.at(place + i) = static_cast<std::uint8_t>(value >> (8 * (length - 1 - i)));
}

void putChecksum(Bytes& bytes, std::size_t place)
{
    std::uint32_t sum = 0;
    for (const std::uint8_t byte : bytes)
        sum += byte;
    putBig(bytes, place, ~sum & 0xFFFFFFFF, 4);
}

Bytes vhdFooter(std::uint64_t size, std::uint32_t type)
{
    Bytes footer(sector);
    putText(footer, 0, "conectix");
    putBig(footer, 8, 2, 4);
    putBig(footer, 12, 0x00010000, 4);
    putBig(footer, 16, type == 2 ? UINT64_MAX : 512, 8);
    putText(footer, 28, "vbox");
    putText(footer, 36, "Wi2k");
    putBig(footer, 40, size, 8);
    putBig(footer, 48, size, 8);
    putBig(footer, 60, type, 4);
    std::copy(sampleGuid.begin(), sampleGuid.end(), footer.begin() + 68);
    putChecksum(footer, 64);
    return footer;
}

} // namespace

Bytes makeFixedVhd(const Bytes& content)
{
    Bytes image = content;
    const Bytes footer = vhdFooter(content.size(), 2);
    image.insert(image.end(), footer.begin(), footer.end());
    return image;
}

Bytes makeVhd(const Bytes& content, const VhdOptions& options)
{
    const std::size_t blocks = (content.size() + options.blockSize - 1) / options.blockSize;
    Bytes footer = vhdFooter(content.size(), options.diff ? 4 : 3);
    Bytes header(1024);
    putText(header, 0, "cxsparse");
    putBig(header, 8, UINT64_MAX, 8);
    putBig(header, 16, 1536, 8);
    putBig(header, 24, 0x00010000, 4);
    putBig(header, 28, blocks, 4);
    putBig(header, 32, options.blockSize, 4);
    std::copy(options.parentGuid.begin(), options.parentGuid.end(), header.begin() + 40);
    putChecksum(header, 36);
    if (options.wrongChecksums)
        header[36] = footer[64] ^= 0x55;

    Bytes image = footer;
    image.insert(image.end(), header.begin(), header.end());
    image.resize(image.size() + blocks * 4, 0xFF);
    pad(image, sector);
    for (std::size_t block = 0; block < blocks; ++block) {
        Bytes bitmap((options.blockSize / sector + 7) / 8);
        pad(bitmap, sector);
        Bytes data(options.blockSize);
        bool any = false;
        for (std::size_t i = 0; i < options.blockSize / sector; ++i) {
            const std::size_t start = block * options.blockSize + i * sector;
            if (start >= content.size())
                break;
            const auto from = content.begin() + static_cast<std::ptrdiff_t>(start);
            if (std::all_of(from, from + sector, [](std::uint8_t byte) { return byte == 0; }))
                continue;
            std::copy(from, from + sector, data.begin() + static_cast<std::ptrdiff_t>(i * sector));
            bitmap[i / 8] = static_cast<std::uint8_t>(bitmap[i / 8] | 0x80 >> i % 8);
            any = true;
        }
        if (!any)
            continue;
        putBig(image, 1536 + 4 * block, image.size() / sector, 4);
        image.insert(image.end(), bitmap.begin(), bitmap.end());
        image.insert(image.end(), data.begin(), data.end());
    }
    image.insert(image.end(), footer.begin(), footer.end());
    return image;
}

std::string vmdkDescriptor(const std::string& createType, const std::string& extentLines, const std::string& parentCid,
                           const std::string& uuidText)
{
    std::string text = "# Disk DescriptorFile\nversion=1\nCID=12345678\nparentCID=" + parentCid + "\ncreateType=\"" +
                       createType + "\"\n\n# Extent description\n" + extentLines +
                       "\n# The disk Data Base \n#DDB\n\nddb.adapterType=\"ide\"\n";
    if (!uuidText.empty())
        text += "ddb.uuid.image=\"" + uuidText + "\"\n";
    return text;
}

Bytes makeVmdk(const Bytes& content, const VmdkOptions& options)
{
    const std::size_t grain = options.grainSectors * sector;
    const std::size_t grains = (content.size() + grain - 1) / grain;
    const std::size_t tables = (grains + 511) / 512;

    Bytes image(21 * sector);
    putText(image, sector,
            vmdkDescriptor(options.compressed ? "streamOptimized" : "monolithicSparse",
                           "RW " + std::to_string(content.size() / sector) + " SPARSE \"disk.vmdk\"\n",
                           options.parentCid, options.uuidText));
    Bytes directory(tables * 4);
    std::size_t directoryPlace = 0;
    if (!options.compressed) {
        // The tables have their room in front of the grains.
        directoryPlace = image.size();
        append(image, Bytes(directory.size()));
        pad(image, sector);
        for (std::size_t i = 0; i < tables; ++i)
            put32(directory, 4 * i, image.size() / sector + 4 * i);
        image.resize(image.size() + tables * 2048);
        pad(image, grain);
    } else {
        image.resize(128 * sector);
    }
    for (std::size_t t = 0; t < tables; ++t) {
        Bytes table(2048);
        for (std::size_t g = t * 512; g < std::min((t + 1) * 512, grains); ++g) {
            const Bytes data = piece(content, g * grain, grain);
            const std::size_t entry = 4 * (g % 512);
            if (!isStored(data, g, options.grains)) {
                put32(table, entry, options.zeroGrains ? 1 : 0);
                continue;
            }
            put32(table, entry, image.size() / sector);
            if (options.compressed) {
                const Bytes compressed = deflated(data);
                Bytes head(12);
                put64(head, 0, g * options.grainSectors);
                put32(head, 8, compressed.size());
                append(image, head);
                append(image, compressed);
                pad(image, sector);
            } else {
                append(image, data);
            }
        }
        if (options.compressed) {
            if (isZero(table))
                continue;
            append(image, marker(4, 1));
            put32(directory, 4 * t, image.size() / sector);
            append(image, table);
        } else {
            std::copy(table.begin(), table.end(),
                      image.begin() + static_cast<std::ptrdiff_t>(get32(directory, 4 * t) * sector));
        }
    }
    if (options.compressed) {
        append(image, marker((directory.size() + sector - 1) / sector, 2));
        directoryPlace = image.size();
        append(image, directory);
        pad(image, sector);
        append(image, marker(1, 3));
        append(image, sparseHeader(content, options, directoryPlace / sector));
        append(image, marker(0, 0));
    } else {
        std::copy(directory.begin(), directory.end(), image.begin() + static_cast<std::ptrdiff_t>(directoryPlace));
    }
    const Bytes header = sparseHeader(content, options, options.compressed ? UINT64_MAX : directoryPlace / sector);
    std::copy(header.begin(), header.end(), image.begin());
    return image;
}

} // namespace ImageWriters
