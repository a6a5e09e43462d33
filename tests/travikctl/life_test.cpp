// name, create, register, clone, delete, import.

#include "ctl_test.h"
#include "tour/world.h"

using namespace TravikTest;

using TravikctlLife = TravikctlTest;

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
    EXPECT_THAT(settingsOf(L"Neu 🎮"), HasSubstr("RAMSize=\"2048\""));
    EXPECT_EQ(stateOf(L"Neu 🎮"), "powered off");
    const json created = travikctlJson({L"create", L"second"}).json()["created"];
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
    EXPECT_EQ(run.json()["registered"]["name"], "Late");
    EXPECT_EQ(stateOf(L"Late"), "powered off");
    const std::filesystem::path second = world().writeMachine(L"Later", L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4ef3");
    EXPECT_EQ(travikctl({L"register", second.wstring()}).out, "Registered Later.\n");
    EXPECT_TRUE(failed(travikctl({L"register", (folder() / L"none.vbox").wstring()}), 3, {"OpenMachineFail (106)"}));
}

TEST_F(TravikctlLife, cloneCopiesAndRegisters)
{
    ASSERT_TRUE(succeeded(travikctl({L"set", player(), L"--memory", L"1234"})));
    const Outcome run = travikctlJson({L"clone", player(), L"Player's copy"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.json()["cloned"]["name"], "Player's copy");
    EXPECT_NE(run.json()["cloned"]["uuid"], playerId());
    EXPECT_THAT(settingsOf(L"Player's copy"), HasSubstr("RAMSize=\"1234\""));
    EXPECT_EQ(travikctl({L"clone", player(), L"third"}).out, "Cloned Player to third.\n");
    expectRefused({L"clone", L"none", L"x"}, 3, "findMachine", "FindMachineFail", "VBOX_E_OBJECT_NOT_FOUND");
}

TEST_F(TravikctlLife, deleteTakesMachineAndFilesAway)
{
    const Outcome run = travikctl({L"delete", player(), L"--yes"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.out, "Deleted Player with its disks.\n");
    EXPECT_FALSE(std::filesystem::exists(world().machineFile(player()).parent_path()));
    EXPECT_EQ(travikctlJson({L"delete", Machines::workerId, L"--yes"}).json()["deleted"]["uuid"],
              utf8(Machines::workerId));
    expectRefused({L"delete", player(), L"--yes"}, 3, "findMachine", "FindMachineFail", "VBOX_E_OBJECT_NOT_FOUND");
}

TEST_F(TravikctlLife, deleteTakesAnInaccessibleMachineOffTheList)
{
    const Outcome run = travikctl({L"delete", Machines::damagedId, L"--yes"});
    EXPECT_TRUE(failed(run, 1, {"MachineDeleteConfigFail", "no longer registered", "Delete what is left"}));
    EXPECT_EQ(travikctlJson({L"list"}).json()["machines"].size(), Machines::count - 1);
}

TEST_F(TravikctlLife, importBringsAMachineIn)
{
    const std::filesystem::path file = folder() / L"frei 中文.ova";
    writeAppliance(file);
    EXPECT_EQ(travikctl({L"import", file.wstring(), L"--name-only"}).out, "harbour\n");
    const Outcome run = travikctlJson({L"import", file.wstring()});
    ASSERT_TRUE(succeeded(run));
    ASSERT_EQ(run.json()["imported"].size(), 1u);
    EXPECT_EQ(run.json()["imported"][0]["name"], "harbour");
    EXPECT_EQ(stateOf(L"harbour"), "powered off");
    EXPECT_EQ(travikctlJson({L"import", L"--name-only", file.wstring()}).json(), (json{{"name", "harbour_1"}}));
    EXPECT_THAT(travikctl({L"import", file.wstring()}).out, HasSubstr("harbour_1"));
}

TEST_F(TravikctlLife, importTellsWhatIsWrongWithTheFile)
{
    expectRefused({L"import", (folder() / L"none.ova").wstring()}, 3, "importOva", "CheckFileExistsFail", "");
    const std::filesystem::path damaged = folder() / L"damaged.ova";
    writeFile(damaged, "this is no archive");
    const Outcome run = travikctlJson({L"import", damaged.wstring()});
    EXPECT_EQ(run.exitCode, 1) << run.all();
    EXPECT_EQ(run.error()["name"], "ProgressWaitForCompletionFail") << run.all();
}
