// The samples do what their first lines promise.

#include "ctl_test.h"
#include "tour/world.h"

using namespace TravikTest;

class SampleTest : public TravikctlTest
{
protected:
    static Outcome sample(const std::wstring& name, const std::vector<std::wstring>& arguments)
    {
        return runProgram(program(name), arguments);
    }
    static std::filesystem::path program(const std::wstring& name)
    {
        return productFolder() / L"samples" / (L"sample_" + name + L".exe");
    }
};

TEST_F(SampleTest, listMachines)
{
    const Outcome run = sample(L"list_machines", {});
    ASSERT_EQ(run.exitCode, 0) << run.all();
    EXPECT_THAT(run.out, HasSubstr(playerId() + "  Player  (powered off)"));
    EXPECT_THAT(run.out, HasSubstr("Game 🎮"));
    EXPECT_THAT(run.out, HasSubstr(utf8(Machines::damagedId) + "  inaccessible: "));
    EXPECT_THAT(run.out, HasSubstr("5 machines"));
}

TEST_F(SampleTest, machineLife)
{
    const Outcome run = sample(L"machine_life", {L"生命"});
    ASSERT_EQ(run.exitCode, 0) << run.all();
    for (const char* line : {"created ", "2 processors, 1024 MB", "started", "stopped", "deleted; waited "})
        EXPECT_THAT(run.out, HasSubstr(line));
    EXPECT_FALSE(std::filesystem::exists(world().machineFile(L"生命_1").parent_path()));
}

TEST_F(SampleTest, importAppliance)
{
    const std::filesystem::path file = folder() / L"harbour.ova";
    writeAppliance(file);
    const Outcome run = sample(L"import_appliance", {file.wstring()});
    ASSERT_EQ(run.exitCode, 0) << run.all();
    EXPECT_THAT(run.out, HasSubstr("imported harbour, "));
    EXPECT_EQ(sample(L"import_appliance", {L"none.ova"}).exitCode, 1);
}

TEST_F(SampleTest, watchEvents)
{
    ASSERT_TRUE(succeeded(travikctl({L"start", player()})));
    Program watcher(program(L"watch_events"), {player()});
    ASSERT_TRUE(soon([&] { return watcher.outSoFar().find("state 5") != std::string::npos; }));
    vboxsim({L"runtime-error", player(), L"--id", L"HostMemoryLow", L"--message", L"low"});
    ASSERT_TRUE(succeeded(travikctl({L"stop", player()})));
    const Outcome run = watcher.wait();
    ASSERT_EQ(run.exitCode, 0) << run.all();
    EXPECT_THAT(run.out, HasSubstr("error HostMemoryLow: low"));
    EXPECT_THAT(run.out, HasSubstr("state 1"));
}

TEST_F(SampleTest, handleErrors)
{
    const Outcome run = sample(L"handle_errors", {player()});
    ASSERT_EQ(run.exitCode, 0) << run.all();
    EXPECT_THAT(run.out,
                HasSubstr("1. there is no such machine; findMachine gave FindMachineFail, VBOX_E_OBJECT_NOT_FOUND"));
    EXPECT_THAT(run.out, HasSubstr("2. COM_Get_MachineFail with HRESULT 0"));
    EXPECT_THAT(run.out, HasSubstr("3. still locked after the deadline, as expected"));
    EXPECT_THAT(run.out, HasSubstr("4. Player is there"));
}

TEST_F(SampleTest, handleErrorsSurvivesTheServer)
{
    vboxsim({L"die-in", L"IMachine::get_Name"});
    const Outcome run = sample(L"handle_errors", {player()});
    ASSERT_EQ(run.exitCode, 0) << run.all();
    EXPECT_THAT(run.out, HasSubstr("4. the server is gone, RPC_S_CALL_FAILED; connecting again"));
    EXPECT_THAT(run.out, HasSubstr("4. Player is there"));
}

TEST_F(SampleTest, testYourFrontEnd)
{
    const Outcome run = sample(L"test_your_front_end", {(productFolder() / L"vboxsim.exe").wstring(), player()});
    EXPECT_EQ(run.exitCode, 0) << run.all();
    EXPECT_THAT(run.out, Not(HasSubstr("FAILED")));
}
