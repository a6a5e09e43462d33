// Each control of the stand-in, and that it does what the tests build on.

#include "harness/running_machine.h"
#include "scratch.h"

namespace TravikTest {
namespace {

using testing::HasSubstr;

class Controls : public RunningMachineTest
{
protected:
    /// Milliseconds that finding a machine takes.
    std::int64_t timeToFind()
    {
        const auto begin = std::chrono::steady_clock::now();
        find(Machines::player);
        return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin).count();
    }
};

TEST_F(Controls, StatusNamesTheServerAndItsWorld)
{
    find(Machines::player);
    const std::string status = utf8(control().status());
    EXPECT_THAT(status, HasSubstr(std::to_string(serverProcess())));
    EXPECT_THAT(status, HasSubstr("Player"));
}

TEST_F(Controls, PauseIsRefusedForAMachineThatDoesNotRun)
{
    EXPECT_THROW(control().pause(Machines::player), std::runtime_error);
    EXPECT_THROW(control().pause(L"no such machine"), std::runtime_error);
    launch(Machines::player);
    control().pause(Machines::playerId);
    EXPECT_EQ(stateOf(find(Machines::player)), MachineState::Paused);
}

TEST_F(Controls, FailCountsTimes)
{
    control().fail(L"IVirtualBox::FindMachine", Result::VMError, 2);
    EXPECT_TRUE(refused(sdk.findMachine(Machines::player, nullptr), FindMachineFail, Result::VMError));
    EXPECT_TRUE(refused(sdk.findMachine(Machines::player, nullptr), FindMachineFail, Result::VMError));
    EXPECT_TRUE(done(sdk.findMachine(Machines::player, nullptr)));
}

TEST_F(Controls, FailLetsCallsThroughFirst)
{
    control().fail(L"IVirtualBox::FindMachine", Result::VMError, 1, 2);
    EXPECT_TRUE(done(sdk.findMachine(Machines::player, nullptr)));
    EXPECT_TRUE(done(sdk.findMachine(Machines::player, nullptr)));
    EXPECT_TRUE(refused(sdk.findMachine(Machines::player, nullptr), FindMachineFail, Result::VMError));
    EXPECT_TRUE(done(sdk.findMachine(Machines::player, nullptr)));
}

TEST_F(Controls, FailReachesTheSessionInTheClient)
{
    const VBoxHandle machine = find(Machines::player);
    lockForWriting(machine);
    control().fail(L"ISession::UnlockMachine", Result::AccessDenied);
    EXPECT_TRUE(refused(sdk.unlockMachine(), UnlockMachineFail, Result::AccessDenied));
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(Controls, NullAnswersHandOutNothing)
{
    VBoxHandle machine = 77;
    control().answerNull(L"IVirtualBox::FindMachine");
    EXPECT_TRUE(done(sdk.findMachine(Machines::player, &machine)));
    EXPECT_EQ(machine, 77u);

    // Where an object is needed its absence is the failure.
    machine = find(Machines::player);
    std::wstring text = L"as it was";
    control().answerNull(L"IMachine::get_Name");
    EXPECT_TRUE(done(sdk.getVmName(machine, &text)));
    control().answerNull(L"IVirtualBox::get_SystemProperties");
    EXPECT_EQ(sdk.getDefaultMachineFolder(&text), GetSystemPropertiesFail);
    EXPECT_EQ(sdk.getVBoxError(), 0u);
    std::vector<VBoxHandle> machines;
    control().answerNull(L"IVirtualBox::get_Machines");
    EXPECT_TRUE(failedUnasked(sdk.listVms(&machines), SafeArrayCreateFail));
    EXPECT_TRUE(machines.empty());
    EXPECT_EQ(text, L"as it was");
}

TEST_F(Controls, DelayMakesACallSlow)
{
    find(Machines::player);
    control().delay(L"IVirtualBox::FindMachine", 400);
    EXPECT_GE(timeToFind(), 390);
    control().delay(L"IVirtualBox::FindMachine", 0);
    EXPECT_LT(timeToFind(), 390);
}

TEST_F(Controls, ReferencesCountWhatClientsHold)
{
    ASSERT_TRUE(done(sdk.initComComponent()));
    std::wstring listing;
    const std::uint32_t atRest = control().references(listing);
    EXPECT_GE(atRest, 1u) << "the root object";
    const VBoxHandle first = find(Machines::player);
    const VBoxHandle second = find(Machines::worker);
    EXPECT_EQ(control().references(listing), atRest + 2);
    EXPECT_NE(listing.find(L"IMachine"), std::wstring::npos);
    check(sdk, sdk.releaseMachine(first));
    check(sdk, sdk.releaseMachine(second));
    EXPECT_EQ(control().references(listing), atRest);

    std::vector<VBoxHandle> machines;
    check(sdk, sdk.listVms(&machines));
    for (VBoxHandle machine : machines)
        check(sdk, sdk.releaseMachine(machine));
    EXPECT_EQ(control().references(listing), atRest) << "a list leaves nothing behind";
    check(sdk, sdk.releaseRC());
    EXPECT_EQ(control().references(listing), 0u);
}

TEST_F(Controls, TraceShowsCallsInTheirOrder)
{
    find(Machines::worker);
    control().trace(true);
    const VBoxHandle machine = find(Machines::player);
    EXPECT_EQ(nameOf(machine), Machines::player);
    EXPECT_EQ(sdk.findMachine(L"vm1", nullptr), FindMachineFail);
    control().trace(false);
    find(Machines::emoji);
    const std::string trace = utf8(control().traceText());
    const std::size_t first = trace.find("IVirtualBox::FindMachine");
    const std::size_t second = trace.find("IMachine::get_Name");
    const std::size_t third = trace.rfind("IVirtualBox::FindMachine");
    ASSERT_NE(first, std::string::npos);
    ASSERT_NE(second, std::string::npos);
    EXPECT_LT(first, second);
    EXPECT_LT(second, third);
    EXPECT_THAT(trace.substr(first, second - first), HasSubstr("Player"));
    EXPECT_THAT(trace.substr(third), HasSubstr("vm1"));
    EXPECT_THAT(trace, HasSubstr("0x80bb0001"));
    EXPECT_EQ(trace.find("Worker"), std::string::npos);
    EXPECT_EQ(trace.find("Game"), std::string::npos);
}

TEST_F(Controls, AScenarioSetsSeveralThingsAtOnce)
{
    control().scenario(LR"({"times": {"spawn": 10, "start": 10},
        "faults": [{"call": "IVirtualBox::FindMachine", "result": "0x80BB0003", "times": 1}]})");
    EXPECT_TRUE(refused(sdk.findMachine(Machines::player, nullptr), FindMachineFail, Result::VMError));
    launch(Machines::player);
    EXPECT_THROW(control().scenario(L"{not JSON"), std::runtime_error);
    EXPECT_THROW(control().scenario(LR"({"mistyped": 1})"), std::runtime_error);
}

TEST_F(Controls, ResetBeginsAnew)
{
    launch(Machines::player);
    control().fail(L"IVirtualBox::FindMachine", Result::VMError, 0);
    world().writeMachine(L"Damaged", Machines::damagedId);
    control().reset();
    check(sdk, sdk.resetComComponent());
    EXPECT_EQ(stateOf(find(Machines::player)), MachineState::PoweredOff);
    EXPECT_EQ(nameOf(find(Machines::damagedId)), L"Damaged") << "the world is read from disk again";
    lockForWriting(find(Machines::player));
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(Controls, StopEndsTheServer)
{
    find(Machines::player);
    control().stop();
    awaitServerDeath();
    EXPECT_EQ(sdk.findMachine(Machines::player, nullptr), FindMachineFail);
    EXPECT_EQ(sdk.getVBoxError(), Result::RpcServerUnavailable);
}

// ---- the command line

std::string commandLine(std::vector<std::wstring> arguments, DWORD expected = 0)
{
    ChildProcess program(productFolder() / L"vboxsim.exe", arguments);
    EXPECT_EQ(program.wait(), expected);
    return program.restOfOutput();
}

TEST_F(Controls, TheCommandLineDoesTheSame)
{
    launch(Machines::player);
    const VBoxHandle machine = find(Machines::player);
    EXPECT_THAT(commandLine({L"status"}), HasSubstr("Player"));
    commandLine({L"pause", Machines::player});
    EXPECT_EQ(stateOf(machine), MachineState::Paused);
    EXPECT_TRUE(done(sdk.consoleResume(consoleOf())));
    commandLine({L"fail", L"IMachine::get_Name", L"0x80BB0003", L"--times", L"1"});
    EXPECT_TRUE(refused(sdk.getVmName(machine, nullptr), PutNameFail, Result::VMError));
    EXPECT_THAT(commandLine({L"references"}), HasSubstr("IMachine"));
    commandLine({L"trace", L"on"});
    EXPECT_EQ(nameOf(machine), Machines::player);
    EXPECT_THAT(commandLine({L"trace", L"show"}), HasSubstr("IMachine::get_Name"));
    commandLine({L"trace", L"off"});
    commandLine({L"crash-vm", Machines::player});
    EXPECT_EQ(stateOf(machine), MachineState::Aborted);
    commandLine({L"no-such-verb"}, 2);
}

/// What the command line says on its error output when it fails.
std::string complaint(const std::vector<std::wstring>& arguments)
{
    const std::filesystem::path file = scratchFolder() / L"complaint.txt";
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    const HANDLE errors =
        CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS, 0, nullptr);
    const HANDLE before = GetStdHandle(STD_ERROR_HANDLE);
    SetStdHandle(STD_ERROR_HANDLE, errors);
    ChildProcess program(productFolder() / L"vboxsim.exe", arguments);
    SetStdHandle(STD_ERROR_HANDLE, before);
    EXPECT_EQ(program.wait(), DWORD(1));
    CloseHandle(errors);
    const std::string text = readFile(file);
    std::filesystem::remove(file);
    return text;
}

// A fault on it would never come, and the test that ordered it would pass for nothing.
TEST_F(Controls, ACallThatDoesNotExistIsRefusedWithTheNearest)
{
    EXPECT_THAT(complaint({L"fail", L"IMachine::get_Nam", L"0x80004005"}), HasSubstr("IMachine::get_Name"));
    EXPECT_THAT(complaint({L"die-in", L"IMachine::Nope"}), HasSubstr("There is no call 'IMachine::Nope'"));
    const std::filesystem::path scenario = world().folder() / L"scenario.json";
    writeFile(scenario, R"({"tims": {}})");
    EXPECT_THAT(complaint({L"scenario", scenario.wstring()}), HasSubstr("unknown key 'tims'"));
    EXPECT_THAT(commandLine({L"--version"}), HasSubstr("vboxsim "));
}

} // namespace
} // namespace TravikTest
