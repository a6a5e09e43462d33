#include "images/creation.h"

#include <algorithm>
#include <array>
#include <ctime>

#include "base/failure.h"
#include "base/files.h"
#include "base/text.h"
#include "images/endian.h"
#include "images/vdi.h"

namespace VBoxSim {

namespace {

using Sector = std::array<std::uint8_t, sectorSize>;

std::uint64_t sectorsFor(std::uint64_t bytes)
{
    return (bytes + sectorSize - 1) / sectorSize;
}

/// Makes the file at least that long; what was not written is zero.
void lengthen(File& file, std::uint64_t length)
{
    constexpr std::uint8_t nothing = 0;
    if (length > file.size())
        file.writeAt(length - 1, &nothing, 1);
}

// ---- VHD. Numbers are big-endian.

constexpr std::uint32_t vhdVersion = 0x00010000;
constexpr std::uint64_t vhdBlock = std::uint64_t(2) << 20;
constexpr std::uint64_t vhdHeaderAt = sectorSize;
constexpr std::uint64_t vhdMapAt = vhdHeaderAt + 1024;
constexpr std::uint64_t nowhere = UINT64_MAX;

void seal(std::uint8_t* bytes, std::size_t size, std::size_t checksumAt)
{
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < size; ++i)
        sum += bytes[i];
    storeBig(bytes + checksumAt, ~sum);
}

/// Cylinders, heads and sectors as the format's description works them out of the size: 2, 1 and 1 bytes.
std::uint32_t vhdGeometry(std::uint64_t logicalSize)
{
    const std::uint64_t total = std::min<std::uint64_t>(logicalSize / sectorSize, std::uint64_t(65535) * 16 * 255);
    std::uint64_t sectors = 17, heads = std::max<std::uint64_t>((total / sectors + 1023) / 1024, 4);
    if (total >= std::uint64_t(65535) * 16 * 63) {
        sectors = 255;
        heads = 16;
    } else if (heads > 16 || total / sectors >= heads * 1024) {
        heads = 16;
        sectors = total / 31 < heads * 1024 ? 31 : 63;
    }
    return static_cast<std::uint32_t>(total / sectors / heads << 16 | heads << 8 | sectors);
}

Sector vhdFooter(std::uint64_t logicalSize, bool fixed, const std::wstring& uuid)
{
    constexpr std::time_t year2000 = 946684800;
    Sector footer{};
    std::copy_n("conectix", 8, footer.begin());
    storeBig<std::uint32_t>(&footer[8], 2); // reserved, always set
    storeBig(&footer[12], vhdVersion);
    storeBig(&footer[16], fixed ? nowhere : vhdHeaderAt);
    storeBig(&footer[24], static_cast<std::uint32_t>(std::time(nullptr) - year2000));
    std::copy_n("vbox", 4, footer.begin() + 28);
    storeBig(&footer[32], vhdVersion);
    std::copy_n("Wi2k", 4, footer.begin() + 36);
    storeBig(&footer[40], logicalSize);
    storeBig(&footer[48], logicalSize);
    storeBig(&footer[56], vhdGeometry(logicalSize));
    storeBig<std::uint32_t>(&footer[60], fixed ? 2 : 3);
    const auto id = guidBytes(uuid);
    std::copy(id.begin(), id.end(), footer.begin() + 68);
    seal(footer.data(), footer.size(), 64);
    return footer;
}

void writeVhdMap(File& file, std::uint64_t blocks)
{
    std::array<std::uint8_t, 1024> header{};
    std::copy_n("cxsparse", 8, header.begin());
    storeBig(&header[8], nowhere);
    storeBig(&header[16], vhdMapAt);
    storeBig(&header[24], vhdVersion);
    storeBig(&header[28], static_cast<std::uint32_t>(blocks));
    storeBig(&header[32], static_cast<std::uint32_t>(vhdBlock));
    seal(header.data(), header.size(), 36);
    file.writeAt(vhdHeaderAt, header.data(), header.size());
    const std::vector<std::uint8_t> map(static_cast<std::size_t>(sectorsFor(4 * blocks) * sectorSize), 0xFF);
    file.writeAt(vhdMapAt, map.data(), map.size());
}

void createVhd(const std::filesystem::path& target, bool fixed, std::uint64_t logicalSize, const std::wstring& uuid)
{
    NewFile made(target);
    const Sector footer = vhdFooter(logicalSize, fixed, uuid);
    if (fixed) {
        lengthen(made.file(), logicalSize);
    } else {
        made.file().writeAt(0, footer.data(), footer.size()); // its copy
        writeVhdMap(made.file(), (logicalSize + vhdBlock - 1) / vhdBlock);
    }
    made.file().writeAt(made.file().size(), footer.data(), footer.size());
    made.commit();
}

// ---- VMDK. Numbers are little-endian, places are sectors.

constexpr std::uint64_t grain = 128;
constexpr std::uint64_t grainsPerTable = 512;
constexpr std::uint64_t descriptorSectors = 20;

std::string vmdkDescriptor(std::uint64_t logicalSize, const std::string& extent, const char* kind,
                           const std::wstring& uuid)
{
    const std::uint64_t sectors = logicalSize / sectorSize;
    const std::string nobody = "00000000-0000-0000-0000-000000000000";
    const std::string cylinders = std::to_string(std::min<std::uint64_t>(sectors / 16 / 63, 16383));
    return "# Disk DescriptorFile\nversion=1\nCID=" + toUtf8(newUuid()).substr(0, 8) +
           "\nparentCID=ffffffff\ncreateType=\"" + kind + "\"\n\n# Extent description\nRW " + std::to_string(sectors) +
           " " + extent + "\n\n# The Disk Data Base\n#DDB\n\nddb.virtualHWVersion = \"4\"\nddb.adapterType=\"ide\"\n" +
           "ddb.geometry.cylinders=\"" + cylinders + "\"\nddb.geometry.heads=\"16\"\nddb.geometry.sectors=\"63\"\n" +
           "ddb.uuid.image=\"" + toUtf8(uuid) + "\"\nddb.uuid.parent=\"" + nobody + "\"\nddb.uuid.modification=\"" +
           toUtf8(newUuid()) + "\"\nddb.uuid.parentmodification=\"" + nobody + "\"\n";
}

/// Header, descriptor, and a directory of empty tables.
void createSparseVmdk(const std::filesystem::path& target, std::uint64_t logicalSize, const std::wstring& uuid)
{
    const std::uint64_t sectors = logicalSize / sectorSize;
    const std::uint64_t tables = (sectors + grain * grainsPerTable - 1) / (grain * grainsPerTable);
    const std::uint64_t directoryAt = 1 + descriptorSectors;
    const std::uint64_t tablesAt = directoryAt + sectorsFor(4 * tables);
    const std::uint64_t tableSectors = grainsPerTable * 4 / sectorSize;
    const std::uint64_t dataAt = (tablesAt + tables * tableSectors + grain - 1) / grain * grain;
    Sector header{};
    storeLittle<std::uint32_t>(header.data(), 0x564D444B);
    storeLittle<std::uint32_t>(&header[4], 1);
    storeLittle<std::uint32_t>(&header[8], 1); // the newlines below tell a damaging transfer
    storeLittle(&header[12], sectors);
    storeLittle(&header[20], grain);
    storeLittle<std::uint64_t>(&header[28], 1);
    storeLittle(&header[36], descriptorSectors);
    storeLittle<std::uint32_t>(&header[44], grainsPerTable);
    storeLittle(&header[56], directoryAt);
    storeLittle(&header[64], dataAt);
    std::copy_n("\n \r\n", 4, header.begin() + 73);
    std::vector<std::uint8_t> directory(static_cast<std::size_t>(4 * tables));
    for (std::size_t i = 0; i < tables; ++i)
        storeLittle(&directory[4 * i], static_cast<std::uint32_t>(tablesAt + i * tableSectors));
    const std::string text = vmdkDescriptor(logicalSize, "SPARSE \"" + toUtf8(Files::nameOf(target.wstring())) + "\"",
                                            "monolithicSparse", uuid);
    NewFile made(target);
    made.file().writeAt(0, header.data(), header.size());
    made.file().writeAt(sectorSize, text.data(), text.size());
    made.file().writeAt(directoryAt * sectorSize, directory.data(), directory.size());
    lengthen(made.file(), dataAt * sectorSize);
    made.commit();
}

/// A descriptor, and the bytes of the disk in a file beside it.
void createFlatVmdk(const std::filesystem::path& target, std::uint64_t logicalSize, const std::wstring& uuid)
{
    const std::filesystem::path data = flatDataOf(target);
    const std::string text =
        vmdkDescriptor(logicalSize, "FLAT \"" + toUtf8(Files::nameOf(data.wstring())) + "\" 0", "monolithicFlat", uuid);
    CreatedFiles created;
    NewFile flat(data);
    NewFile made(target);
    lengthen(flat.file(), logicalSize);
    flat.commit();
    created.add(data);
    made.file().writeAt(0, text.data(), text.size());
    made.commit();
    created.commit();
}

} // namespace

std::filesystem::path flatDataOf(const std::filesystem::path& vmdk)
{
    return vmdk.parent_path() / (Files::stemOf(vmdk.wstring()) + L"-flat.vmdk");
}

void createImage(const std::filesystem::path& target, ImageFormat format, bool fixed, std::uint64_t logicalSize,
                 const std::wstring& uuid)
{
    if (logicalSize == 0 || logicalSize % sectorSize != 0 || logicalSize > maxImageSize)
        throw Failure(Result::invalidArgument, L"No disk can have " + std::to_wstring(logicalSize) + L" bytes");
    if (format == ImageFormat::Vhd)
        createVhd(target, fixed, logicalSize, uuid);
    else if (format == ImageFormat::Vmdk)
        fixed ? createFlatVmdk(target, logicalSize, uuid) : createSparseVmdk(target, logicalSize, uuid);
    else if (format == ImageFormat::Vdi)
        createVdi(target, logicalSize, {uuid, {}, {}}, fixed);
    else
        throw Failure(Result::notSupported, L"Raw images are not made");
}

} // namespace VBoxSim
