// Machines that start, run, pause, fail and stop, and the progress objects that tell of it.

#include "harness/running_machine.h"

namespace TravikTest {
namespace {

using testing::HasSubstr;

class VmLife : public RunningMachineTest
{};

TEST_F(VmLife, StartsPausesResumesAndPowersDown)
{
    const VBoxHandle machine = find(Machines::player);
    VBoxHandle launch = 0;
    ASSERT_TRUE(done(sdk.launchVMProcess(machine, L"headless", {L"TRAVIK_TEST=1"}, &launch)));
    EXPECT_TRUE(soon([&] { return stateOf(machine) == MachineState::Starting; }));
    EXPECT_TRUE(done(sdk.progressWaitForCompletion(launch, 20'000)));
    EXPECT_EQ(ask<std::uint32_t>(sdk, &VBoxInstanceImpl::getProgressCompleted, launch), 1u);
    EXPECT_EQ(ask<std::int32_t>(sdk, &VBoxInstanceImpl::getProgressResultCode, launch), 0);
    std::wstring error = L"as it was";
    EXPECT_TRUE(done(sdk.getProgressErrorInfo(launch, &error)));
    EXPECT_EQ(error, L"as it was");
    EXPECT_TRUE(done(sdk.releaseProgress(launch)));
    EXPECT_EQ(stateOf(machine), MachineState::Running);

    VBoxHandle console = 0;
    VBoxHandle sameConsole = 0;
    ASSERT_TRUE(done(sdk.getConsole(&console)));
    ASSERT_TRUE(done(sdk.getConsole(&sameConsole)));
    EXPECT_NE(console, sameConsole);
    EXPECT_EQ(consoleState(console), MachineState::Running);

    control().pause(Machines::player);
    EXPECT_EQ(consoleState(sameConsole), MachineState::Paused);
    EXPECT_EQ(stateOf(machine), MachineState::Paused);
    EXPECT_TRUE(done(sdk.consoleResume(console)));
    EXPECT_EQ(consoleState(console), MachineState::Running);

    VBoxHandle down = 0;
    ASSERT_TRUE(done(sdk.powerDown(console, &down)));
    EXPECT_TRUE(done(sdk.progressWaitForCompletion(down, 20'000)));
    EXPECT_EQ(ask<std::int32_t>(sdk, &VBoxInstanceImpl::getProgressResultCode, down), 0);
    EXPECT_EQ(stateOf(machine), MachineState::PoweredOff);
}

TEST_F(VmLife, ARunningMachinesSessionMachineReadsItsState)
{
    launch(Machines::chinese);
    const auto own = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::createMutableMachine, 0u);
    EXPECT_EQ(nameOf(own), Machines::chinese);
    EXPECT_EQ(stateOf(own), MachineState::Running);
    EXPECT_TRUE(refused(sdk.setMachineCPUCount(own, 1), SetMachineCPUCountFail, Result::InvalidVMState));
    EXPECT_TRUE(refused(sdk.setMachineMemory(own, 512), SetMachineMemoryFail, Result::InvalidVMState));
    EXPECT_TRUE(refused(sdk.setMachineParavirtProvider(own, ParavirtProvider::KVM), SetMachineParavirtProviderFail,
                        Result::InvalidVMState));
}

TEST_F(VmLife, TheSessionClosesByItselfAfterThePowerOff)
{
    launch(Machines::player);
    const VBoxHandle console = consoleOf();
    powerDown(console);
    VBoxHandle handle = 77;
    EXPECT_TRUE(soon([&] { return sdk.getConsole(&handle) == GetConsoleFail; }));
    EXPECT_TRUE(refused(sdk.getConsole(nullptr), GetConsoleFail, Result::Unexpected));
    EXPECT_TRUE(refused(sdk.unlockMachine(), UnlockMachineFail, Result::Unexpected));
    std::uint32_t state = 77;
    EXPECT_EQ(sdk.consoleGetState(console, &state), ConsoleGetStateFail);
    EXPECT_NE(sdk.getVBoxError(), 0u);
    EXPECT_EQ(state, 77u);
    EXPECT_EQ(sdk.consoleResume(console), ConsoleResumeFail);
    EXPECT_EQ(sdk.powerDown(console, &handle), PowerDownFail);
}

TEST_F(VmLife, TheLockLingersAfterThePowerOff)
{
    control().holdLock(700);
    launch(Machines::player);
    powerDown(consoleOf());
    const VBoxHandle machine = find(Machines::player);
    EXPECT_EQ(stateOf(machine), MachineState::PoweredOff);
    EXPECT_TRUE(refused(sdk.lockMachine(machine, LockType::Write), LockMachineFail, Result::InvalidObjectState));
    lockForWriting(machine);
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(VmLife, UnlockingTheLaunchingSessionLetsTheMachineRun)
{
    launch(Machines::player);
    EXPECT_TRUE(done(sdk.unlockMachine()));
    const VBoxHandle machine = find(Machines::player);
    EXPECT_EQ(stateOf(machine), MachineState::Running);
    EXPECT_TRUE(refused(sdk.lockMachine(machine, LockType::Write), LockMachineFail, Result::InvalidObjectState));

    ASSERT_TRUE(done(sdk.lockMachine(machine, LockType::Shared)));
    const VBoxHandle console = consoleOf();
    EXPECT_EQ(consoleState(console), MachineState::Running);
    powerDown(console);
}

TEST_F(VmLife, LaunchIsRefused)
{
    const VBoxHandle player = find(Machines::player);
    VBoxHandle progress = 77;
    EXPECT_TRUE(refused(sdk.launchVMProcess(player, L"no such front end", {L""}, &progress), LaunchVMProcessFail,
                        Result::InvalidArg));
    EXPECT_EQ(withoutLine(sdk.getVBoxErrorMessage()),
              L"vbox sdk failure in Travik::VBox::launchVMProcess(" + std::to_wstring(player) +
                  L" | no such front end | ): with rc=0x80070057 rcDesc=OleInvalidArgError "
                  L"errorDesc=LaunchVMProcessFail");

    VBoxHandle fresh = 0;
    check(sdk,
          sdk.openMachine(world().writeMachine(L"Fresh", L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4eff").wstring(), &fresh));
    EXPECT_TRUE(
        refused(sdk.launchVMProcess(fresh, L"headless", {L""}, &progress), LaunchVMProcessFail, Result::Unexpected));

    lockForWriting(find(Machines::worker));
    EXPECT_TRUE(refused(sdk.launchVMProcess(player, L"headless", {L""}, &progress), LaunchVMProcessFail,
                        Result::InvalidObjectState))
        << "the session is busy";
    EXPECT_TRUE(done(sdk.unlockMachine()));
    EXPECT_EQ(progress, 77u);
}

TEST_F(VmLife, LaunchOfARunningMachineIsRefused)
{
    launch(Machines::player);
    ASSERT_TRUE(done(sdk.unlockMachine()));
    VBoxHandle progress = 77;
    EXPECT_TRUE(refused(sdk.launchVMProcess(find(Machines::player), L"headless", {L""}, &progress), LaunchVMProcessFail,
                        Result::InvalidObjectState));
}

TEST_F(VmLife, LaunchFailsInsideTheVm)
{
    control().scenario(LR"json({"machines": {"Player": {"launch": {"result": "0x80004005",
        "text": "VT-x is not available (VERR_VMX_NO_VMX)"}}}})json");
    const VBoxHandle machine = find(Machines::player);
    VBoxHandle progress = 0;
    ASSERT_TRUE(done(sdk.launchVMProcess(machine, L"headless", {L""}, &progress))) << "the call itself succeeds";
    ASSERT_TRUE(done(sdk.progressWaitForCompletion(progress, 20'000)));
    EXPECT_EQ(ask<std::uint32_t>(sdk, &VBoxInstanceImpl::getProgressCompleted, progress), 1u);
    EXPECT_EQ(static_cast<std::uint32_t>(ask<std::int32_t>(sdk, &VBoxInstanceImpl::getProgressResultCode, progress)),
              Result::Fail);
    EXPECT_EQ(ask<std::wstring>(sdk, &VBoxInstanceImpl::getProgressErrorInfo, progress),
              L"VT-x is not available (VERR_VMX_NO_VMX)");
    EXPECT_TRUE(soon([&] { return stateOf(machine) == MachineState::PoweredOff; }));
    EXPECT_TRUE(refused(sdk.getConsole(nullptr), GetConsoleFail, Result::Unexpected));
    lockForWriting(machine);
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(VmLife, AnUnfinishedProgressDoesNotTellItsEnd)
{
    control().scenario(LR"({"times": {"spawn": 1500}})");
    const VBoxHandle machine = find(Machines::player);
    VBoxHandle progress = 0;
    ASSERT_TRUE(done(sdk.launchVMProcess(machine, L"", {L""}, &progress)));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(done(sdk.progressWaitForCompletion(progress, 0)));
    EXPECT_TRUE(done(sdk.progressWaitForCompletion(progress, 50)));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, milliseconds(1'000));
    EXPECT_EQ(ask<std::uint32_t>(sdk, &VBoxInstanceImpl::getProgressCompleted, progress), 0u);
    // Assumed of VirtualBox: before the end both answer E_FAIL.
    std::int32_t result = 77;
    std::wstring error = L"as it was";
    EXPECT_TRUE(refused(sdk.getProgressResultCode(progress, &result), GetProgressResultCodeFail, Result::Fail));
    EXPECT_TRUE(refused(sdk.getProgressErrorInfo(progress, &error), GetProgressErrorInfoFail, Result::Fail));
    EXPECT_EQ(result, 77);
    EXPECT_EQ(error, L"as it was");
    VBoxHandle handle = 77;
    EXPECT_TRUE(refused(sdk.getConsole(&handle), GetConsoleFail, Result::Unexpected)) << "the session is spawning";

    EXPECT_TRUE(done(sdk.progressWaitForCompletion(progress, -1)));
    EXPECT_EQ(stateOf(machine), MachineState::Running);
}

TEST_F(VmLife, ProgressOperationsAreRefused)
{
    const VBoxHandle machine = find(Machines::player);
    VBoxHandle progress = 0;
    ASSERT_TRUE(done(sdk.launchVMProcess(machine, L"headless", {L""}, &progress)));
    control().fail(L"IProgress::WaitForCompletion", Result::IPRTError);
    EXPECT_TRUE(
        refused(sdk.progressWaitForCompletion(progress, 100), ProgressWaitForCompletionFail, Result::IPRTError));
    std::uint32_t completed = 77;
    control().fail(L"IProgress::get_Completed", Result::AccessDenied);
    EXPECT_TRUE(
        refused(sdk.getProgressCompleted(progress, &completed), GetProgressCompletedFail, Result::AccessDenied));
    EXPECT_EQ(completed, 77u);
    EXPECT_TRUE(done(sdk.progressWaitForCompletion(progress, 20'000)));

    EXPECT_TRUE(done(sdk.releaseProgress(progress)));
    EXPECT_TRUE(failedUnasked(sdk.progressWaitForCompletion(progress, 0), COM_Get_ProgressFail));
    EXPECT_TRUE(failedUnasked(sdk.getProgressCompleted(progress, &completed), COM_Get_ProgressFail));
}

TEST_F(VmLife, ResumeIsRefusedForAMachineThatRuns)
{
    launch(Machines::player);
    EXPECT_TRUE(refused(sdk.consoleResume(consoleOf()), ConsoleResumeFail, Result::InvalidVMState));
}

TEST_F(VmLife, PowerDownIsRefusedWhileTheMachineStops)
{
    control().scenario(LR"({"times": {"stop": 1500}})");
    launch(Machines::player);
    const VBoxHandle console = consoleOf();
    VBoxHandle first = 0;
    ASSERT_TRUE(done(sdk.powerDown(console, &first)));
    EXPECT_EQ(consoleState(console), MachineState::Stopping);
    VBoxHandle second = 77;
    EXPECT_TRUE(refused(sdk.powerDown(console, &second), PowerDownFail, Result::InvalidVMState));
    EXPECT_EQ(second, 77u);
    EXPECT_TRUE(done(sdk.progressWaitForCompletion(first, 20'000)));
}

TEST_F(VmLife, PowerDownWithoutAPlaceForTheProgressStopsTheMachine)
{
    launch(Machines::player);
    EXPECT_TRUE(done(sdk.powerDown(consoleOf(), nullptr)));
    const VBoxHandle machine = find(Machines::player);
    EXPECT_TRUE(soon([&] { return stateOf(machine) == MachineState::PoweredOff; }));
}

TEST_F(VmLife, ACrashShowsAsAborted)
{
    launch(Machines::player);
    const VBoxHandle console = consoleOf();
    const VBoxHandle machine = find(Machines::player);
    control().crashVm(Machines::player);
    EXPECT_EQ(stateOf(machine), MachineState::Aborted);
    std::uint32_t state = 77;
    EXPECT_EQ(sdk.consoleGetState(console, &state), ConsoleGetStateFail);
    EXPECT_EQ(state, 77u);
    EXPECT_TRUE(soon([&] { return sdk.getConsole(nullptr) == GetConsoleFail; }));
    launch(Machines::player); // an aborted machine starts again
    EXPECT_EQ(stateOf(machine), MachineState::Running);
}

TEST_F(VmLife, AMachineThatRunsSurvivesTheProcessThatStartedIt)
{
    FrontEndProcess other(L"launch", {Machines::player});
    ASSERT_EQ(other.readLine(), L"running");
    other.kill();
    const VBoxHandle machine = find(Machines::player);
    EXPECT_EQ(stateOf(machine), MachineState::Running);
    ASSERT_TRUE(done(sdk.lockMachine(machine, LockType::Shared)));
    powerDown(consoleOf());
}

const Role launchRole(L"launch", [](const RoleIo& io) {
    VBoxInstanceImpl& sdk = library();
    const auto machine = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::findMachine, io.arguments[0]);
    VBoxHandle progress = 0;
    check(sdk, sdk.launchVMProcess(machine, L"headless", {L""}, &progress));
    Details::waitFor(sdk, progress, Deadline(milliseconds(20'000)));
    io.say(L"running");
    io.hear();
    return 0;
});

// ---- the server dies inside each call of a launch

struct LaunchCall
{
    const char* name;
    const wchar_t* call;
    SdkErrorCode code;
};

void PrintTo(const LaunchCall& call, std::ostream* stream)
{
    *stream << call.name;
}

class LaunchDeath : public RunningMachineTest, public testing::WithParamInterface<LaunchCall>
{
protected:
    /// What a front end does to get a machine running, up to the first failure.
    SdkErrorCode launchStepByStep()
    {
        std::uint32_t number = 0;
        std::int32_t result = 0;
        std::wstring text;
        VBoxHandle machine = 0;
        VBoxHandle progress = 0;
        VBoxHandle console = 0;
        SdkErrorCode code = sdk.findMachine(Machines::player, &machine);
        const auto step = [&](auto&& operation) {
            if (code == 0)
                code = operation();
        };
        step([&] { return sdk.machineGetState(machine, &number); });
        step([&] { return sdk.launchVMProcess(machine, L"headless", {L""}, &progress); });
        step([&] { return sdk.progressWaitForCompletion(progress, 20'000); });
        step([&] { return sdk.getProgressCompleted(progress, &number); });
        step([&] { return sdk.getProgressResultCode(progress, &result); });
        step([&] { return sdk.getProgressErrorInfo(progress, &text); });
        step([&] { return sdk.getConsole(&console); });
        step([&] { return sdk.consoleGetState(console, &number); });
        return code;
    }
};

TEST_P(LaunchDeath, IsRecordedAndTheRestartedServerIsFound)
{
    ASSERT_TRUE(done(sdk.initComComponent()));
    control().dieIn(GetParam().call);
    EXPECT_TRUE(refused(launchStepByStep(), GetParam().code, Result::RpcCallFailed));
    awaitServerDeath();
    EXPECT_EQ(sdk.findMachine(Machines::player, nullptr), FindMachineFail);
    EXPECT_EQ(sdk.getVBoxError(), Result::RpcServerUnavailable);

    startNextServer();
    EXPECT_EQ(sdk.resetComComponent(), 0u);
    EXPECT_TRUE(done(launchStepByStep()));
}

INSTANTIATE_TEST_SUITE_P(
    Each, LaunchDeath,
    testing::Values(LaunchCall{"FindMachine", L"IVirtualBox::FindMachine", FindMachineFail},
                    LaunchCall{"State", L"IMachine::get_State", MachineGetStateFail},
                    LaunchCall{"Launch", L"IMachine::LaunchVMProcess", LaunchVMProcessFail},
                    LaunchCall{"Wait", L"IProgress::WaitForCompletion", ProgressWaitForCompletionFail},
                    LaunchCall{"Completed", L"IProgress::get_Completed", GetProgressCompletedFail},
                    LaunchCall{"ResultCode", L"IProgress::get_ResultCode", GetProgressResultCodeFail},
                    LaunchCall{"ErrorInfo", L"IProgress::get_ErrorInfo", GetProgressErrorInfoFail},
                    LaunchCall{"Console", L"ISession::get_Console", GetConsoleFail},
                    LaunchCall{"ConsoleState", L"IConsole::get_State", ConsoleGetStateFail}),
    [](const auto& info) { return info.param.name; });

} // namespace
} // namespace TravikTest
