// Appliances become machines: what the caller may settle, and what no machine can be made of.
#include <chrono>
#include <fstream>
#include <set>
#include <thread>

#include "appliance_writers.h"
#include "base/files.h"
#include "base/text.h"
#include "host/importing.h"
#include "host_fixture.h"

namespace VBoxSim {
namespace {

using ApplianceWriters::item;
using ApplianceWriters::OvfParts;

class Importing : public HostTest
{
protected:
    void put(const std::string& name, const std::string& content) const
    {
        std::ofstream(folder / name, std::ios::binary) << content;
    }

    /// An appliance that was read and interpreted.
    AppliancePtr interpreted(const OvfParts& parts)
    {
        put("a.ovf", ApplianceWriters::makeOvf(parts));
        const auto data = std::make_shared<ApplianceData>();
        finish(readAppliance(host, data, path(L"a.ovf")));
        interpretAppliance(host, *data);
        return data;
    }

    /// The machine that an appliance becomes.
    MachinePtr imported(const AppliancePtr& data)
    {
        finish(importAppliance(host, data, {}));
        return host.machines().find(data->machines.at(0));
    }

    /// The same with one disk in the appliance.
    AppliancePtr withDisk(OvfParts parts = {})
    {
        ImageWriters::VmdkOptions options;
        options.compressed = true;
        const ImageWriters::Bytes disk = ImageWriters::makeVmdk(ImageWriters::makeContent(1 << 20, 1), options);
        put("disk1.vmdk", {disk.begin(), disk.end()});
        return interpreted(parts);
    }

    static DescriptionEntry& entryOf(ApplianceData& data, DescriptionType type)
    {
        for (DescriptionEntry& entry : entriesOf(data, 0))
            if (entry.type == type)
                return entry;
        throw std::runtime_error("no such entry");
    }
};

OvfParts withoutDisk()
{
    OvfParts parts;
    parts.items = item({{"ResourceType", "3"}, {"VirtualQuantity", "1"}});
    return parts;
}

/// As VirtualBox writes its own machines into a descriptor.
OvfParts exported(const std::string& hardware)
{
    OvfParts parts = withoutDisk();
    parts.sections = "<vbox:Machine ovf:required='false' version='1.12-windows' name='own' OSType='Linux26' "
                     "uuid='{5d1f4b1e-0000-4000-8000-0000000000bb}'><ovf:Info/><Hardware><Memory RAMSize='64'/>" +
                     hardware + "</Hardware></vbox:Machine>";
    return parts;
}

TEST_F(Importing, AnApplianceIsBusyWhileItIsReadAndImported)
{
    put("a.ovf", ApplianceWriters::makeOvf(withoutDisk()));
    const auto data = std::make_shared<ApplianceData>();
    const auto expectBusy = [&] {
        EXPECT_EQ(resultOf([&] { readAppliance(host, data, path(L"a.ovf")); }), Result::accessDenied);
        EXPECT_EQ(resultOf([&] { interpretAppliance(host, *data); }), Result::accessDenied);
        EXPECT_EQ(resultOf([&] { importAppliance(host, data, {}); }), Result::accessDenied);
    };
    const ProgressPtr reading = readAppliance(host, data, path(L"a.ovf"));
    expectBusy();
    finish(reading);
    interpretAppliance(host, *data);
    const ProgressPtr importing = importAppliance(host, data, {});
    expectBusy();
    finish(importing);
    finish(readAppliance(host, data, path(L"a.ovf")));
}

TEST_F(Importing, OnlyPlainFilesAreRead)
{
    put("a.ovf", ApplianceWriters::makeOvf(withoutDisk()));
    const auto data = std::make_shared<ApplianceData>();
    finish(readAppliance(host, data, L"file://" + path(L"a.ovf")));
    EXPECT_EQ(data->path, path(L"a.ovf"));
    EXPECT_EQ(resultOf([&] { readAppliance(host, data, L"webdav://host/a.ovf"); }), Result::notImplemented);
}

TEST_F(Importing, ADescriptionWithoutWhatEveryMachineHasMakesNone)
{
    for (const DescriptionType type :
         {DescriptionType::Name, DescriptionType::OS, DescriptionType::CPU, DescriptionType::Memory}) {
        const AppliancePtr data = interpreted(withoutDisk());
        entryOf(*data, type).enabled = false;
        EXPECT_EQ(resultOf([&] { imported(data); }), Result::fileError) << static_cast<int>(type);
    }
    EXPECT_TRUE(host.machines().all().empty());
}

TEST_F(Importing, TheTargetsSuffixTellsTheFormat)
{
    const std::pair<const wchar_t*, ResultCode> cases[] = {{L"a", Result::fileError},
                                                           {L"a.xyz", Result::fail},
                                                           {L"a.vhd", Result::notSupported},
                                                           {L"a.vdi", Result::ok},
                                                           {L"b.vmdk", Result::ok}};
    for (const auto& [target, expected] : cases) {
        const AppliancePtr data = withDisk();
        entryOf(*data, DescriptionType::HardDiskImage).suggested = target;
        EXPECT_EQ(resultOf([&] { EXPECT_EQ(Files::nameOf(imported(data)->saved.media.at(0).location), target); }),
                  expected)
            << toUtf8(target);
    }
}

/// Digests are compared when everything is written, and nothing of it stays.
TEST_F(Importing, AWrongDigestIsFoundBehindDamage)
{
    put("a.mf", "SHA1(disk1.vmdk)= " + std::string(40, '0') + "\n");
    EXPECT_EQ(resultOf([&] { imported(withDisk()); }), Result::fileError);
    OvfParts packed;
    packed.references = "<File ovf:id='file1' ovf:href='disk1.vmdk.gz' ovf:compression='gzip'/>";
    put("disk1.vmdk.gz", "not packed");
    put("a.mf", "SHA1(disk1.vmdk.gz)= " + std::string(40, '0') + "\n");
    EXPECT_EQ(resultOf([&] { imported(withDisk(packed)); }), Result::iprtError);
    EXPECT_TRUE(host.machines().all().empty());
    EXPECT_FALSE(std::filesystem::exists(Files::folderOf(host.machines().composeFile(L"vm", L"", L"", L""))));
}

TEST_F(Importing, AFloppyDriveIsOnAControllerOfItsOwn)
{
    OvfParts parts = withoutDisk();
    parts.items += item({{"ResourceType", "14"}});
    const MachinePtr machine = imported(interpreted(parts));
    ASSERT_EQ(machine->saved.controllers.size(), 1u);
    const StorageControllerSettings& controller = machine->saved.controllers[0];
    EXPECT_EQ(controller.name, L"Floppy");
    ASSERT_EQ(controller.attachments.size(), 1u);
    EXPECT_EQ(controller.attachments[0].type, DeviceKind::floppy);
    EXPECT_EQ(controller.attachments[0].medium, L"");
}

/// What a Machine element leaves out is as in a settings file of its version.
TEST_F(Importing, TheMachineElementIsReadLikeASettingsFile)
{
    const AppliancePtr data =
        interpreted(exported("<Network><Adapter slot='3' enabled='true'><NAT/></Adapter></Network>"
                             "<AudioAdapter controller='HDA'/>"));
    const DescriptionEntry& adapter = entryOf(*data, DescriptionType::NetworkAdapter);
    EXPECT_EQ(adapter.suggested, L"1"); // the card of files before 1.16
    EXPECT_EQ(adapter.extra, L"slot=3;type=NAT");
    EXPECT_EQ(entryOf(*data, DescriptionType::SoundCard).suggested, L"2");
    const MachinePtr machine = imported(data);
    EXPECT_EQ(machine->saved.name, L"own");
    EXPECT_TRUE(machine->saved.adapters[3].enabled);
    EXPECT_FALSE(machine->saved.adapters[3].cableConnected);
    EXPECT_TRUE(machine->saved.audio.enabled);
}

TEST_F(Importing, WhatTheCallerSettledCountsBeforeTheMachineElement)
{
    const AppliancePtr data =
        interpreted(exported("<Network><Adapter slot='3' enabled='true' MACAddress='080027000001'><NAT/></Adapter>"
                             "<Adapter slot='4' enabled='true'><NAT/></Adapter></Network><AudioAdapter/>"));
    DescriptionEntry& adapter = entryOf(*data, DescriptionType::NetworkAdapter);
    adapter.suggested = L"6";
    adapter.extra = L"slot=3;type=Bridged";
    for (DescriptionEntry& entry : entriesOf(*data, 0))
        if (entry.extra.starts_with(L"slot=4") || entry.type == DescriptionType::SoundCard)
            entry.enabled = false;
    entryOf(*data, DescriptionType::CPU).suggested = L"5";
    const MachinePtr machine = imported(data);
    EXPECT_EQ(machine->saved.adapters[3].type, 6u);
    EXPECT_EQ(machine->saved.adapters[3].attachment, 2u);
    EXPECT_FALSE(machine->saved.adapters[4].enabled);
    EXPECT_FALSE(machine->saved.audio.enabled);
    EXPECT_EQ(machine->saved.cpuCount, 5u);
}

TEST_F(Importing, ADamagedMachineElementIsRefusedByTheInterpretation)
{
    EXPECT_EQ(resultOf([&] { interpreted(exported("<AudioAdapter driver='WAS'/>")); }), Result::fail);
}

TEST_F(Importing, OthersHaveTheirTurnWhileManyMachinesAreRegistered)
{
    constexpr std::size_t count = 15;
    OvfParts parts = withoutDisk();
    for (std::size_t i = 1; i < count; ++i)
        parts.after += "<VirtualSystem ovf:id='other'/>";
    const AppliancePtr data = interpreted(parts);
    host.scheduler().start([] {});
    HostLock turn = host.lock();
    const ProgressPtr progress = importAppliance(host, data, {});
    std::set<std::size_t> seen;
    while (!progress->isCompleted()) {
        turn.unlock();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        turn.lock();
        seen.insert(host.machines().all().size());
    }
    EXPECT_EQ(progress->result(), Result::ok);
    EXPECT_EQ(data->machines.size(), count);
    EXPECT_GT(seen.size(), 2u) << "all machines came in one turn";
}

} // namespace
} // namespace VBoxSim
