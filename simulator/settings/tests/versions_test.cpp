// What a file says by what it leaves out depends on its version; what is not changed is written as it was.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

#include "base/failure.h"
#include "base/files.h"
#include "base/text.h"
#include "base/xml.h"
#include "fixtures.h"
#include "scratch.h"
#include "settings/machine_settings.h"
#include "settings/settings_version.h"

using namespace VBoxSim;

namespace {

const std::wstring writtenFile = Files::join(TravikTest::scratchFolder().wstring(), L"x.vbox");

std::string machineFile(const std::string& version, const std::string& hardware, const std::string& besides = "")
{
    return "<VirtualBox xmlns=\"http://www.virtualbox.org/\" version=\"" + version +
           "-windows\"><Machine uuid=\"{11111111-1111-4111-8111-111111111101}\" name=\"m\" "
           "lastStateChange=\"2024-02-29T23:59:59Z\">" +
           besides + "<Hardware><Memory RAMSize=\"64\"/>" + hardware + "</Hardware></Machine></VirtualBox>";
}

std::string version(SettingsVersion minor)
{
    return minor == futureVersion ? "1.25" : "1." + std::to_string(minor);
}

constexpr SettingsVersion versions[] = {7, 9, 11, 12, 13, 14, 15, 16, 17, 18, futureVersion};

/// Everything in a document, a line for each attribute and text, in an order of its own.
void flatten(const Xml::Element& element, const std::string& path, std::multiset<std::string>& lines)
{
    const std::string here = path + "/" + element.name;
    const auto key = [&] {
        for (const char* name : {"slot", "name", "uuid", "port"})
            if (const std::string* text = Xml::find(&element, name))
                return "[" + *text + "]";
        return std::string();
    }();
    lines.insert(here + key);
    for (const Xml::Attribute& attribute : element.attributes)
        lines.insert(here + key + "@" + attribute.name + "=" + attribute.value);
    for (const auto& child : element.children) {
        if (child->kind == Xml::Kind::Element)
            flatten(*child, here + key, lines);
        else
            lines.insert(here + key + " " + child->text);
    }
}

std::multiset<std::string> contentOf(const std::string& text)
{
    std::multiset<std::string> lines;
    const Xml::DocumentPtr document = Xml::parse(text);
    flatten(*Xml::root(document), "", lines);
    return lines;
}

/// What one document has more than another.
std::vector<std::string> difference(const std::string& left, const std::string& right)
{
    const auto a = contentOf(left);
    const auto b = contentOf(right);
    std::vector<std::string> lines;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(lines));
    return lines;
}

std::string saved(const std::string& text, const std::function<void(MachineSettings&)>& change = {})
{
    MachineSettings settings = parseMachineSettings(text, writtenFile);
    if (change)
        change(settings);
    return renderMachineSettings(settings, writtenFile);
}

/// A file as VirtualBox of that version's time wrote it, with much in it that the stand-in does not model.
std::string fullFile(SettingsVersion minor)
{
    const std::string storage =
        "<StorageControllers><StorageController name=\"IDE\" type=\"PIIX4\" PortCount=\"2\" useHostIOCache=\"true\" "
        "Bootable=\"true\"><AttachedDevice passthrough=\"false\" type=\"DVD\" port=\"1\" device=\"0\"/>"
        "<AttachedDevice type=\"Tape\" port=\"0\" device=\"1\"/></StorageController>"
        "<StorageController name=\"SATA\" type=\"AHCI\" PortCount=\"1\" useHostIOCache=\"false\" Bootable=\"true\" "
        "IDE0MasterEmulationPort=\"0\"><AttachedDevice type=\"HardDisk\" hotpluggable=\"" +
        std::string(minor < 15 ? "true" : "false") +
        "\" port=\"0\" device=\"0\"><Image uuid=\"{22222222-2222-4222-8222-222222222201}\"/></AttachedDevice>"
        "</StorageController></StorageControllers>";
    const std::string hardware =
        "<CPU count=\"2\" hotplug=\"false\"><PAE enabled=\"true\"/><HardwareVirtEx enabled=\"true\"/></CPU>"
        "<HID Pointing=\"USBTablet\"/><Boot><Order position=\"1\" device=\"HardDisk\"/></Boot>"
        "<Display VRAMSize=\"16\"/><RemoteDisplay enabled=\"false\" authTimeout=\"5000\"/>"
        "<BIOS><IOAPIC enabled=\"true\"/></BIOS>"
        "<Network><Adapter slot=\"0\" enabled=\"true\" MACAddress=\"0800275D10A1\" cable=\"true\" type=\"82540EM\">"
        "<DisabledModes><BridgedInterface name=\"eth0\"/></DisabledModes><NAT><DNS use-proxy=\"true\"/>"
        "<Forwarding name=\"ssh\" proto=\"1\" hostport=\"2222\" guestport=\"22\"/></NAT></Adapter>"
        "<Adapter slot=\"3\" MACAddress=\"0800275D10A4\"/><Adapter slot=\"8\" cable=\"true\" type=\"Am79C973\"/>"
        "<Adapter slot=\"35\"/></Network><UART><Port slot=\"0\" enabled=\"false\" IOBase=\"0x3f8\" IRQ=\"4\" "
        "hostMode=\"Disconnected\"/></UART><AudioAdapter controller=\"AC97\" driver=\"Pulse\" enabled=\"false\" "
        "enabledOut=\"true\"/><SharedFolders><SharedFolder name=\"s\" hostPath=\"C:\\s\" writable=\"yes\" "
        "autoMount=\"false\"/></SharedFolders><Clipboard mode=\"Bidirectional\"/><GuestProperties>"
        "<GuestProperty name=\"/a\" value=\"1\" timestamp=\"5\" flags=\"\"/></GuestProperties>" +
        (minor >= 17 ? storage : "");
    const std::string snapshot =
        "<Snapshot uuid=\"{33333333-3333-4333-8333-333333333301}\" name=\"s\" timeStamp=\"2020-01-01T00:00:00Z\">"
        "<Hardware><Memory RAMSize=\"32\"/><Network><Adapter slot=\"0\"/></Network></Hardware></Snapshot>";
    std::string text = machineFile(version(minor), hardware,
                                   "<Description>d</Description><MediaRegistry><HardDisks><HardDisk "
                                   "uuid=\"{22222222-2222-4222-8222-222222222201}\" location=\"d.vdi\" format=\"vdi\" "
                                   "type=\"normal\"/></HardDisks></MediaRegistry><ExtraData><ExtraDataItem name=\"k\" "
                                   "value=\"v\"/></ExtraData>" +
                                       snapshot + "<Unheard of=\"this\"/>");
    text.insert(text.find(" lastStateChange"),
                " OSType=\"linux26_64\" currentSnapshot=\"33333333-3333-4333-8333-333333333301\"");
    if (minor < 17)
        text.insert(text.find("</Machine>"), storage);
    return text;
}

} // namespace

TEST(Versions, TextsAreReadAsVirtualBoxReadsThem)
{
    const std::pair<const char*, int> samples[] = {{"1.3-windows", 3},     {"1.12-windows", 12}, {"1.18", 18},
                                                   {"1.16-something", 16}, {"1.19-linux", 19},   {"1.99", 19},
                                                   {"2.0-windows", 19},    {"1.3 ", 3}};
    for (const auto& [text, expected] : samples)
        EXPECT_EQ(parseSettingsVersion(text), expected) << text;
    for (const char* text : {"", "1.3", "1.2-windows", "1.0-windows", "0.9-windows", "abcd", "1.x-windows",
                             ".12-windows", "12345", "1,12-windows"})
        EXPECT_FALSE(parseSettingsVersion(text)) << text;
}

/// Version by attribute: what the machine has when the attribute is absent, from the table of defaults.
TEST(Versions, AbsentAttributesMeanTheDefaultOfTheVersion)
{
    for (const SettingsVersion minor : versions) {
        const MachineSettings machine = parseMachineSettings(
            machineFile(version(minor), "<Network><Adapter slot=\"0\"/></Network><AudioAdapter/>"), writtenFile);
        EXPECT_EQ(machine.adapters[0].cableConnected, minor >= 16) << minor;
        EXPECT_EQ(machine.adapters[0].type, minor >= 16 ? 2u : 1u) << minor;
        EXPECT_FALSE(machine.adapters[0].enabled);
        EXPECT_EQ(machine.audio.enabled, minor < 16) << minor;
        EXPECT_EQ(machine.audio.enabledIn, minor < 17) << minor;
        EXPECT_EQ(machine.audio.enabledOut, minor < 17) << minor;
        EXPECT_EQ(machine.audio.driver, 0u);
        EXPECT_EQ(machine.audio.codec, 2u);
        EXPECT_EQ(machine.paravirt, minor >= 16 ? 1u : 2u) << minor;
        EXPECT_EQ(machine.cpuCount, 1u);
        EXPECT_EQ(machine.chipset, 1u);
        EXPECT_TRUE(machine.sharedFolders.empty());
        const MachineSettings without = parseMachineSettings(machineFile(version(minor), ""), writtenFile);
        EXPECT_EQ(without.audio.enabled, minor < 16) << minor;
    }
}

/// Version by element by attribute by value: what stands in a file is written as it stands there, defaults too, and
/// what does not stand there is not written.
TEST(Versions, WhatIsNotChangedIsWrittenAsItWas)
{
    const struct
    {
        const char* before;
        const char* attribute;
        std::vector<const char*> values;
        const char* after;
        SettingsVersion first = 7; ///< older ones cannot have it
    } cells[] = {
        {"<CPU ", "count", {"1", "2", "0x3", "010"}, "/>"},
        {"<CPU ", "hotplug", {"false"}, "/>"},
        {"<Chipset ", "type", {"PIIX3"}, "/>"},
        {"<Chipset ", "type", {"ICH9"}, "/>", 11},
        {"<Paravirt ", "provider", {"Legacy"}, "/>"},
        {"<Paravirt ", "provider", {"None", "Default", "Minimal", "HyperV", "KVM"}, "/>", 15},
        {"<Network><Adapter slot=\"0\" ", "enabled", {"true", "false", "yes", "0"}, "/></Network>"},
        {"<Network><Adapter slot=\"0\" ", "cable", {"true", "false", "no", "1"}, "/></Network>"},
        {"<Network><Adapter slot=\"0\" ",
         "type",
         {"Am79C970A", "Am79C973", "Am79C960", "82540EM", "82543GC", "82545EM", "virtio", "virtio_1.0"},
         "/></Network>"},
        {"<Network><Adapter slot=\"0\" ", "MACAddress", {"", "080027000001"}, "/></Network>"},
        {"<Network><Adapter slot=\"0\" ", "speed", {"0", "1000"}, "/></Network>"},
        {"<Network><Adapter slot=\"0\" ", "promiscuousModePolicy", {"Deny"}, "/></Network>"},
        {"<Network><Adapter slot=\"0\"><NAT ", "network", {"", "10.0.3/24"}, "/></Adapter></Network>"},
        {"<Network><Adapter slot=\"0\"><NAT><Forwarding name=\"a\" ",
         "proto",
         {"0", "1", "tcp"},
         "/></NAT></Adapter></Network>"},
        {"<Network><Adapter slot=\"0\"><NAT><Forwarding name=\"a\" proto=\"1\" hostport=\"80\" ",
         "guestport",
         {"0", "80", "0x50"},
         "/></NAT></Adapter></Network>"},
        {"<AudioAdapter ", "enabled", {"true", "false", "1"}, "/>"},
        {"<AudioAdapter ", "enabledIn", {"true", "false"}, "/>"},
        {"<AudioAdapter ", "enabledOut", {"true", "false"}, "/>"},
        {"<AudioAdapter ", "controller", {"AC97", "SB16"}, "/>"},
        {"<AudioAdapter ", "controller", {"HDA"}, "/>", 11},
        {"<AudioAdapter ", "codec", {"STAC9700", "AD1980"}, "/>"},
        {"<AudioAdapter ", "driver", {"Null", "null", "DirectSound", "dsound", "WinMM", "Pulse", "CoreAudio"}, "/>"},
        {"<SharedFolders><SharedFolder name=\"s\" hostPath=\"C:\\s\" ",
         "writable",
         {"true", "false", "0"},
         "/></SharedFolders>"},
        {"<SharedFolders><SharedFolder name=\"s\" hostPath=\"C:\\s\" ",
         "autoMount",
         {"true", "false"},
         "/></SharedFolders>"},
        {"<GuestProperties><GuestProperty name=\"p\" value=\"1\" ", "timestamp", {"0", "5"}, "/></GuestProperties>"},
        {"<GuestProperties><GuestProperty name=\"p\" value=\"1\" ", "flags", {"", "READONLY"}, "/></GuestProperties>"},
        {"<StorageControllers><StorageController name=\"c\" type=\"AHCI\" ",
         "PortCount",
         {"1", "2", "30"},
         "/></StorageControllers>"},
        {"<StorageControllers><StorageController name=\"c\" type=\"AHCI\" ",
         "Bootable",
         {"true", "false"},
         "/></StorageControllers>"},
        {"<StorageControllers><StorageController name=\"c\" type=\"AHCI\" ",
         "Instance",
         {"0"},
         "/></StorageControllers>"},
    };
    std::size_t count = 0;
    for (const SettingsVersion minor : versions)
        for (const auto& cell : cells) {
            if (minor < cell.first || minor == futureVersion) // which is written as another version
                continue;
            std::vector<std::string> texts = {machineFile(version(minor), std::string(cell.before) + cell.after)};
            for (const char* value : cell.values)
                texts.push_back(machineFile(version(minor), std::string(cell.before) + cell.attribute + "=\"" + value +
                                                                "\"" + cell.after));
            for (const std::string& text : texts) {
                ++count;
                EXPECT_EQ(difference(text, saved(text)), std::vector<std::string>()) << text;
                EXPECT_EQ(difference(saved(text), text), std::vector<std::string>()) << text;
            }
        }
    EXPECT_GT(count, 900u);
}

/// The files that the stand-in comes with: what an operation changes is all that differs.
TEST(Versions, EveryFixtureKeepsWhatIsNotChanged)
{
    const char* world = std::getenv("TRAVIK_WORLD");
    ASSERT_NE(world, nullptr);
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(world)) {
        if (entry.path().extension() != ".vbox" || entry.path().stem() == "Damaged")
            continue;
        ++count;
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        ASSERT_FALSE(text.empty());
        EXPECT_EQ(difference(text, saved(text)), std::vector<std::string>()) << entry.path();
        EXPECT_EQ(difference(saved(text), text), std::vector<std::string>()) << entry.path();
        const std::string after = saved(text, [](MachineSettings& settings) { settings.memoryMegabytes = 77; });
        EXPECT_EQ(difference(after, text).size(), 1u) << entry.path();
        EXPECT_EQ(difference(text, after).size(), 1u) << entry.path();
        EXPECT_NE(after.find("RAMSize=\"77\""), std::string::npos);
    }
    EXPECT_GE(count, 4u);
}

TEST(Versions, OldFilesHaveNoRegistryGroupsAndDrives)
{
    for (const SettingsVersion minor : versions) {
        const MachineSettings machine = parseMachineSettings(
            machineFile(
                version(minor), "",
                "<MediaRegistry><HardDisks><HardDisk uuid=\"{22222222-2222-4222-8222-222222222201}\" "
                "location=\"d.vdi\" format=\"VDI\"/></HardDisks></MediaRegistry><Groups><Group name=\"/g\"/>"
                "</Groups><StorageControllers><StorageController name=\"IDE\" type=\"PIIX4\">"
                "<AttachedDevice type=\"DVD\" port=\"0\" device=\"0\"/></StorageController></StorageControllers>"),
            writtenFile);
        EXPECT_EQ(machine.media.size(), minor >= 11 ? 1u : 0u) << minor;
        EXPECT_EQ(machine.groups, std::vector<std::wstring>{minor >= 13 ? L"/g" : L"/"}) << minor;
        ASSERT_EQ(machine.controllers.size(), 1u);
        EXPECT_EQ(machine.controllers[0].name, minor < 9 ? L"IDE Controller" : L"IDE") << minor;
        EXPECT_EQ(machine.controllers[0].attachments.size(), minor < 9 ? 0u : 1u) << minor;
        EXPECT_EQ(machine.controllers[0].portCount, 2u);
        EXPECT_TRUE(machine.controllers[0].useHostIoCache);
    }
}

/// Saved without a change, a file stays the same; changed in one thing, it differs in that thing only.
TEST(Versions, SavingChangesWhatWasChangedAndNothingElse)
{
    const struct
    {
        const char* line;
        std::function<void(MachineSettings&)> change;
    } changes[] = {
        {"/VirtualBox/Machine[m]/Hardware/CPU@count=3", [](MachineSettings& s) { s.cpuCount = 3; }},
        {"/VirtualBox/Machine[m]/Hardware/Memory@RAMSize=65", [](MachineSettings& s) { s.memoryMegabytes = 65; }},
        {"/VirtualBox/Machine[m]/Hardware/Network/Adapter[0]@cable=false",
         [](MachineSettings& s) { s.adapters[0].cableConnected = false; }},
        {"/VirtualBox/Machine[m]/Hardware/Network/Adapter[3]@enabled=true",
         [](MachineSettings& s) { s.adapters[3].enabled = true; }},
        {"/VirtualBox/Machine[m]/Hardware/AudioAdapter@controller=SB16",
         [](MachineSettings& s) { s.audio.controller = 1, s.audio.codec = 1; }},
        {"/VirtualBox/Machine[m]/Description d2", [](MachineSettings& s) { s.description = L"d2"; }},
        {"/VirtualBox/Machine[m]/ExtraData/ExtraDataItem[k]@value=w",
         [](MachineSettings& s) { s.extraData[L"k"] = L"w"; }},
    };
    for (const SettingsVersion minor : versions) {
        if (minor < 11) // knows no such registry
            continue;
        const std::string text = fullFile(minor);
        if (minor != futureVersion) {
            EXPECT_EQ(difference(text, saved(text)), std::vector<std::string>()) << minor;
            EXPECT_EQ(difference(saved(text), text), std::vector<std::string>()) << minor;
        }
        for (const auto& change : changes) {
            const std::string before = saved(text);
            const std::string after = saved(before, change.change);
            // Where the value is the one that absence means, only a line goes.
            const auto gained = difference(after, before);
            EXPECT_LE(gained.size(), 1u) << minor << change.line;
            EXPECT_LE(difference(before, after).size(), 1u) << minor << change.line;
            if (!gained.empty())
                EXPECT_EQ(gained[0], change.line) << minor;
            else
                EXPECT_EQ(difference(before, after).size(), 1u) << minor << change.line;
        }
    }
}

TEST(Versions, NewerFilesAreReadAndWrittenAsTheNewestKnown)
{
    for (const char* text : {"1.19", "1.25", "2.4"}) {
        const std::string after = saved(machineFile(text, "<New thing=\"1\"/>"));
        EXPECT_NE(after.find("version=\"1.18-windows\""), std::string::npos) << text;
        EXPECT_NE(after.find("<New thing=\"1\"/>"), std::string::npos);
        EXPECT_FALSE(outdatedCopy(machineFile(text, ""), after, writtenFile)) << text;
    }
    EXPECT_FALSE(outdatedCopy(machineFile("1.16", ""), saved(machineFile("1.16", "")), writtenFile))
        << "the version stays";
}

TEST(Versions, FeaturesRaiseTheVersion)
{
    const auto versionAfter = [](const std::string& text, const std::function<void(MachineSettings&)>& change) {
        const std::string after = saved(text, change);
        const std::size_t start = after.find("version=\"", after.find("<VirtualBox")) + 9;
        return after.substr(start, after.find('-', start) - start);
    };
    const std::string old = machineFile("1.12", "");
    EXPECT_EQ(versionAfter(old, {}), "1.12");
    EXPECT_EQ(versionAfter(old, [](MachineSettings& s) { s.paravirt = 5; }), "1.15");
    EXPECT_EQ(versionAfter(old, [](MachineSettings& s) { s.groups = {L"/a"}; }), "1.13");
    EXPECT_EQ(versionAfter(machineFile("1.9", ""),
                           [](MachineSettings& s) {
                               s.media.push_back({L"22222222-2222-4222-8222-222222222201",
                                                  Files::join(Files::folderOf(writtenFile), L"d.vdi"), L"VDI",
                                                  L"Normal", DeviceKind::hardDisk, L""});
                           }),
              "1.11");
    EXPECT_EQ(versionAfter(machineFile("1.16", ""), [](MachineSettings& s) { s.paravirt = 5; }), "1.16");
    EXPECT_EQ(versionAfter(old,
                           [](MachineSettings& s) {
                               s.sharedFolders.push_back({L"s", L"C:\\s", false, false, L"/mnt"});
                           }),
              "1.17");
    const auto with = [](std::uint32_t bus, std::uint32_t type, std::uint32_t ports) {
        return [=](MachineSettings& s) {
            StorageControllerSettings controller;
            controller.name = L"c";
            controller.bus = bus;
            controller.type = type;
            controller.portCount = ports;
            s.controllers.push_back(controller);
        };
    };
    EXPECT_EQ(versionAfter(old, with(8, 11, 1)), "1.18");
    EXPECT_EQ(versionAfter(old, with(7, 10, 1)), "1.16");
    EXPECT_EQ(versionAfter(old, with(6, 9, 8)), "1.15");
    EXPECT_EQ(versionAfter(machineFile("1.7", "<Firmware type=\"EFI\"/>"), {}), "1.9");
    EXPECT_EQ(versionAfter(machineFile("1.4", ""), {}), "1.7");
    EXPECT_EQ(versionAfter(machineFile("1.12", "<CPU><X2APIC enabled=\"true\"/></CPU>"), {}), "1.16");
    MachineSettings fresh = newMachineSettings(L"n", L"Other");
    EXPECT_NE(renderMachineSettings(fresh, writtenFile).find("version=\"1.15-windows\""), std::string::npos);
}

/// A file that gets a higher version says the same in it, snapshots included.
TEST(Versions, RaisingKeepsTheMeaning)
{
    const std::string text = machineFile(
        "1.12", "<Network><Adapter slot=\"0\" enabled=\"true\"><NAT/></Adapter></Network>",
        "<Snapshot uuid=\"{33333333-3333-4333-8333-333333333301}\" name=\"s\" timeStamp=\"2020-01-01T00:00:00Z\">"
        "<Hardware><Memory RAMSize=\"32\"/><Network><Adapter slot=\"0\"/></Network></Hardware></Snapshot>"
        "<StorageControllers><StorageController name=\"SATA\" type=\"AHCI\"><AttachedDevice type=\"DVD\" port=\"0\" "
        "device=\"0\"/></StorageController></StorageControllers>");
    std::string withCurrent = text;
    withCurrent.insert(withCurrent.find(" lastStateChange"),
                       " currentSnapshot=\"{33333333-3333-4333-8333-333333333301}\"");
    const MachineSettings before = parseMachineSettings(withCurrent, writtenFile);
    const std::string raised = saved(withCurrent, [](MachineSettings& s) {
        s.sharedFolders.push_back({L"s", L"C:\\s", false, false, L"/mnt"});
    });
    EXPECT_NE(raised.find("version=\"1.17-windows\""), std::string::npos);
    const MachineSettings after = parseMachineSettings(raised, writtenFile);
    EXPECT_EQ(after.adapters[0].cableConnected, before.adapters[0].cableConnected);
    EXPECT_EQ(after.adapters[0].type, before.adapters[0].type);
    EXPECT_EQ(after.audio, before.audio);
    EXPECT_EQ(after.paravirt, before.paravirt);
    // The same in the snapshot, and where nothing is modelled.
    const auto lines = contentOf(raised);
    const std::string snapshot = "/VirtualBox/Machine[m]/Snapshot[s]/Hardware";
    for (const char* line : {"/Network/Adapter[0]@cable=false", "/Network/Adapter[0]@type=Am79C970A",
                             "/Paravirt@provider=Legacy", "/RemoteDisplay@enabled=true", "/AudioAdapter@enabled=true"})
        EXPECT_TRUE(lines.contains(snapshot + line)) << line;
    EXPECT_TRUE(lines.contains("/VirtualBox/Machine[m]/StorageControllers/StorageController[SATA]/AttachedDevice[0]"
                               "@hotpluggable=true"));
    EXPECT_EQ(outdatedCopy(withCurrent, raised, writtenFile),
              Files::join(TravikTest::scratchFolder().wstring(), L"x-1.12-windows.vbox"));
}

TEST(Versions, ModesThatAreNotInUseAreKept)
{
    const std::string text = machineFile("1.16", "<Network><Adapter slot=\"0\" enabled=\"true\"><DisabledModes>"
                                                 "<BridgedInterface name=\"eth0\"/></DisabledModes><NAT>"
                                                 "<Forwarding name=\"a\" proto=\"1\"/></NAT></Adapter></Network>");
    const std::string bridged =
        saved(text, [](MachineSettings& s) { s.adapters[0].attachment = Travik::NetworkAttachmentType::Bridged; });
    EXPECT_NE(bridged.find("<BridgedInterface name=\"eth0\"/>"), std::string::npos);
    const MachineSettings read = parseMachineSettings(bridged, writtenFile);
    EXPECT_EQ(read.adapters[0].attachment, 2u);
    ASSERT_EQ(read.adapters[0].rules.size(), 1u);
    const std::string back =
        saved(bridged, [](MachineSettings& s) { s.adapters[0].attachment = Travik::NetworkAttachmentType::NAT; });
    EXPECT_EQ(difference(back, text), std::vector<std::string>());
    EXPECT_EQ(difference(text, back), std::vector<std::string>());
}

TEST(Versions, CostGrowsWithTheFileOnly)
{
    MachineSettings settings = newMachineSettings(L"m", L"Other");
    for (int i = 0; i < 10000; ++i)
        settings.media.push_back({newUuid(),
                                  Files::join(TravikTest::scratchFolder().wstring(), L"d" + std::to_wstring(i)), L"VDI",
                                  L"Normal", DeviceKind::hardDisk, L""});
    const auto start = std::chrono::steady_clock::now();
    const std::string text = renderMachineSettings(settings, writtenFile);
    EXPECT_EQ(parseMachineSettings(text, writtenFile).media.size(), 10000u);
    EXPECT_EQ(saved(text).size(), text.size());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}
