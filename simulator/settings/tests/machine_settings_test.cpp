#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/files.h"
#include "base/text.h"
#include "fixtures.h"
#include "scratch.h"
#include "settings/global_settings.h"
#include "settings/machine_settings.h"
#include "settings/snapshots.h"

using namespace VBoxSim;

namespace {

const std::wstring folder = TravikTest::scratchFolder().wstring();
const std::wstring file = Files::join(folder, L"x.vbox");
const std::wstring elsewhere = Files::join(Files::folderOf(folder), L"far");

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

/// The settings after they were written and read back.
MachineSettings again(const MachineSettings& settings)
{
    return parseMachineSettings(renderMachineSettings(settings, file), file);
}

ResultCode readingResult(const std::string& text)
{
    try {
        parseMachineSettings(text, file);
    } catch (const Failure& failure) {
        return failure.code();
    }
    return Result::ok;
}

std::string minimal(const std::string& inside, const std::string& attributes = "name=\"m\"")
{
    const bool hasHardware = inside.find("<Hardware") != std::string::npos;
    return "<VirtualBox version=\"1.16-windows\"><Machine uuid=\"{11111111-1111-4111-8111-111111111101}\" " +
           attributes + ">" + inside + (hasHardware ? "" : "<Hardware><Memory RAMSize=\"64\"/></Hardware>") +
           "</Machine></VirtualBox>";
}

std::string hardware(const std::string& inside)
{
    return minimal("<Hardware><Memory RAMSize=\"64\"/>" + inside + "</Hardware>");
}

} // namespace

TEST(MachineSettings, ReadsWhatItKnows)
{
    const MachineSettings settings = parseMachineSettings(richSettings(), file);
    EXPECT_EQ(settings.id, L"11111111-1111-4111-8111-111111111102");
    EXPECT_EQ(toUtf8(settings.name), "安卓 🎮");
    EXPECT_EQ(settings.description, L"two\nlines");
    EXPECT_EQ(settings.lastStateChange, 1709251199000);
    EXPECT_EQ(settings.cpuCount, 2u);
    EXPECT_EQ(settings.memoryMegabytes, 2048u);
    EXPECT_EQ(settings.paravirt, 5u);
    EXPECT_EQ(settings.snapshotCount, 1u);
    EXPECT_EQ(settings.snapshotMedia, std::vector<std::wstring>{L"22222222-2222-4222-8222-222222222203"});
    ASSERT_EQ(settings.adapters.size(), 8u);
    EXPECT_EQ(settings.adapters[0].type, 6u);
    EXPECT_EQ(settings.adapters[0].attachment, 1u);
    ASSERT_EQ(settings.adapters[0].rules.size(), 1u);
    EXPECT_EQ(settings.adapters[0].rules[0].hostPort, 2222);
    EXPECT_TRUE(settings.audio.enabled);
    EXPECT_FALSE(settings.audio.enabledIn);
    EXPECT_EQ(settings.audio.driver, 4u);
    ASSERT_EQ(settings.sharedFolders.size(), 1u);
    EXPECT_EQ(settings.sharedFolders[0].hostPath, L"C:\\");
    EXPECT_EQ(settings.guestProperties.at(L"/a").timestamp, 1709251199123456789);
    EXPECT_EQ(settings.extraData.at(L"k"), L"v & \"w\"");
    ASSERT_EQ(settings.media.size(), 2u);
    EXPECT_EQ(settings.media[0].location, Files::join(folder, L"base.vdi"));
    EXPECT_EQ(settings.media[1].location, Files::join(Files::join(folder, L"Snapshots"), L"diff.vdi"));
    EXPECT_EQ(settings.media[1].parent, settings.media[0].id);
    ASSERT_EQ(settings.controllers.size(), 1u);
    EXPECT_EQ(settings.controllers[0].portCount, 4u);
    ASSERT_EQ(settings.controllers[0].attachments.size(), 1u);
    EXPECT_TRUE(settings.controllers[0].attachments[0].discard);
    EXPECT_TRUE(settings.controllers[0].attachments[0].nonRotational);
}

TEST(MachineSettings, KeepsWhatItDoesNotKnow)
{
    MachineSettings settings = parseMachineSettings(richSettings(), file);
    settings.cpuCount = 4;
    settings.controllers[0].attachments[0].discard = false;
    const std::string text = renderMachineSettings(settings, file);
    for (const char* part : {"futureAttribute=\"7\"", "<Unheard of=\"this\">", "<Deep/>", "<PAE enabled=\"true\"/>",
                             "<DNS use-proxy=\"true\"/>", "hotpluggable=\"false\"", "IDE0MasterEmulationPort=\"0\"",
                             "timeStamp=\"2024-03-02T07:59:00Z\"", "count=\"4\"", "<!-- kept -->"})
        EXPECT_TRUE(contains(text, part)) << part;
    EXPECT_FALSE(contains(text, "discard"));
}

TEST(MachineSettings, ComeBackAsTheyWereWritten)
{
    MachineSettings settings = newMachineSettings(L"\u5C3E <&\"'>", L"Linux26_64");
    settings.description = L"a\tb\nc";
    settings.extraData[L"multi"] = L"one\ntwo\t\"three\" <&>";
    settings.guestProperties[L"/p"] = {L"v\nw", 5, L"TRANSIENT"};
    settings.sharedFolders.push_back({L"f", L"D:\\\u00FC", true, false, L"/mnt"});
    settings.adapters[0].rules.push_back({L"r", 0, L"", 1, L"10.0.2.15", 65535});
    settings.adapters[1].attachment = Travik::NetworkAttachmentType::Bridged; // and yet with rules
    settings.adapters[1].rules.push_back({L"kept", 1, L"", 2, L"", 3});
    StorageControllerSettings ide;
    ide.name = L"IDE";
    ide.bus = 1;
    ide.type = Travik::StorageControllerType::ICH6;
    ide.portCount = 2;
    ide.attachments.push_back({2, 1, 1, false, false, L""});
    settings.controllers.push_back(ide);

    const MachineSettings read = again(again(settings));
    EXPECT_EQ(read.id, settings.id);
    EXPECT_EQ(read.name, settings.name);
    EXPECT_EQ(read.description, settings.description);
    EXPECT_EQ(read.extraData, settings.extraData);
    EXPECT_EQ(read.guestProperties.at(L"/p").value, L"v\nw");
    EXPECT_EQ(read.guestProperties.at(L"/p").flags, L"TRANSIENT");
    ASSERT_EQ(read.sharedFolders.size(), 1u);
    EXPECT_EQ(read.sharedFolders[0].hostPath, L"D:\\\u00FC");
    EXPECT_EQ(read.sharedFolders[0].autoMountPoint, L"/mnt");
    ASSERT_EQ(read.adapters[0].rules.size(), 1u);
    EXPECT_EQ(read.adapters[0].rules[0].guestPort, 65535);
    EXPECT_EQ(read.adapters[1].attachment, 2u);
    ASSERT_EQ(read.adapters[1].rules.size(), 1u);
    EXPECT_EQ(read.adapters[1].rules[0].name, L"kept");
    ASSERT_EQ(read.controllers.size(), 1u);
    EXPECT_EQ(read.controllers[0].type, 6u);
    ASSERT_EQ(read.controllers[0].attachments.size(), 1u);
    EXPECT_TRUE(read.controllers[0].attachments[0].medium.empty());
}

TEST(MachineSettings, ChangedPartsComeBackChanged)
{
    MachineSettings settings = parseMachineSettings(richSettings(), file);
    settings.adapters[0].rules[0] = {L"ssh", 0, L"10.0.0.1", 3333, L"10.0.2.16", 0};
    settings.sharedFolders[0] = {L"pictures", L"D:\\", false, false, L"/mnt"};
    settings.guestProperties[L"/a"] = {L"2", 7, L"TRANSIENT"};
    settings.controllers[0].portCount = 6;
    settings.controllers[0].bootable = false;
    settings.controllers[0].attachments[0].nonRotational = false;

    const MachineSettings read = again(settings);
    const NatRule& rule = read.adapters[0].rules.at(0);
    EXPECT_EQ(rule.protocol, 0u);
    EXPECT_EQ(rule.hostIp, L"10.0.0.1");
    EXPECT_EQ(rule.hostPort, 3333);
    EXPECT_EQ(rule.guestIp, L"10.0.2.16");
    EXPECT_EQ(rule.guestPort, 0) << "not the host's, which an absent one would be";
    const SharedFolderSettings& shared = read.sharedFolders.at(0);
    EXPECT_EQ(shared.hostPath, L"D:\\");
    EXPECT_FALSE(shared.writable);
    EXPECT_FALSE(shared.autoMount);
    EXPECT_EQ(shared.autoMountPoint, L"/mnt");
    const GuestPropertySettings& property = read.guestProperties.at(L"/a");
    EXPECT_EQ(property.value, L"2");
    EXPECT_EQ(property.timestamp, 7);
    EXPECT_EQ(property.flags, L"TRANSIENT");
    EXPECT_EQ(read.controllers.at(0).portCount, 6u);
    EXPECT_FALSE(read.controllers[0].bootable);
    EXPECT_FALSE(read.controllers[0].attachments.at(0).nonRotational);
    EXPECT_TRUE(read.controllers[0].attachments[0].discard) << "was not changed";
}

TEST(MachineSettings, RemovedPartsAreGone)
{
    MachineSettings settings = parseMachineSettings(richSettings(), file);
    settings.adapters[0].rules.clear();
    settings.sharedFolders.clear();
    settings.guestProperties.clear();
    settings.extraData.clear();
    settings.controllers.clear();
    settings.description.clear();
    const MachineSettings read = again(settings);
    EXPECT_TRUE(read.adapters[0].rules.empty());
    EXPECT_TRUE(read.sharedFolders.empty());
    EXPECT_TRUE(read.guestProperties.empty());
    EXPECT_TRUE(read.extraData.empty());
    EXPECT_TRUE(read.controllers.empty());
    EXPECT_TRUE(read.description.empty());
}

TEST(MachineSettings, MediaBelowTheMachineAreWrittenRelative)
{
    MachineSettings settings = newMachineSettings(L"m", L"");
    settings.media.push_back(
        {L"22222222-2222-4222-8222-222222222201", Files::join(folder, L"d.vdi"), L"VDI", L"Normal", 3, L""});
    settings.media.push_back(
        {L"22222222-2222-4222-8222-222222222202", Files::join(elsewhere, L"e.vmdk"), L"VMDK", L"Normal", 3, L""});
    const std::string text = renderMachineSettings(settings, file);
    EXPECT_TRUE(contains(text, "location=\"d.vdi\""));
    EXPECT_TRUE(contains(text, "location=\"" + toUtf8(Files::join(elsewhere, L"e.vmdk")) + "\""));
}

TEST(MachineSettings, RefusesDamage)
{
    const auto controller = [](const std::string& attributes, const std::string& inside = "") {
        return minimal("<StorageControllers><StorageController " + attributes + ">" + inside +
                       "</StorageController></StorageControllers>");
    };
    const std::string device = "<AttachedDevice type=\"DVD\" port=\"0\" device=\"0\"/>";
    for (const std::string& text :
         {std::string(),
          std::string("<VirtualBox"),
          std::string("<Other/>"),
          std::string("<VirtualBox/>"),
          std::string("<VirtualBox version=\"1.16\"/>"),
          std::string("<VirtualBox version=\"1.16\"><Machine uuid=\"{1}\" name=\"m\"/></VirtualBox>"),
          minimal("", ""),
          minimal("", "name=\"m\" lastStateChange=\"2024-13-01T00:00:00Z\""),
          minimal("", "name=\"m\" lastStateChange=\"2024-01-01T00:00:00+01:00\""),
          minimal("<Hardware/>"),
          minimal("<Hardware><Memory RAMSize=\"much\"/></Hardware>"),
          hardware("<Paravirt provider=\"Other\"/>"),
          hardware("<Chipset type=\"piix3\"/>"),
          hardware("<AudioAdapter driver=\"WAS\"/>"),
          hardware("<AudioAdapter controller=\"ac97\"/>"),
          hardware("<Network><Adapter/></Network>"),
          hardware("<Network><Adapter slot=\"0\" type=\"e1000\"/></Network>"),
          hardware("<Network><Adapter slot=\"0\"><NAT/><DisabledModes/><Other/></Adapter></Network>"),
          minimal("<ExtraData><ExtraDataItem name=\"a\"/></ExtraData>"),
          minimal("<MediaRegistry><HardDisks><HardDisk uuid=\"{00000000-0000-0000-0000-000000000000}\" location=\"a\" "
                  "format=\"VDI\"/></HardDisks></MediaRegistry>"),
          minimal("<MediaRegistry><HardDisks><HardDisk uuid=\"{11111111-0000-0000-0000-000000000000}\" location=\"a\"/>"
                  "</HardDisks></MediaRegistry>"),
          minimal("<Snapshot uuid=\"{11111111-0000-0000-0000-000000000000}\" name=\"s\"/>"),
          controller("name=\"a\" type=\"b\""),
          controller("type=\"AHCI\""),
          controller("name=\"a\" type=\"AHCI\"", device + device),
          controller("name=\"a\" type=\"AHCI\"", "<AttachedDevice type=\"HardDisk\" port=\"0\" device=\"0\"/>"),
          controller("name=\"a\" type=\"AHCI\"", "<AttachedDevice type=\"DVD\" port=\"0\"/>"),
          std::string("<!DOCTYPE a [<!ENTITY b \"c\">]>") + minimal("")})
        EXPECT_EQ(readingResult(text), Result::fail) << text;
    EXPECT_EQ(readingResult(minimal("")), Result::ok);
    EXPECT_EQ(readingResult(controller("name=\"a\" type=\"LsiLogic\"")), Result::invalidArgument); // 16 ports, not 2
    EXPECT_EQ(readingResult(controller("name=\"a\" type=\"AHCI\" PortCount=\"31\"")), Result::invalidArgument);
    EXPECT_EQ(readingResult(minimal("<StorageControllers><StorageController name=\"a\" type=\"AHCI\"/>"
                                    "<StorageController name=\"a\" type=\"PIIX4\"/></StorageControllers>")),
              Result::objectInUse);
    const std::string shared = "<SharedFolder name=\"a\"/>";
    EXPECT_EQ(readingResult(hardware("<SharedFolders>" + shared + shared + "</SharedFolders>")), Result::objectInUse);
}

TEST(MachineSettings, FailuresNameTheFileAndTheLine)
{
    try {
        parseMachineSettings("<VirtualBox version=\"1.16\">\n<Machine uuid=\"{11111111-1111-4111-8111-111111111101}\" "
                             "name=\"m\">\n<Hardware>\n<Memory/></Hardware></Machine></VirtualBox>",
                             file);
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_NE(failure.text().find(file), std::wstring::npos);
        EXPECT_NE(failure.text().find(L"<Memory> in line 4"), std::wstring::npos) << toUtf8(failure.text());
    }
}

TEST(MachineSettings, WhatIsNoNumberCountsAsAbsent)
{
    const auto cpus = [](const std::string& count) {
        return parseMachineSettings(hardware("<CPU count=\"" + count + "\"/>"), file).cpuCount;
    };
    EXPECT_EQ(cpus("0x10"), 16u);
    EXPECT_EQ(cpus("010"), 8u);
    for (const char* count : {"many", "4x", "-1", "99999999999", ""})
        EXPECT_EQ(cpus(count), 1u) << count;
}

TEST(MachineSettings, AnyTruthValueSetsAborted)
{
    for (const char* value : {"true", "false", "0", "yes"}) {
        const MachineSettings settings = parseMachineSettings(
            minimal("", "name=\"m\" stateFile=\"s.sav\" aborted=\"" + std::string(value) + "\""), file);
        EXPECT_TRUE(settings.aborted) << value;
        EXPECT_TRUE(settings.stateFile.empty());
    }
    EXPECT_FALSE(parseMachineSettings(minimal("", "name=\"m\" aborted=\"perhaps\""), file).aborted);
    EXPECT_EQ(parseMachineSettings(minimal("", "name=\"m\" stateFile=\"s.sav\""), file).stateFile, L"s.sav");
}

TEST(MachineSettings, AudioDriversOfOtherSystemsBecomeThisOnes)
{
    constexpr std::uint32_t directSound = 4;
    const auto driver = [](const std::string& name) {
        return parseMachineSettings(hardware("<AudioAdapter driver=\"" + name + "\"/>"), file).audio.driver;
    };
    for (const char* name : {"Default", "WinMM", "dsound", "DirectSound", "PULSE", "CoreAudio", "ALSA", "OSS"})
        EXPECT_EQ(driver(name), directSound) << name;
    EXPECT_EQ(driver("null"), 0u);
}

TEST(MachineSettings, AnAbsentGuestPortIsTheHosts)
{
    const auto rules = parseMachineSettings(hardware("<Network><Adapter slot=\"0\"><NAT>"
                                                     "<Forwarding name=\"a\" proto=\"tcp\" hostport=\"70000\"/>"
                                                     "<Forwarding name=\"b\" guestport=\"5\"/>"
                                                     "<Forwarding name=\"a\" hostport=\"1\"/>"
                                                     "</NAT></Adapter></Network>"),
                                            file)
                           .adapters[0]
                           .rules;
    ASSERT_EQ(rules.size(), 2u); // of two equal names the first
    EXPECT_EQ(rules[0].protocol, 1u);
    EXPECT_EQ(rules[0].hostPort, 70000 - 65536);
    EXPECT_EQ(rules[0].guestPort, 70000 - 65536);
    EXPECT_EQ(rules[1].hostPort, 0);
    EXPECT_EQ(rules[1].guestPort, 5);
}

TEST(MachineSettings, RefusesBottomlessNesting)
{
    std::string open, close;
    for (int i = 0; i < 100000; ++i) {
        open += "<a>";
        close += "</a>";
    }
    EXPECT_EQ(readingResult(minimal(open + close)), Result::fail);
}

TEST(MachineSettings, ChipsetDecidesTheNumberOfAdapters)
{
    EXPECT_EQ(adapterCount(1), 8u);
    EXPECT_EQ(adapterCount(2), 36u);
    EXPECT_EQ(parseMachineSettings(hardware("<Chipset type=\"ICH9\"/>"), file).adapters.size(), 36u);
}

TEST(Snapshots, AreTakenOut)
{
    MachineSettings settings = parseMachineSettings(richSettings(), file);
    dropSnapshots(settings);
    const MachineSettings read = again(settings);
    EXPECT_EQ(read.snapshotCount, 0u);
    EXPECT_TRUE(read.snapshotMedia.empty());
    EXPECT_EQ(read.cpuCount, 2u);
}

TEST(Snapshots, OfACopyHaveTheirOwnIdentifiers)
{
    MachineSettings settings = parseMachineSettings(richSettings(), file);
    const std::wstring copy = L"44444444-4444-4444-8444-444444444401";
    renameSnapshots(settings, {{L"22222222-2222-4222-8222-222222222203", copy}});
    const std::string text = renderMachineSettings(settings, file);
    EXPECT_FALSE(contains(text, "33333333-3333-4333-8333-333333333301"));
    EXPECT_EQ(again(settings).snapshotMedia, std::vector<std::wstring>{copy});
}

TEST(GlobalSettings, LastAndKeepWhatTheyDoNotKnow)
{
    const std::wstring home = Files::join(TravikTest::scratchFolder().wstring(), L"home");
    const std::wstring path = Files::join(home, L"VirtualBox.xml");
    Files::writeAtomically(path, R"(<VirtualBox version="1.12-windows"><Global><Unheard of="this"/><MachineRegistry>
        <MachineEntry uuid="{11111111-1111-4111-8111-111111111101}" src="m/m.vbox" more="1"/>
        </MachineRegistry><SystemProperties defaultMachineFolder="m" exclusiveHwVirt="false"/></Global></VirtualBox>)");
    GlobalSettings settings = loadGlobalSettings(path);
    ASSERT_EQ(settings.machines.size(), 1u);
    EXPECT_EQ(settings.machines[0].file, Files::join(Files::join(home, L"m"), L"m.vbox"));
    EXPECT_EQ(settings.defaultMachineFolder, Files::join(home, L"m"));
    settings.machines.push_back({L"11111111-1111-4111-8111-111111111102", Files::join(elsewhere, L"n.vbox")});
    settings.defaultMachineFolder = elsewhere;
    Files::writeAtomically(path, renderGlobalSettings(settings, path));
    const std::string text = Files::read(path);
    for (const std::string& part :
         {std::string("<Unheard of=\"this\"/>"), std::string("more=\"1\""), std::string("exclusiveHwVirt=\"false\""),
          "src=\"" + toUtf8(Files::join(elsewhere, L"n.vbox")) + "\"",
          "defaultMachineFolder=\"" + toUtf8(elsewhere) + "\""})
        EXPECT_TRUE(contains(text, part)) << part;
    EXPECT_EQ(loadGlobalSettings(path).machines.size(), 2u);
    EXPECT_TRUE(loadGlobalSettings(Files::join(home, L"none.xml")).machines.empty());
}

TEST(GlobalSettings, FindTheFileOfAnInterruptedRename)
{
    const std::wstring home = Files::join(TravikTest::scratchFolder().wstring(), L"renaming");
    const std::wstring path = Files::join(home, L"VirtualBox.xml");
    GlobalSettings settings;
    settings.machines.push_back(
        {L"11111111-1111-4111-8111-111111111101", Files::join(home, L"a/a.vbox"), Files::join(home, L"b/b.vbox")});
    Files::writeAtomically(path, renderGlobalSettings(settings, path));
    const auto found = [&] { return loadGlobalSettings(path).machines.at(0).file; };
    EXPECT_EQ(found(), Files::join(home, L"a/a.vbox"));
    Files::writeAtomically(Files::join(home, L"b/a.vbox"), "x");
    EXPECT_EQ(found(), Files::join(home, L"b/a.vbox"));
    Files::move(Files::join(home, L"b/a.vbox"), Files::join(home, L"b/b.vbox"));
    EXPECT_EQ(found(), Files::join(home, L"b/b.vbox"));
    Files::writeAtomically(Files::join(home, L"a/a.vbox"), "x");
    EXPECT_EQ(found(), Files::join(home, L"a/a.vbox"));
}
