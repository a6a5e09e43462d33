#include "files.h"

#include <array>
#include <fstream>

#include "com.h"

namespace Probe {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t sector = 512;

/// Bytes of which pieces are filled in, little-endian.
class Bytes
{
public:
    explicit Bytes(std::size_t size) : bytes_(size, '\0') {}

    template <class Number>
    void put(std::size_t at, Number number)
    {
        for (std::size_t i = 0; i < sizeof(number); ++i)
            bytes_[at + i] = static_cast<char>(static_cast<std::uint64_t>(number) >> (8 * i));
    }
    void text(std::size_t at, const std::string& text) { bytes_.replace(at, text.size(), text); }
    void guid(std::size_t at, const GUID& id)
    {
        bytes_.replace(at, sizeof(id), reinterpret_cast<const char*>(&id), sizeof(id));
    }
    const std::string& str() const { return bytes_; }

private:
    std::string bytes_;
};

GUID newGuid()
{
    GUID id{};
    must(CoCreateGuid(&id));
    return id;
}

std::string idText(const GUID& id)
{
    wchar_t text[40];
    StringFromGUID2(id, text, 40);
    std::string plain = utf8(std::wstring_view(text).substr(1, 36));
    for (char& c : plain)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return plain;
}

std::string padded(std::string bytes)
{
    bytes.resize((bytes.size() + sector - 1) / sector * sector, '\0');
    return bytes;
}

constexpr std::uint64_t vmdkSectors = 8192;
constexpr std::uint64_t grainSectors = 128;
constexpr std::uint64_t descriptorSectors = 20;

std::string vmdkHeader(std::uint64_t directory)
{
    Bytes header(sector);
    header.text(0, "KDMV");
    header.put<std::uint32_t>(4, 3);       // version of the stream-optimised form
    header.put<std::uint32_t>(8, 0x30001); // line end test, compressed grains, markers
    header.put<std::uint64_t>(12, vmdkSectors);
    header.put<std::uint64_t>(20, grainSectors);
    header.put<std::uint64_t>(28, 1);
    header.put<std::uint64_t>(36, descriptorSectors);
    header.put<std::uint32_t>(44, 512); // entries of a grain table
    header.put<std::uint64_t>(56, directory);
    header.put<std::uint64_t>(64, grainSectors); // where the grains begin
    header.text(73, "\n \r\n");
    header.put<std::uint16_t>(77, 1); // deflate
    return header.str();
}

std::string vmdkMarker(std::uint64_t sectors, std::uint32_t type)
{
    Bytes marker(sector);
    marker.put<std::uint64_t>(0, sectors);
    marker.put<std::uint32_t>(12, type);
    return marker.str();
}

std::string item(std::initializer_list<std::pair<const char*, std::string>> fields)
{
    std::string text = "      <Item>\n";
    for (const auto& [name, value] : fields)
        text += std::string("        <rasd:") + name + ">" + value + "</rasd:" + name + ">\n";
    return text + "      </Item>\n";
}

} // namespace

void writeText(const fs::path& file, const std::string& text)
{
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    stream.close();
    if (!stream)
        throw std::runtime_error("cannot write " + utf8(file.wstring()));
}

std::string readText(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

std::string writeVdi(const fs::path& file, std::uint64_t bytes)
{
    constexpr std::uint32_t block = 1 << 20;
    const auto blocks = static_cast<std::uint32_t>(bytes / block);
    const GUID id = newGuid();
    Bytes image(2 * sector + sector);
    image.text(0, "<<< Oracle VM VirtualBox Disk Image >>>\n");
    image.put<std::uint32_t>(0x40, 0xBEDA107F);
    image.put<std::uint32_t>(0x44, 0x00010001);
    image.put<std::uint32_t>(0x48, 0x190);
    image.put<std::uint32_t>(0x4C, 1);           // dynamic
    image.put<std::uint32_t>(0x154, 2 * sector); // block map
    image.put<std::uint32_t>(0x158, 3 * sector); // data
    image.put<std::uint32_t>(0x168, sector);
    image.put<std::uint64_t>(0x170, bytes);
    image.put<std::uint32_t>(0x178, block);
    image.put<std::uint32_t>(0x180, blocks);
    image.guid(0x188, id);
    image.guid(0x198, newGuid());
    image.put<std::uint32_t>(0x1D4, sector);
    for (std::size_t i = 0; i < blocks; ++i)
        image.put<std::uint32_t>(2 * sector + 4 * i, 0xFFFFFFFF); // not allocated
    writeText(file, image.str());
    return idText(id);
}

void writeVmdk(const fs::path& file)
{
    constexpr std::uint64_t atEnd = ~std::uint64_t(0);
    constexpr std::uint32_t directoryMarker = 2, footerMarker = 3;
    std::string disk = vmdkHeader(atEnd);
    disk += "# Disk DescriptorFile\nversion=1\nCID=7a3c51e1\nparentCID=ffffffff\ncreateType=\"streamOptimized\"\n\n"
            "# Extent description\nRW " +
            std::to_string(vmdkSectors) +
            " SPARSE \"disk.vmdk\"\n\n# The Disk Data Base\n#DDB\n\nddb.virtualHWVersion = \"4\"\n"
            "ddb.adapterType = \"ide\"\nddb.geometry.cylinders = \"8\"\nddb.geometry.heads = \"16\"\n"
            "ddb.geometry.sectors = \"63\"\nddb.uuid.image=\"" +
            idText(newGuid()) + "\"\n";
    disk.resize(grainSectors * sector, '\0'); // no grain: every block reads as zero
    disk += vmdkMarker(1, directoryMarker);
    const std::uint64_t directory = disk.size() / sector;
    disk += std::string(sector, '\0');
    disk += vmdkMarker(1, footerMarker) + vmdkHeader(directory) + std::string(sector, '\0');
    writeText(file, disk);
}

void writeIso(const fs::path& file)
{
    constexpr std::size_t isoSector = 2048;
    Bytes image(20 * isoSector);
    image.put<std::uint8_t>(16 * isoSector, 1);
    image.text(16 * isoSector + 1, "CD001\x01");
    image.put<std::uint8_t>(17 * isoSector, 255);
    image.text(17 * isoSector + 1, "CD001\x01");
    writeText(file, image.str());
}

std::vector<fs::path> imagesIn(const fs::path& folder)
{
    std::vector<fs::path> images;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder, error))
        for (const wchar_t* suffix : {L".vdi", L".vmdk", L".iso"})
            if (entry.path().extension() == suffix)
                images.push_back(entry.path());
    return images;
}

unsigned long deviceTypeOf(const fs::path& image)
{
    return image.extension() == L".iso" ? DeviceType::DVD : DeviceType::HardDisk;
}

std::string ovfText(const ApplianceText& appliance)
{
    std::string references, disks, diskItem;
    if (!appliance.disk.empty()) {
        references = "    <File ovf:href=\"" + appliance.disk + "\" ovf:id=\"file1\" ovf:size=\"" +
                     std::to_string(appliance.diskBytes) + "\"/>\n";
        disks = "    <Disk ovf:capacity=\"" + std::to_string(vmdkSectors * sector) +
                "\" ovf:diskId=\"vmdisk1\" ovf:fileRef=\"file1\" ovf:format=\"http://www.vmware.com/interfaces/"
                "specifications/vmdk.html#streamOptimized\"/>\n";
        diskItem = item({{"AddressOnParent", "0"},
                         {"ElementName", "disk1"},
                         {"HostResource", "ovf:/disk/vmdisk1"},
                         {"InstanceID", "4"},
                         {"Parent", "3"},
                         {"ResourceType", "17"}});
    }
    return R"(<?xml version="1.0"?>
<Envelope ovf:version="1.0" xml:lang="en-US" xmlns="http://schemas.dmtf.org/ovf/envelope/1"
    xmlns:ovf="http://schemas.dmtf.org/ovf/envelope/1"
    xmlns:rasd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_ResourceAllocationSettingData"
    xmlns:vssd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_VirtualSystemSettingData">
  <References>
)" + references +
           "  </References>\n  <DiskSection>\n    <Info>Disks</Info>\n" + disks +
           "  </DiskSection>\n  <VirtualSystem ovf:id=\"" + appliance.name + R"(">
    <Info>A machine</Info>
    <OperatingSystemSection ovf:id="1">
      <Info>The guest's system</Info>
    </OperatingSystemSection>
    <VirtualHardwareSection>
      <Info>Hardware</Info>
      <System>
        <vssd:ElementName>Virtual Hardware Family</vssd:ElementName>
        <vssd:InstanceID>0</vssd:InstanceID>
        <vssd:VirtualSystemIdentifier>)" +
           appliance.name + R"(</vssd:VirtualSystemIdentifier>
        <vssd:VirtualSystemType>virtualbox-2.2</vssd:VirtualSystemType>
      </System>
)" + item({{"ElementName", "2 CPUs"}, {"InstanceID", "1"}, {"ResourceType", "3"}, {"VirtualQuantity", "2"}}) +
           item({{"AllocationUnits", appliance.memoryUnits},
                 {"ElementName", "memory"},
                 {"InstanceID", "2"},
                 {"ResourceType", "4"},
                 {"VirtualQuantity", "96"}}) +
           item({{"Address", "0"},
                 {"ElementName", "SATA"},
                 {"InstanceID", "3"},
                 {"ResourceSubType", "AHCI"},
                 {"ResourceType", "20"}}) +
           diskItem + "    </VirtualHardwareSection>\n  </VirtualSystem>\n</Envelope>\n";
}

void writeTar(const fs::path& file, const std::vector<Member>& members)
{
    const auto octal = [](std::uint64_t value, int digits) {
        std::string text;
        for (int shift = 3 * (digits - 1); shift >= 0; shift -= 3)
            text += static_cast<char>('0' + ((value >> shift) & 7));
        return text;
    };
    std::string archive;
    for (const Member& member : members) {
        Bytes header(sector);
        header.text(0, member.name);
        header.text(100, octal(0644, 7));
        header.text(108, octal(0, 7));
        header.text(116, octal(0, 7));
        header.text(124, octal(member.content.size(), 11));
        header.text(136, octal(0, 11));
        header.text(148, "        "); // the sum is made with blanks in its place
        header.text(156, "0");
        header.text(257, std::string("ustar\0", 6) + "00");
        std::uint64_t sum = 0;
        for (char byte : header.str())
            sum += static_cast<unsigned char>(byte);
        header.text(148, octal(sum, 6) + std::string("\0 ", 2));
        archive += header.str() + padded(member.content);
    }
    writeText(file, archive + std::string(2 * sector, '\0'));
}

} // namespace Probe
