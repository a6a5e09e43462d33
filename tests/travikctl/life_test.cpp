// name, create, register, clone, delete, import.

#include <functional>

#include "ctl_test.h"
#include "tour/world.h"

using namespace TravikTest;

class TravikctlLife : public TravikctlTest
{
protected:
    /// VirtualBox's sentence of a task that fails, which must come as JSON and as text, with a log and without. The
    /// preparation runs before each try.
    std::string reasonOf(
        const std::vector<std::wstring>& arguments, const std::function<void()>& prepare = [] {})
    {
        prepare();
        const Outcome run = travikctlJson(arguments);
        EXPECT_EQ(run.exitCode, 1) << run.all();
        EXPECT_EQ(run.error()["name"], "ProgressWaitForCompletionFail") << run.all();
        const std::string reason = run.error().value("reason", "");
        const std::filesystem::path log = folder() / L"ctl.log";
        for (const std::vector<std::wstring>& options :
             {std::vector<std::wstring>{}, {L"--log", log.wstring()}, {L"--log", log.wstring(), L"--verbose"}}) {
            std::vector<std::wstring> words = arguments;
            words.insert(words.end(), options.begin(), options.end());
            prepare();
            const Outcome text = travikctl(words);
            EXPECT_EQ(text.exitCode, 1) << text.all();
            EXPECT_THAT(text.err, HasSubstr(": " + reason + "\n"));
        }
        EXPECT_THAT(readFile(log), HasSubstr("Progress fail desc: "));
        return reason;
    }
};

TEST_F(TravikctlLife, nameIsTheFirstFreeOne)
{
    const Outcome run = travikctlJson({L"name", L"box"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.json()["free"]["name"], "box_1");
    EXPECT_EQ(run.json()["free"]["file"], utf8(world().machineFile(L"box_1").wstring()));
    world().writeMachine(L"box_1", L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4ef1");
    EXPECT_THAT(travikctl({L"name", L"box"}).out, StartsWith("name: box_2\nfile: "));
    EXPECT_EQ(travikctlJson({L"name"}).json()["free"]["name"], "kolbrenix_vbox86_1");
    EXPECT_EQ(travikctl({L"name", L"--file", L"any"}).out, utf8(world().machineFile(L"any").wstring()) + "\n");
    expectRefused({L"name", L"--file", L""}, 1, "composeMachineFilename", "ComposeMachineFilenameFail", "E_INVALIDARG");
}

TEST_F(TravikctlLife, createMakesARegisteredMachine)
{
    const Outcome run = travikctl({L"create", L"Neu 🎮", L"--cpus", L"4", L"--memory", L"2048", L"--extra", L"ctl/a=b"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.out, "Created Neu 🎮.\n");
    EXPECT_THAT(settingsOf(L"Neu _"), HasSubstr("RAMSize=\"2048\"")) << "files have no emoji";
    EXPECT_EQ(stateOf(L"Neu 🎮"), "powered off");
    const json created = travikctlJson({L"create", L"second"}).json()["machine"];
    EXPECT_EQ(created["name"], "second");
    EXPECT_EQ(travikctl({L"get", L"second", L"uuid"}).out, created["uuid"].get<std::string>() + "\n");
    expectRefused({L"create", L"second"}, 1, "createMachine", "CreateMachineFail", "VBOX_E_FILE_ERROR");
}

TEST_F(TravikctlLife, createTakesASettingsFileOfItsOwn)
{
    const std::filesystem::path file = folder() / L"own" / L"own.vbox";
    ASSERT_TRUE(succeeded(travikctl({L"create", L"Own", L"--file", file.wstring()})));
    EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(TravikctlLife, registerTakesASettingsFile)
{
    const std::filesystem::path file = world().writeMachine(L"Late", L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4ef2");
    const Outcome run = travikctlJson({L"register", file.wstring()});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.json()["machine"]["name"], "Late");
    EXPECT_EQ(stateOf(L"Late"), "powered off");
    const std::filesystem::path second = world().writeMachine(L"Later", L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4ef3");
    EXPECT_EQ(travikctl({L"register", second.wstring()}).out, "Registered Later.\n");
    EXPECT_TRUE(
        failed(travikctl({L"register", (folder() / L"none.vbox").wstring()}), 3,
               {"the settings file is missing or cannot be read: " + utf8((folder() / L"none.vbox").wstring())}));
}

TEST_F(TravikctlLife, cloneCopiesAndRegisters)
{
    ASSERT_TRUE(succeeded(travikctl({L"set", player(), L"--memory", L"1234"})));
    const Outcome run = travikctlJson({L"clone", player(), L"Player's copy"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.json()["machine"]["name"], "Player's copy");
    EXPECT_NE(run.json()["machine"]["uuid"], playerId());
    EXPECT_THAT(settingsOf(L"Player_s copy"), HasSubstr("RAMSize=\"1234\""));
    EXPECT_EQ(travikctl({L"clone", player(), L"third"}).out, "Cloned Player to third.\n");
    expectRefused({L"clone", L"none", L"x"}, 3, "findMachine", "FindMachineFail", "VBOX_E_OBJECT_NOT_FOUND");
}

TEST_F(TravikctlLife, deleteTakesMachineAndFilesAway)
{
    const Outcome run = travikctl({L"delete", player(), L"--yes"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.out, "Deleted Player with its disks.\n");
    EXPECT_FALSE(std::filesystem::exists(world().machineFile(player()).parent_path()));
    EXPECT_EQ(travikctlJson({L"delete", Machines::workerId, L"--yes"}).json()["results"][0]["uuid"],
              utf8(Machines::workerId));
    expectRefused({L"delete", player(), L"--yes"}, 3, "findMachine", "FindMachineFail", "VBOX_E_OBJECT_NOT_FOUND");
}

TEST_F(TravikctlLife, deleteTakesAnInaccessibleMachineOffTheList)
{
    const Outcome run = travikctl({L"delete", Machines::damagedId, L"--yes"});
    EXPECT_TRUE(failed(run, 1, {"no longer registered", "Delete what is left"}));
    EXPECT_EQ(travikctlJson({L"list"}).json()["machines"].size(), Machines::count - 1);
}

TEST_F(TravikctlLife, importBringsAMachineIn)
{
    const std::filesystem::path file = folder() / L"frei 中文.ova";
    writeAppliance(file);
    EXPECT_EQ(travikctl({L"import", file.wstring(), L"--name-only"}).out, "harbour\n");
    const Outcome run = travikctlJson({L"import", file.wstring()});
    ASSERT_TRUE(succeeded(run));
    const json results = run.json()["results"];
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0]["file"], utf8(file.wstring()));
    EXPECT_EQ(results[0]["machines"][0]["name"], "harbour");
    EXPECT_EQ(stateOf(L"harbour"), "powered off");
    EXPECT_EQ(travikctlJson({L"import", L"--name-only", file.wstring()}).facts(),
              (json{{"results",
                     {{{"file", utf8(file.wstring())},
                       {"outcome", "done"},
                       {"machines", {{{"name", "harbour 1"}, {"uuid", nullptr}}}}}}}}));
    EXPECT_THAT(travikctl({L"import", file.wstring()}).out, HasSubstr("harbour 1"));
}

TEST_F(TravikctlLife, importTellsWhatIsWrongWithTheFile)
{
    expectRefused({L"import", (folder() / L"none.ova").wstring()}, 3, "importOva", "CheckFileExistsFail", "");
    const std::filesystem::path damaged = folder() / L"damaged.ova";
    writeFile(damaged, "this is no archive");
    EXPECT_THAT(reasonOf({L"import", damaged.wstring()}), HasSubstr("archive is damaged"));
}

TEST_F(TravikctlLife, aFailedCloneTellsVirtualBoxsOwnSentence)
{
    const std::filesystem::path disk = folder() / L"磁盘.vdi";
    writeVdi(disk, L"7d3f5b00-1111-4222-8333-444455556666");
    ASSERT_TRUE(succeeded(travikctl({L"disk", L"attach", player(), L"SATA", disk.wstring()})));
    std::filesystem::remove(disk);
    EXPECT_THAT(reasonOf({L"clone", player(), L"copy"}), HasSubstr("磁盘.vdi")) << "with the log's escapes undone";
}

TEST_F(TravikctlLife, aFailedDeletionTellsVirtualBoxsOwnSentence)
{
    vboxsim({L"fail", L"IMachine::DeleteConfig.progress", L"0x80004005"});
    const auto createAgain = [] { travikctl({L"create", L"doomed"}); }; // its settings file goes all the same
    EXPECT_EQ(reasonOf({L"delete", L"doomed", L"--yes"}, createAgain), "Failure ordered by a test");
}

TEST_F(TravikctlLife, createTakesAnotherMachinesSettingsAndDisks)
{
    const std::filesystem::path disk = folder() / L"model.vdi";
    writeVdi(disk, L"7d3f5b00-1111-4222-8333-444455556666");
    ASSERT_TRUE(succeeded(travikctl({L"disk", L"attach", player(), L"SATA", disk.wstring()})));
    const std::wstring model = world().machineFile(player()).wstring();
    const Outcome run = travikctl({L"create", L"Second", L"--from", model, L"--memory", L"777"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_THAT(settingsOf(L"Second"), HasSubstr("RAMSize=\"777\""));
    EXPECT_EQ(travikctl({L"disk", L"ports", L"Second", L"SATA"}).out, "4\n");
    const json copy = travikctlJson({L"disk", L"current", L"Second", L"SATA"}).json()["disk"];
    EXPECT_NE(copy["location"], utf8(disk.wstring())) << "a disk of its own";
    expectRefused({L"create", L"Third", L"--from", (folder() / L"none.vbox").wstring()}, 3, "openMachine",
                  "OpenMachineFail", "E_FAIL");
    EXPECT_EQ(travikctl({L"show", L"Third"}).exitCode, 3) << "nothing was made";
}

TEST_F(TravikctlLife, severalAreDoneInOneCall)
{
    const Outcome run = travikctl({L"delete", player(), L"nobody", Machines::workerId, L"--yes"});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.out, "Deleted Player with its disks.\nDeleted " + utf8(Machines::workerId) +
                           " with its disks.\n2 of 3 done, 1 failed.\n");
    EXPECT_THAT(run.err, StartsWith("travikctl delete nobody: no registered machine has exactly this name or UUID"));
    const Outcome again = travikctlJson({L"delete", L"nobody", player(), L"--yes"});
    EXPECT_EQ(again.exitCode, 3);
    EXPECT_EQ(again.json()["results"].size(), 2u);
    EXPECT_EQ(again.json()["results"][1]["error"]["code"], 107);
    EXPECT_EQ(again.error()["exitCode"], 3);
}

TEST_F(TravikctlLife, importTakesSeveralFiles)
{
    const std::filesystem::path file = folder() / L"harbour.ova";
    writeAppliance(file);
    const Outcome run = travikctl({L"import", file.wstring(), (folder() / L"none.ova").wstring(), file.wstring()});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_THAT(run.out, HasSubstr("Imported harbour ("));
    EXPECT_THAT(run.out, HasSubstr("Imported harbour 1 ("));
    EXPECT_THAT(run.out, HasSubstr("\n2 of 3 done, 1 failed.\n"));
    EXPECT_EQ(stateOf(L"harbour 1"), "powered off");
}
