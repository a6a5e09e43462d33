// The samples do what their first lines promise.

#include "ctl_test.h"
#include "tour/world.h"

using namespace TravikTest;

class SampleTest : public TravikctlTest
{
protected:
    static Outcome sample(const std::wstring& name, const std::vector<std::wstring>& arguments)
    {
        Outcome run = runProgram(program(name), arguments);
        std::erase(run.out, '\r'); // standard output in text mode
        return run;
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
    for (const char* line : {"created ", "2 processors, 1024 MB", "started", "stopped", "deleted"})
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
    ASSERT_TRUE(soon([&] { return watcher.outSoFar().find("running") != std::string::npos; }));
    vboxsim({L"runtime-error", player(), L"--id", L"HostMemoryLow", L"--message", L"low"});
    ASSERT_TRUE(succeeded(travikctl({L"stop", player()})));
    const Outcome run = watcher.wait();
    ASSERT_EQ(run.exitCode, 0) << run.all();
    EXPECT_THAT(run.out, HasSubstr("error HostMemoryLow: low"));
    EXPECT_THAT(run.out, HasSubstr("powered off"));
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

TEST_F(SampleTest, frontEnd)
{
    const std::filesystem::path file = folder() / L"harbour.ova";
    writeAppliance(file);
    const Outcome run = sample(L"front_end", {file.wstring()});
    ASSERT_EQ(run.exitCode, 0) << run.all();
    EXPECT_THAT(run.out, StartsWith("Player, powered off\n"));
    EXPECT_THAT(run.out, HasSubstr(utf8(Machines::damagedId) + ", unreadable\n"));
    EXPECT_THAT(run.out, HasSubstr("imported harbour\nset up\nstarted\n"));
    EXPECT_THAT(run.out, testing::EndsWith("stopped\ndeleted\n"));
    EXPECT_EQ(travikctl({L"show", L"harbour"}).exitCode, 3) << "nothing is left";
    const Outcome refused = sample(L"front_end", {L"C:\\a?b.ova"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.out, HasSubstr("that did not work: ")) << "in words, and with the path";
    EXPECT_THAT(refused.out, HasSubstr("a?b.ova"));
}

TEST_F(SampleTest, windowStaysAliveWhileVirtualBoxTakesItsTime)
{
    Control control;
    control.delay(L"IMachine::get_Name", 1'000);
    Program showing(program(L"window"), {});
    ASSERT_TRUE(soon([&] { return FindWindowW(L"TravikMachines", nullptr) != nullptr; }));
    const HWND window = FindWindowW(L"TravikMachines", nullptr);
    DWORD_PTR answer = 0;
    EXPECT_NE(SendMessageTimeoutW(window, WM_NULL, 0, 0, SMTO_ABORTIFHUNG, 900, &answer), 0) << "it hangs in a call";
    ASSERT_TRUE(
        soon([&] { return showing.outSoFar().find("shows 5 lines") != std::string::npos; }, milliseconds(60'000)));
    PostMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_EQ(showing.wait().exitCode, 0);
    control.reset();
}

TEST_F(SampleTest, testYourFrontEnd)
{
    const Outcome run = sample(L"test_your_front_end", {(productFolder() / L"vboxsim.exe").wstring(), player()});
    EXPECT_EQ(run.exitCode, 0) << run.all();
    EXPECT_THAT(run.out, Not(HasSubstr("FAILED")));
}
