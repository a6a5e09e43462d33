// list, show, get, set.

#include "ctl_test.h"

using namespace TravikTest;

using TravikctlMachines = TravikctlTest;

TEST_F(TravikctlMachines, listIsATableThatMarksWhatCannotBeRead)
{
    const Outcome run = travikctl({L"list"});
    ASSERT_TRUE(succeeded(run));
    // The widest name takes eight columns: East Asian characters and emoji take two each.
    EXPECT_THAT(run.out, StartsWith("name      uuid "));
    EXPECT_THAT(run.out, HasSubstr("Player    3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4e01  powered off\n"));
    EXPECT_THAT(run.out, HasSubstr("中文机器  3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4e03  powered off\n"));
    EXPECT_THAT(run.out, HasSubstr("Game 🎮   3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4e04  powered off\n"));
    EXPECT_THAT(run.out, HasSubstr("-         3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4e05  inaccessible\n"));
    EXPECT_THAT(run.out, HasSubstr("note: "));
}

TEST_F(TravikctlMachines, listIsJsonToo)
{
    const Outcome run = travikctlJson({L"list"});
    ASSERT_TRUE(succeeded(run));
    const json machines = run.json()["machines"];
    ASSERT_EQ(machines.size(), Machines::count);
    EXPECT_EQ(machines[0], (json{{"name", "Player"},
                                 {"uuid", playerId()},
                                 {"state", "PoweredOff"},
                                 {"stateText", "powered off"},
                                 {"accessible", true},
                                 {"problem", nullptr}}));
    EXPECT_EQ(machines[3]["name"], "Game 🎮");
    EXPECT_EQ(machines[4]["name"], json());
    EXPECT_EQ(machines[4]["uuid"], utf8(Machines::damagedId));
    EXPECT_EQ(machines[4]["state"], "Inaccessible");
    EXPECT_EQ(machines[4]["accessible"], false);
    EXPECT_THAT(machines[4].value("problem", ""), HasSubstr("getVmName"));
}

TEST_F(TravikctlMachines, listHasFilters)
{
    const auto names = [](const std::vector<std::wstring>& arguments) {
        std::vector<std::string> found;
        const json document = travikctlJson(arguments).json();
        for (const json& machine : document["machines"])
            found.push_back(machine["name"].is_null() ? "-" : machine["name"].get<std::string>());
        return found;
    };
    EXPECT_EQ(names({L"list", L"--name", L"PLAY"}), std::vector<std::string>{"Player"});
    EXPECT_EQ(names({L"list", L"--name", L"机器"}), std::vector<std::string>{"中文机器"});
    EXPECT_EQ(names({L"list", L"--name", L"nobody"}), std::vector<std::string>());
    EXPECT_EQ(names({L"list", L"--state", L"Inaccessible"}), std::vector<std::string>{"-"});
    EXPECT_EQ(names({L"list", L"--state", L"PoweredOff"}).size(), Machines::count - 1);
    ASSERT_TRUE(succeeded(travikctl({L"start", player()})));
    EXPECT_EQ(names({L"list", L"--state", L"Running"}), std::vector<std::string>{"Player"});
    EXPECT_EQ(travikctl({L"list", L"--names", L"--name", L"ga"}).out, "Game 🎮\n");
    EXPECT_TRUE(failed(travikctl({L"list", L"--state", L"running about"}), 2, {"PoweredOff"}));
}

TEST_F(TravikctlMachines, quietKeepsResultsAndDropsRemarks)
{
    EXPECT_EQ(travikctl({L"--quiet", L"set", player(), L"--cpus", L"2"}).out, "");
    const Outcome run = travikctl({L"list", L"-q"});
    EXPECT_THAT(run.out, HasSubstr("Player"));
    EXPECT_THAT(run.out, Not(HasSubstr("note:")));
    EXPECT_TRUE(failed(travikctl({L"-q", L"show", L"none"}), 3, {"no registered machine"}));
}

TEST_F(TravikctlMachines, showFindsByNameUuidAndSettingsFile)
{
    const std::filesystem::path file = world().writeMachine(L"Unregistered", L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4eff");
    const auto shown = [](const std::wstring& which) { return travikctlJson({L"show", which}).json()["machine"]; };
    const json expected{
        {"name", "Player"}, {"uuid", playerId()}, {"state", "PoweredOff"}, {"stateText", "powered off"}};
    EXPECT_EQ(shown(player()), expected);
    EXPECT_EQ(shown(Machines::playerId), expected);
    EXPECT_EQ(shown(Machines::chinese)["name"], "中文机器");
    EXPECT_EQ(shown(file.wstring())["name"], "Unregistered");
    EXPECT_EQ(shown(std::filesystem::relative(file).wstring())["name"], "Unregistered");
    EXPECT_EQ(shown(std::filesystem::relative(world().machineFile(Machines::player)).wstring()), expected);

    const Outcome text = travikctl({L"show", player()});
    EXPECT_TRUE(succeeded(text));
    EXPECT_EQ(text.out, "name:  Player\nuuid:  " + playerId() + "\nstate: powered off\n");
}

TEST_F(TravikctlMachines, showTellsWhatDoesNotExist)
{
    expectRefused({L"show", L"player"}, 3, "findMachine", "FindMachineFail", "VBOX_E_OBJECT_NOT_FOUND");
    expectRefused({L"show", L"Player 1.2"}, 3, "findMachine", "FindMachineFail", "VBOX_E_OBJECT_NOT_FOUND");
    expectRefused({L"show", (folder() / L"none.vbox").wstring()}, 3, "openMachine", "OpenMachineFail", "E_FAIL");
    EXPECT_EQ(travikctlJson({L"show", Machines::damagedId}).exitCode, 1);
}

TEST_F(TravikctlMachines, showOpensNoFileWhenTheSearchItselfFails)
{
    const std::filesystem::path file = world().writeMachine(L"Unregistered", L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4eff");
    vboxsim({L"fail", L"IVirtualBox::FindMachine", L"0x80BB0003", L"--times", L"2"});
    expectRefused({L"show", file.wstring()}, 1, "findMachine", "FindMachineFail", "VBOX_E_VM_ERROR");
}

TEST_F(TravikctlMachines, setChangesAndSaves)
{
    const Outcome run = travikctl({L"set", player(), L"--cpus", L"3", L"--memory", L"1536", L"--paravirt", L"kvm",
                                   L"--extra", L"ctl/owner=健吾=x", L"--extra", L"ctl/empty="});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.out, "Changed Player.\n");
    const std::string settings = settingsOf(player());
    EXPECT_THAT(settings, HasSubstr("count=\"3\""));
    EXPECT_THAT(settings, HasSubstr("RAMSize=\"1536\""));
    EXPECT_THAT(settings, HasSubstr("provider=\"KVM\""));
    EXPECT_EQ(travikctl({L"get", player(), L"--extra", L"ctl/owner"}).out, "健吾=x\n");
    EXPECT_EQ(travikctlJson({L"get", player(), L"--extra", L"ctl/none"}).facts(),
              (json{{"what", "extra"}, {"value", ""}}));
    EXPECT_EQ(travikctlJson({L"set", player(), L"--cpus", L"2"}).facts(), (json{{"machine", "Player"}}));
}

TEST_F(TravikctlMachines, setRenames)
{
    ASSERT_TRUE(succeeded(travikctl({L"set", player(), L"--name", L"Renamed 玩家"})));
    EXPECT_EQ(travikctl({L"get", Machines::playerId, L"name"}).out, "Renamed 玩家\n");
    EXPECT_TRUE(std::filesystem::exists(world().machineFile(L"Renamed 玩家")));
    EXPECT_FALSE(std::filesystem::exists(world().machineFile(player())));
}

TEST_F(TravikctlMachines, setKeepsNothingWhenOneValueIsRefused)
{
    const std::string before = settingsOf(player());
    expectRefused({L"set", player(), L"--cpus", L"3", L"--memory", L"0"}, 1, "setMachineMemory", "SetMachineMemoryFail",
                  "E_INVALIDARG");
    EXPECT_EQ(settingsOf(player()), before);
    EXPECT_EQ(travikctl({L"set", player()}).exitCode, 2);
    EXPECT_TRUE(succeeded(travikctl({L"set", player(), L"--cpus", L"1"}))) << "no lock is left";
}

TEST_F(TravikctlMachines, getAnswersOneValue)
{
    EXPECT_EQ(travikctl({L"get", player()}).out, "powered off\n");
    EXPECT_EQ(travikctl({L"get", player(), L"uuid"}).out, playerId() + "\n");
    EXPECT_EQ(travikctlJson({L"get", player(), L"name"}).facts(), (json{{"what", "name"}, {"value", "Player"}}));
    EXPECT_EQ(travikctlJson({L"get", player()}).facts(), (json{{"what", "state"}, {"value", "PoweredOff"}}));
    expectRefused({L"get", L"none", L"name"}, 3, "findMachine", "FindMachineFail", "VBOX_E_OBJECT_NOT_FOUND");
}
