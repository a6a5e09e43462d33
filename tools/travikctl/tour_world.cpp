#include "tour_world.h"

#include <windows.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>

#include "failure.h"
#include "text.h"

namespace {

std::filesystem::path vboxSimProgram()
{
    std::wstring own(32768, L'\0');
    own.resize(GetModuleFileNameW(nullptr, own.data(), static_cast<DWORD>(own.size())));
    return std::filesystem::path(own).parent_path() / "vboxsim.exe";
}

/// One argument as the C runtime of the other side reads it back; ours hold no quotes and end in no backslash.
std::wstring quoted(const std::wstring& argument)
{
    return L"\"" + argument + L"\"";
}

std::string readAll(HANDLE pipe)
{
    std::string text;
    std::array<char, 4096> buffer;
    DWORD size = 0;
    while (ReadFile(pipe, buffer.data(), static_cast<DWORD>(buffer.size()), &size, nullptr) && size > 0)
        text.append(buffer.data(), size);
    return text;
}

} // namespace

std::string runVBoxSim(const std::vector<std::wstring>& arguments)
{
    const std::filesystem::path program = vboxSimProgram();
    if (!std::filesystem::exists(program))
        throw CommandError(ExitCode::NotFound,
                           "the stand-in's control program vboxsim.exe does not lie beside travikctl.exe",
                           "The tour runs against the stand-in only; build or unpack it too.");
    std::wstring line = quoted(program.wstring());
    for (const std::wstring& argument : arguments)
        line += L" " + quoted(argument);

    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE reading = nullptr, writing = nullptr;
    CreatePipe(&reading, &writing, &inherited, 0);
    SetHandleInformation(reading, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = start.hStdError = writing;
    PROCESS_INFORMATION process{};
    const BOOL started = CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                                        nullptr, &start, &process);
    CloseHandle(writing);
    if (!started) {
        CloseHandle(reading);
        throw CommandError(ExitCode::Refused, "vboxsim.exe could not be started", "Build or unpack it anew.");
    }
    const std::string output = readAll(reading);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD exitCode = 1;
    GetExitCodeProcess(process.hProcess, &exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    CloseHandle(reading);
    if (exitCode != 0)
        throw CommandError(ExitCode::Refused, "vboxsim " + toUtf8(arguments.front()) + " failed: " + output,
                           "Run that command alone; 'vboxsim status' tells what the stand-in is doing.");
    return output;
}

ScratchFolder::ScratchFolder()
    : path_(std::filesystem::temp_directory_path() / (L"travikctl-tour-" + std::to_wstring(GetCurrentProcessId())))
{
    if (!std::filesystem::create_directories(path_))
        throw CommandError(ExitCode::Refused, "the folder exists already: " + toUtf8(path_.wstring()), "Remove it.");
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

namespace {

constexpr std::size_t sector = 512;
constexpr std::size_t grainSectors = 128;
constexpr std::size_t grainBytes = grainSectors * sector;
constexpr std::uint64_t diskSectors = std::uint64_t(64) * 1024 * 1024 / sector;
constexpr std::size_t entriesPerTable = 512;
constexpr std::size_t descriptorSectors = 20;

template <class Number>
void append(std::string& bytes, Number number)
{
    for (std::size_t i = 0; i < sizeof(number); ++i)
        bytes += static_cast<char>(number >> (8 * i));
}

void pad(std::string& bytes, std::size_t unit = sector)
{
    bytes.resize((bytes.size() + unit - 1) / unit * unit, '\0');
}

/// The zlib form of bytes, stored rather than compressed.
std::string zlibStored(const std::string& bytes)
{
    constexpr std::size_t blockLimit = 0xFFFF;
    std::string stream = "\x78\x01";
    for (std::size_t done = 0; done < bytes.size(); done += blockLimit) {
        const std::string block = bytes.substr(done, blockLimit);
        const auto length = static_cast<std::uint16_t>(block.size());
        stream += done + block.size() == bytes.size() ? '\x01' : '\x00';
        append(stream, length);
        append(stream, static_cast<std::uint16_t>(~length));
        stream += block;
    }
    std::uint32_t low = 1, high = 0;
    for (char byte : bytes) {
        low = (low + static_cast<unsigned char>(byte)) % 65521;
        high = (high + low) % 65521;
    }
    for (int shift = 24; shift >= 0; shift -= 8)
        stream += static_cast<char>((high << 16 | low) >> shift);
    return stream;
}

std::string vmdkHeader(std::uint64_t directorySector)
{
    std::string header = "KDMV";
    append<std::uint32_t>(header, 3);       // version of the stream-optimised form
    append<std::uint32_t>(header, 0x30001); // line end test, compressed grains, markers
    append<std::uint64_t>(header, diskSectors);
    append<std::uint64_t>(header, grainSectors);
    append<std::uint64_t>(header, 1); // descriptor
    append<std::uint64_t>(header, descriptorSectors);
    append<std::uint32_t>(header, entriesPerTable);
    append<std::uint64_t>(header, 0); // no second directory
    append<std::uint64_t>(header, directorySector);
    append<std::uint64_t>(header, grainSectors); // overhead: where the grains begin
    header += std::string(1, '\0') + "\n \r\n";
    append<std::uint16_t>(header, 1); // deflate
    pad(header);
    return header;
}

/// The marker in front of a table, the directory or the footer.
std::string vmdkMarker(std::uint64_t sectors, std::uint32_t type)
{
    std::string marker;
    append(marker, sectors);
    append<std::uint32_t>(marker, 0);
    append(marker, type);
    pad(marker);
    return marker;
}

/// A disk whose first grain holds a text again and again; the rest is empty.
std::string vmdkDisk()
{
    constexpr std::uint64_t atEnd = ~std::uint64_t(0);
    constexpr std::uint32_t tableMarker = 1, directoryMarker = 2, footerMarker = 3;
    const std::string text = "The tour's disk. ";
    std::string grain;
    while (grain.size() < grainBytes)
        grain += text;
    grain.resize(grainBytes);

    std::string disk = vmdkHeader(atEnd);
    disk += "# Disk DescriptorFile\nversion=1\nCID=7a3c51e0\nparentCID=ffffffff\ncreateType=\"streamOptimized\"\n\n"
            "# Extent description\nRW " +
            std::to_string(diskSectors) +
            " SPARSE \"disk.vmdk\"\n\n# The Disk Data Base\n#DDB\n\nddb.virtualHWVersion = \"4\"\n"
            "ddb.adapterType = \"ide\"\nddb.geometry.cylinders = \"130\"\nddb.geometry.heads = \"16\"\n"
            "ddb.geometry.sectors = \"63\"\n";
    pad(disk, grainBytes);

    const std::uint32_t grainSector = static_cast<std::uint32_t>(disk.size() / sector);
    const std::string packed = zlibStored(grain);
    append<std::uint64_t>(disk, 0); // the first sector of the disk
    append(disk, static_cast<std::uint32_t>(packed.size()));
    disk += packed;
    pad(disk);

    disk += vmdkMarker(entriesPerTable * sizeof(std::uint32_t) / sector, tableMarker);
    const std::uint32_t tableSector = static_cast<std::uint32_t>(disk.size() / sector);
    append(disk, grainSector);
    disk += std::string((entriesPerTable - 1) * sizeof(std::uint32_t), '\0');

    disk += vmdkMarker(1, directoryMarker);
    const std::uint64_t directorySector = disk.size() / sector;
    append(disk, tableSector); // the other table has no grains and is left out
    pad(disk);

    disk += vmdkMarker(1, footerMarker) + vmdkHeader(directorySector);
    disk += std::string(sector, '\0'); // end of the stream
    return disk;
}

std::string item(const std::string& fields)
{
    return "      <Item>\n" + fields + "      </Item>\n";
}

std::string field(const std::string& name, const std::string& value)
{
    return "        <rasd:" + name + ">" + value + "</rasd:" + name + ">\n";
}

std::string descriptor(const std::string& machineName, std::size_t diskBytes)
{
    return R"(<?xml version="1.0"?>
<Envelope ovf:version="1.0" xml:lang="en-US" xmlns="http://schemas.dmtf.org/ovf/envelope/1"
    xmlns:ovf="http://schemas.dmtf.org/ovf/envelope/1"
    xmlns:rasd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_ResourceAllocationSettingData"
    xmlns:vssd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/CIM_VirtualSystemSettingData">
  <References>
    <File ovf:href="disk.vmdk" ovf:id="file1" ovf:size=")" +
           std::to_string(diskBytes) + R"("/>
  </References>
  <DiskSection>
    <Info>The machine's disk</Info>
    <Disk ovf:capacity=")" +
           std::to_string(diskSectors * sector) + R"(" ovf:diskId="vmdisk1" ovf:fileRef="file1"
        ovf:format="http://www.vmware.com/interfaces/specifications/vmdk.html#streamOptimized"/>
  </DiskSection>
  <NetworkSection>
    <Info>The networks of the machine</Info>
    <Network ovf:name="NAT">
      <Description>Port forwarding</Description>
    </Network>
  </NetworkSection>
  <VirtualSystem ovf:id=")" +
           machineName + R"(">
    <Info>A small machine</Info>
    <OperatingSystemSection ovf:id="101">
      <Info>The guest's system</Info>
    </OperatingSystemSection>
    <VirtualHardwareSection>
      <Info>The machine's hardware</Info>
      <System>
        <vssd:ElementName>Virtual Hardware Family</vssd:ElementName>
        <vssd:InstanceID>0</vssd:InstanceID>
        <vssd:VirtualSystemIdentifier>)" +
           machineName + R"(</vssd:VirtualSystemIdentifier>
        <vssd:VirtualSystemType>virtualbox-2.2</vssd:VirtualSystemType>
      </System>
)" +
           item(field("ElementName", "2 virtual CPUs") + field("InstanceID", "1") + field("ResourceType", "3") +
                field("VirtualQuantity", "2")) +
           item(field("AllocationUnits", "MegaBytes") + field("ElementName", "256 MB of memory") +
                field("InstanceID", "2") + field("ResourceType", "4") + field("VirtualQuantity", "256")) +
           item(field("Address", "0") + field("ElementName", "SATA") + field("InstanceID", "3") +
                field("ResourceSubType", "AHCI") + field("ResourceType", "20")) +
           item(field("AddressOnParent", "0") + field("ElementName", "disk1") +
                field("HostResource", "ovf:/disk/vmdisk1") + field("InstanceID", "4") + field("Parent", "3") +
                field("ResourceType", "17")) +
           item(field("AutomaticAllocation", "true") + field("Connection", "NAT") + field("ElementName", "adapter") +
                field("InstanceID", "5") + field("ResourceSubType", "E1000") + field("ResourceType", "10")) +
           "    </VirtualHardwareSection>\n  </VirtualSystem>\n</Envelope>\n";
}

/// One file of a ustar archive.
std::string archived(const std::string& name, const std::string& content)
{
    std::string header(sector, '\0');
    const auto put = [&header](std::size_t at, const std::string& text) { header.replace(at, text.size(), text); };
    const auto octal = [](std::uint64_t value, int digits) {
        std::string text;
        for (int shift = 3 * (digits - 1); shift >= 0; shift -= 3)
            text += static_cast<char>('0' + ((value >> shift) & 7));
        return text;
    };
    put(0, name);
    put(100, octal(0644, 7));
    put(108, octal(0, 7));
    put(116, octal(0, 7));
    put(124, octal(content.size(), 11));
    put(136, octal(0, 11));
    put(148, "        "); // the sum is made with blanks in its place
    put(156, "0");
    put(257, std::string("ustar\0", 6) + "00");
    std::uint64_t sum = 0;
    for (char byte : header)
        sum += static_cast<unsigned char>(byte);
    put(148, octal(sum, 6) + std::string("\0 ", 2));
    std::string file = header + content;
    pad(file);
    return file;
}

} // namespace

void writeAppliance(const std::filesystem::path& file, const std::string& machineName)
{
    const std::string disk = vmdkDisk();
    std::ofstream stream(file, std::ios::binary);
    stream << archived("appliance.ovf", descriptor(machineName, disk.size())) << archived("disk.vmdk", disk)
           << std::string(2 * sector, '\0');
    stream.close();
    if (!stream)
        throw CommandError(ExitCode::Refused, "cannot write " + toUtf8(file.wstring()),
                           "The folder for temporary files must be writable and have some space.");
}
