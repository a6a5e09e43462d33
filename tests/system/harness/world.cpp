#include "world.h"

#include <objbase.h>

#include <array>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "child_process.h"

namespace TravikTest {
namespace {

std::string escaped(const std::wstring& text)
{
    std::string result;
    for (char c : utf8(text)) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

std::string machineXml(const std::wstring& name, const std::wstring& uuid, const MachineText& text)
{
    return R"(<?xml version="1.0"?>
<VirtualBox xmlns="http://www.virtualbox.org/" version="1.16-windows">
  <Machine uuid="{)" +
           utf8(uuid) + R"(}" name=")" + escaped(name) +
           R"(" OSType="Linux26_64" snapshotFolder="Snapshots" lastStateChange="2024-03-01T10:00:00Z" )" +
           text.attributes + R"(>
    <MediaRegistry>)" +
           text.mediaRegistry + R"(</MediaRegistry>
    <ExtraData>
      <ExtraDataItem name="GUI/LastCloseAction" value="PowerOff"/>
    </ExtraData>
    <Hardware>
      <CPU count="2"/>
      <Memory RAMSize="1024"/>
      <Network>
        <Adapter slot="0" enabled="true" MACAddress="0800271A2B3C" type="82540EM"><NAT/></Adapter>
      </Network>
      <AudioAdapter controller="HDA" driver="DirectSound" enabled="false"/>)" +
           text.hardware + R"(
    </Hardware>
    <StorageControllers>
      <StorageController name="IDE" type="PIIX4" PortCount="2" useHostIOCache="true" Bootable="true"/>
      <StorageController name="SATA" type="AHCI" PortCount="4" useHostIOCache="false" Bootable="true">)" +
           text.sataAttachments + R"(</StorageController>
    </StorageControllers>
  </Machine>
</VirtualBox>
)";
}

template <class Number>
void put(std::string& image, std::size_t offset, Number number)
{
    std::memcpy(image.data() + offset, &number, sizeof(number));
}

} // namespace

World::World(std::filesystem::path folder) : folder_(std::move(folder))
{
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(home());
    std::filesystem::create_directories(machineFolder());
    writeRegistry();
}

std::filesystem::path World::machineFile(const std::wstring& name) const
{
    return machineFolder() / name / (name + L".vbox");
}

std::filesystem::path World::writeMachine(const std::wstring& name, const std::wstring& uuid,
                                          const MachineText& text) const
{
    const std::filesystem::path file = machineFile(name);
    writeFile(file, machineXml(name, uuid, text));
    return file;
}

std::filesystem::path World::addMachine(const std::wstring& name, const std::wstring& uuid, const MachineText& text)
{
    const std::filesystem::path file = writeMachine(name, uuid, text);
    registerFile(file, uuid);
    return file;
}

void World::registerFile(const std::filesystem::path& file, const std::wstring& uuid)
{
    entries_ += "<MachineEntry uuid=\"{" + utf8(uuid) + "}\" src=\"" + escaped(file.wstring()) + "\"/>\n";
}

void World::addUsualMachines()
{
    addMachine(Machines::player, Machines::playerId);
    addMachine(Machines::worker, Machines::workerId);
    addMachine(Machines::chinese, Machines::chineseId);
    addMachine(Machines::emoji, Machines::emojiId);
    const std::filesystem::path damaged = addMachine(L"Damaged", Machines::damagedId);
    const std::string whole = readFile(damaged);
    writeFile(damaged, whole.substr(0, whole.find("<Memory")));
    writeRegistry();
}

void World::writeRegistry() const
{
    writeFile(home() / L"VirtualBox.xml", R"(<?xml version="1.0"?>
<VirtualBox xmlns="http://www.virtualbox.org/" version="1.12-windows">
  <Global>
    <ExtraData/>
    <MachineRegistry>)" + entries_ + R"(</MachineRegistry>
    <SystemProperties defaultMachineFolder=")" +
                                              escaped(machineFolder().wstring()) + R"("/>
  </Global>
</VirtualBox>
)");
}

void writeFile(const std::filesystem::path& file, std::string_view content)
{
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream)
        throw std::runtime_error("cannot write " + utf8(file.wstring()));
}

std::string readFile(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error("cannot read " + utf8(file.wstring()));
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

void writeVdi(const std::filesystem::path& file, const std::wstring& uuid, std::uint32_t megabytes)
{
    constexpr std::uint32_t blockMap = 0x200;
    constexpr std::uint32_t data = 0x2000;
    GUID id{};
    if (FAILED(IIDFromString((L'{' + uuid + L'}').c_str(), &id)))
        throw std::invalid_argument("not a UUID: " + utf8(uuid));

    std::string image(data, '\0');
    image.replace(0, 39, "<<< Oracle VM VirtualBox Disk Image >>>");
    image[39] = '\n';
    put(image, 0x40, std::uint32_t(0xBEDA107F));
    put(image, 0x44, std::uint32_t(0x00010001));
    put(image, 0x48, std::uint32_t(0x190));
    put(image, 0x4C, std::uint32_t(1)); // grows as it is written
    put(image, 0x154, blockMap);
    put(image, 0x158, data);
    put(image, 0x168, std::uint32_t(512));
    put(image, 0x170, std::uint64_t(megabytes) << 20);
    put(image, 0x178, std::uint32_t(1) << 20);
    put(image, 0x180, megabytes);
    put(image, 0x188, id);
    for (std::uint32_t block = 0; block < megabytes; ++block)
        put(image, blockMap + 4 * block, std::uint32_t(0xFFFFFFFF));
    writeFile(file, image);
}

} // namespace TravikTest
