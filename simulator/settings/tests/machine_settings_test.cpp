#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/files.h"
#include "fixtures.h"
#include "scratch.h"
#include "settings/global_settings.h"
#include "settings/machine_settings.h"
#include "settings/snapshots.h"

using namespace VBoxSim;

namespace {

const std::wstring file = L"C:\\machines\\x\\x.vbox";

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
    return "<VirtualBox><Machine uuid=\"{11111111-1111-4111-8111-111111111101}\" " + attributes + ">" + inside +
           "</Machine></VirtualBox>";
}

} // namespace

TEST(MachineSettings, ReadsWhatItKnows)
{
    const MachineSettings settings = parseMachineSettings(richSettings(), file);
    EXPECT_EQ(settings.id, L"11111111-1111-4111-8111-111111111102");
    EXPECT_EQ(settings.name, L"安卓 🎮");
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
    EXPECT_EQ(settings.media[0].location, L"C:\\machines\\x\\base.vdi");
    EXPECT_EQ(settings.media[1].location, L"C:\\machines\\x\\Snapshots\\diff.vdi");
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
    MachineSettings settings = newMachineSettings(L"尾 <&\"'>", L"Linux26_64");
    settings.description = L"a\tb\nc";
    settings.extraData[L"multi"] = L"one\ntwo\t\"three\" <&>";
    settings.guestProperties[L"/p"] = {L"v\nw", 5, L"TRANSIENT"};
    settings.sharedFolders.push_back({L"f", L"D:\\ü", true, false, L"/mnt"});
    settings.adapters[0].rules.push_back({L"r", 0, L"", 1, L"10.0.2.15", 65535});
    settings.adapters[1].attachment = 2; // bridged, and yet with rules
    settings.adapters[1].rules.push_back({L"kept", 1, L"", 2, L"", 3});
    StorageControllerSettings ide;
    ide.name = L"IDE";
    ide.bus = 1;
    ide.type = 6;
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
    EXPECT_EQ(read.sharedFolders[0].hostPath, L"D:\\ü");
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
        {L"22222222-2222-4222-8222-222222222201", L"C:\\machines\\x\\d.vdi", L"VDI", L"Normal", 3, L""});
    settings.media.push_back({L"22222222-2222-4222-8222-222222222202", L"D:\\far\\e.vmdk", L"VMDK", L"Normal", 3, L""});
    const std::string text = renderMachineSettings(settings, file);
    EXPECT_TRUE(contains(text, "location=\"d.vdi\""));
    EXPECT_TRUE(contains(text, "location=\"D:\\far\\e.vmdk\""));
}

TEST(MachineSettings, RefusesDamage)
{
    for (const std::string& text :
         {std::string(), std::string("<VirtualBox"), std::string("<Other/>"), std::string("<VirtualBox/>"),
          std::string("<VirtualBox><Machine uuid=\"{1}\" name=\"m\"/></VirtualBox>"), minimal("", ""),
          minimal("<Hardware><CPU count=\"many\"/></Hardware>"), minimal("<Hardware><CPU count=\"-1\"/></Hardware>"),
          minimal("<Hardware><Paravirt provider=\"Other\"/></Hardware>"),
          minimal("<Hardware><AudioAdapter enabled=\"perhaps\"/></Hardware>"),
          minimal("<StorageControllers><StorageController name=\"a\" type=\"b\"/></StorageControllers>"),
          std::string("<!DOCTYPE a [<!ENTITY b \"c\">]>") + minimal("")})
        EXPECT_EQ(readingResult(text), Result::xmlError) << text;
    EXPECT_EQ(readingResult(minimal("")), Result::ok);
}

TEST(MachineSettings, RefusesBottomlessNesting)
{
    std::string open, close;
    for (int i = 0; i < 100000; ++i) {
        open += "<a>";
        close += "</a>";
    }
    EXPECT_EQ(readingResult(minimal(open + close)), Result::xmlError);
}

TEST(MachineSettings, ChipsetDecidesTheNumberOfAdapters)
{
    EXPECT_EQ(adapterCount(1), 8u);
    EXPECT_EQ(adapterCount(2), 36u);
    const MachineSettings settings =
        parseMachineSettings(minimal("<Hardware><Chipset type=\"ICH9\"/></Hardware>"), file);
    EXPECT_EQ(settings.adapters.size(), 36u);
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

TEST(Files, ReplacingKeepsThePreviousVersion)
{
    const std::wstring target = Files::join(TravikTest::scratchFolder().wstring(), L"文件夹\\a.txt");
    Files::writeAtomically(target, "one", target + L"-prev");
    EXPECT_FALSE(Files::exists(target + L"-prev"));
    Files::writeAtomically(target, "two", target + L"-prev");
    EXPECT_EQ(Files::read(target), "two");
    EXPECT_EQ(Files::read(target + L"-prev"), "one");
    EXPECT_FALSE(Files::exists(target + L"-tmp"));
}

TEST(Files, LongPathsWork)
{
    std::wstring folder = TravikTest::scratchFolder().wstring();
    for (int i = 0; i < 6; ++i)
        folder = Files::join(folder, std::wstring(60, static_cast<wchar_t>(L'a' + i)));
    const std::wstring target = Files::join(folder, L"deep.txt");
    ASSERT_GT(target.size(), 300u);
    Files::writeAtomically(target, "deep");
    EXPECT_EQ(Files::read(target), "deep");
    EXPECT_TRUE(Files::remove(target));
    EXPECT_FALSE(Files::exists(target));
    for (int i = 0; i < 6; ++i) { // the next run could not remove them: they are too deep for it
        EXPECT_TRUE(Files::removeEmptyFolder(folder));
        folder = Files::folderOf(folder);
    }
}

TEST(Files, RelativePathsAreSeenFromTheirFolder)
{
    EXPECT_EQ(Files::resolve(L"C:\\a\\b", L"..\\c.vdi"), L"C:\\a\\c.vdi");
    EXPECT_EQ(Files::resolve(L"C:\\a", L"D:\\x"), L"D:\\x");
    EXPECT_EQ(Files::relativeTo(L"C:\\a", L"c:\\A\\b\\c.vdi"), L"b\\c.vdi");
    EXPECT_EQ(Files::relativeTo(L"C:\\a", L"C:\\ab\\c.vdi"), L"C:\\ab\\c.vdi");
    EXPECT_TRUE(Files::isAbsolute(L"\\\\server\\share\\x"));
    EXPECT_EQ(Files::resolve(L"C:\\a", L"\\\\server\\share\\b\\..\\c"), L"\\\\server\\share\\c");
    EXPECT_FALSE(Files::isAbsolute(L"x.vbox"));
    EXPECT_FALSE(Files::isAbsolute(L"\\x.vbox"));
}

TEST(GlobalSettings, LastAndKeepWhatTheyDoNotKnow)
{
    const std::wstring home = Files::join(TravikTest::scratchFolder().wstring(), L"home");
    const std::wstring path = Files::join(home, L"VirtualBox.xml");
    Files::writeAtomically(path, R"(<VirtualBox version="1.12-windows"><Global><Unheard of="this"/><MachineRegistry>
        <MachineEntry uuid="{11111111-1111-4111-8111-111111111101}" src="m\m.vbox" more="1"/>
        </MachineRegistry><SystemProperties defaultMachineFolder="m" exclusiveHwVirt="false"/></Global></VirtualBox>)");
    GlobalSettings settings = loadGlobalSettings(path);
    ASSERT_EQ(settings.machines.size(), 1u);
    EXPECT_EQ(settings.machines[0].file, Files::join(home, L"m\\m.vbox"));
    EXPECT_EQ(settings.defaultMachineFolder, Files::join(home, L"m"));
    settings.machines.push_back({L"11111111-1111-4111-8111-111111111102", L"D:\\n\\n.vbox"});
    settings.defaultMachineFolder = L"D:\\n";
    Files::writeAtomically(path, renderGlobalSettings(settings, path));
    const std::string text = Files::read(path);
    for (const char* part : {"<Unheard of=\"this\"/>", "more=\"1\"", "src=\"D:\\n\\n.vbox\"",
                             "exclusiveHwVirt=\"false\"", "defaultMachineFolder=\"D:\\n\""})
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
        {L"11111111-1111-4111-8111-111111111101", Files::join(home, L"a\\a.vbox"), Files::join(home, L"b\\b.vbox")});
    Files::writeAtomically(path, renderGlobalSettings(settings, path));
    const auto found = [&] { return loadGlobalSettings(path).machines.at(0).file; };
    EXPECT_EQ(found(), Files::join(home, L"a\\a.vbox"));
    Files::writeAtomically(Files::join(home, L"b\\a.vbox"), "x");
    EXPECT_EQ(found(), Files::join(home, L"b\\a.vbox"));
    Files::move(Files::join(home, L"b\\a.vbox"), Files::join(home, L"b\\b.vbox"));
    EXPECT_EQ(found(), Files::join(home, L"b\\b.vbox"));
    Files::writeAtomically(Files::join(home, L"a\\a.vbox"), "x");
    EXPECT_EQ(found(), Files::join(home, L"a\\a.vbox"));
}
