// Time-outs, locks, a server that dies, Ctrl-C, the log.

#include "ctl_test.h"
#include "start_process.h"
#include "tour/world.h"
#include "travik/vbox_types.h"

using namespace TravikTest;

using TravikctlFailures = TravikctlTest;

TEST_F(TravikctlFailures, theServersDeathInACallIsToldAndTheNextCommandWorks)
{
    vboxsim({L"die-in", L"IMachine::get_Name"});
    EXPECT_TRUE(failed(travikctl({L"show", player(), L"--verbose"}), 6,
                       {"the VirtualBox server went away\nRun the command again", "operation: getVmName",
                        "RPC_S_CALL_FAILED (0x800706be)"}));
    EXPECT_TRUE(succeeded(travikctl({L"show", player()})));
}

TEST_F(TravikctlFailures, aTimeoutEndsACallThatDoesNotReturn)
{
    vboxsim({L"delay", L"IMachine::get_Name", L"20000"});
    const auto before = std::chrono::steady_clock::now();
    const Outcome run = travikctlJson({L"--timeout", L"1", L"show", player()});
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
    EXPECT_EQ(run.exitCode, 4) << run.all();
    EXPECT_THAT(run.error().value("text", ""), HasSubstr("did not return in time"));
    EXPECT_EQ(run.error().value("exitCode", 0), 4);
    vboxsim({L"delay", L"IMachine::get_Name", L"0"});
}

TEST_F(TravikctlFailures, aTimeoutEndsAWaitForAProgress)
{
    const std::filesystem::path scenario = folder() / L"slow.json";
    writeFile(scenario, R"({"times": {"start": 3000}})");
    vboxsim({L"scenario", scenario.wstring()});
    const Outcome run = travikctl({L"--timeout", L"0.5", L"start", player()});
    EXPECT_TRUE(failed(run, 4, {"the task was not complete in time", "--timeout SECONDS waits longer"}));
    // The start goes on without us.
    EXPECT_TRUE(soon([&] { return stateOf(player()) == "running"; }));
}

TEST_F(TravikctlFailures, aTimeoutLeavesTheRestUndone)
{
    const std::filesystem::path scenario = folder() / L"slow.json";
    writeFile(scenario, R"({"times": {"start": 3000}})");
    vboxsim({L"scenario", scenario.wstring()});
    const Outcome run = travikctl({L"--timeout", L"0.5", L"start", player(), Machines::workerId});
    EXPECT_EQ(run.exitCode, 4) << run.all();
    EXPECT_THAT(run.out, HasSubstr("1 failed, 1 not begun."));
    EXPECT_TRUE(soon([&] { return stateOf(player()) == "running"; }));
    EXPECT_EQ(stateOf(Machines::workerId), "powered off");
}

TEST_F(TravikctlFailures, ofSeveralTheWorstGivesTheExitCode)
{
    vboxsim({L"fail", L"IMachine::LaunchVMProcess", L"0x80BB0003"});
    const Outcome run = travikctlJson({L"start", L"nobody", player()});
    EXPECT_EQ(run.exitCode, 3) << run.all();
    EXPECT_EQ(run.json()["results"][0]["error"]["exitCode"], 3);
    EXPECT_EQ(run.json()["results"][1]["error"]["exitCode"], 1);
    EXPECT_EQ(run.error()["exitCode"], 3);
}

TEST_F(TravikctlFailures, waitLockWaitsForALockThatComesFree)
{
    vboxsim({L"fail", L"IMachine::LockMachine", L"0x80BB0007", L"--times", L"3"});
    EXPECT_TRUE(succeeded(travikctl({L"--wait-lock", L"10", L"set", player(), L"--cpus", L"1"})));
    vboxsim({L"fail", L"IMachine::LockMachine", L"0x80BB0007", L"--times", L"2"});
    expectRefused({L"set", player(), L"--cpus", L"1", L"--wait-lock", L"0"}, 5, "lockMachine", "LockMachineFail",
                  "VBOX_E_INVALID_OBJECT_STATE");
}

TEST_F(TravikctlFailures, noOtherFailureIsTriedAgain)
{
    vboxsim({L"fail", L"IMachine::LockMachine", L"0x80BB0003", L"--times", L"2"});
    expectRefused({L"--wait-lock", L"30", L"set", player(), L"--cpus", L"1"}, 1, "lockMachine", "LockMachineFail",
                  "VBOX_E_VM_ERROR");
}

TEST_F(TravikctlFailures, aFailedUnlockIsTold)
{
    vboxsim({L"fail", L"ISession::UnlockMachine", L"0x80BB0003", L"--times", L"2"});
    expectRefused({L"set", player(), L"--cpus", L"1"}, 1, "unlockMachine", "UnlockMachineFail", "VBOX_E_VM_ERROR");
}

TEST_F(TravikctlFailures, aFailureInTheMiddleLeavesNoLockBehind)
{
    vboxsim({L"fail", L"IMachine::SaveSettings", L"0x80BB0004", L"--times", L"1"});
    EXPECT_TRUE(failed(travikctl({L"set", player(), L"--cpus", L"1"}), 1, {"VirtualBox refused"}));
    EXPECT_TRUE(succeeded(travikctl({L"set", player(), L"--cpus", L"1", L"--wait-lock", L"1"})));
    EXPECT_EQ(stateOf(player()), "powered off") << "not aborted";
}

class TravikctlTerminal : public TravikctlTest
{
protected:
    /// Something that takes more than two seconds.
    Outcome startSlowly(const Console* console)
    {
        Control control;
        control.scenario(LR"({"times": {"start": 3000}})");
        Program starting(productFolder() / L"travikctl.exe", {L"start", player()}, 0, console);
        if (console) {
            EXPECT_TRUE(soon([&] { return console->firstLine() == L"start: 1 s"; }));
            EXPECT_TRUE(soon([&] { return console->firstLine() == L"start: 2 s"; }));
        }
        return starting.wait();
    }
};

TEST_F(TravikctlTerminal, showsTheTimeOfLongWorkAndClearsIt)
{
    const Console console;
    const Outcome run = startSlowly(&console);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "Started Player.\n");
    EXPECT_EQ(console.firstLine(), L"");
}

TEST_F(TravikctlTerminal, showsNoTimeOfAQuietRun)
{
    const Console console;
    Control control;
    control.scenario(LR"({"times": {"start": 5000}})");
    Program starting(productFolder() / L"travikctl.exe", {L"-q", L"start", player()}, 0, &console);
    Sleep(4'000);
    EXPECT_EQ(console.firstLine(), L"");
    EXPECT_EQ(starting.wait().exitCode, 0);
}

TEST_F(TravikctlTerminal, isNeededForThat)
{
    const Outcome run = startSlowly(nullptr);
    EXPECT_TRUE(succeeded(run)) << "nothing on the error output of a pipe or file";
    EXPECT_EQ(run.out, "Started Player.\n");
}

class TravikctlCtrlC : public TravikctlTest
{
protected:
    static std::filesystem::path ctl() { return productFolder() / L"travikctl.exe"; }

    /// Gives way until the program has got so far, and presses.
    template <class Question>
    static Outcome interrupt(Program& program, Question&& isThere)
    {
        EXPECT_TRUE(soon(isThere));
        program.pressCtrlC();
        return program.wait(std::chrono::seconds(20));
    }

    /// Whether the server has been asked something since tracing was switched on.
    static bool isTraced(Control& control, const wchar_t* call)
    {
        return control.traceText().find(call) != std::wstring::npos;
    }
};

TEST_F(TravikctlCtrlC, endsAWaitForALock)
{
    Control control;
    control.fail(L"IMachine::LockMachine", Travik::Result::InvalidObjectState, 0);
    control.trace(true);
    Program waiting(ctl(), {L"--wait-lock", L"50", L"set", player(), L"--cpus", L"1"}, CREATE_NO_WINDOW);
    const Outcome run = interrupt(waiting, [&] { return isTraced(control, L"LockMachine"); });
    EXPECT_TRUE(failed(run, 130, {"travikctl set: interrupted\n", "locks were given back"}));
    control.reset();
    EXPECT_TRUE(succeeded(travikctl({L"--wait-lock", L"0", L"set", player(), L"--cpus", L"1"})));
}

TEST_F(TravikctlCtrlC, endsAWaitForATaskWhichGoesOn)
{
    ASSERT_TRUE(succeeded(travikctl({L"start", player()})));
    Control control;
    control.scenario(LR"({"times": {"stop": 2000}})");
    Program stopping(ctl(), {L"--json", L"stop", player()}, CREATE_NO_WINDOW);
    const Outcome run = interrupt(stopping, [&] { return stateOf(player()) == "stopping"; });
    EXPECT_TRUE(failedAsJson(run, 130, "", "", ""));
    EXPECT_TRUE(soon([&] { return stateOf(player()) == "powered off"; }));
    EXPECT_TRUE(succeeded(travikctl({L"set", player(), L"--cpus", L"1"}))) << "no lock is left behind";
}

TEST_F(TravikctlCtrlC, isTheUsualEndOfWatching)
{
    ASSERT_TRUE(succeeded(travikctl({L"start", player()})));
    Program watching(ctl(), {L"watch", player()}, CREATE_NO_WINDOW);
    const Outcome run = interrupt(watching, [&] { return watching.outSoFar() == "watching: running\n"; });
    EXPECT_TRUE(succeeded(run));
    EXPECT_TRUE(succeeded(travikctl({L"stop", player()})));
    EXPECT_EQ(stateOf(player()), "powered off");
}

TEST_F(TravikctlCtrlC, asecondOneEndsTheProgramAtOnce)
{
    Control control;
    control.delay(L"IMachine::get_Name", 20'000);
    control.trace(true);
    Program showing(ctl(), {L"show", player()}, CREATE_NO_WINDOW);
    ASSERT_TRUE(soon([&] { return isTraced(control, L"get_Name"); }));
    showing.pressCtrlC();
    EXPECT_EQ(showing.wait(std::chrono::seconds(1)).exitCode, -1) << "the first one waits for the call";
    showing.pressCtrlC();
    const Outcome run = showing.wait(std::chrono::seconds(10));
    EXPECT_EQ(run.exitCode, 130) << run.all();
    control.reset();
}

TEST_F(TravikctlCtrlC, duringAnImportTellsWhatWasFinished)
{
    const std::filesystem::path file = folder() / L"harbour.ova";
    writeAppliance(file);
    Control control;
    control.trace(true);
    control.delay(L"IAppliance::ImportMachines", 1'500);
    Program importing(ctl(), {L"import", file.wstring(), file.wstring()}, CREATE_NO_WINDOW);
    const Outcome run = interrupt(importing, [&] { return isTraced(control, L"ImportMachines"); });
    EXPECT_EQ(run.exitCode, 130) << run.all();
    EXPECT_THAT(run.out, HasSubstr("Imported harbour ("));
    EXPECT_THAT(run.out, HasSubstr("1 of 2 done, 1 not begun."));
    EXPECT_THAT(run.err, HasSubstr("interrupted; what is told above was finished"));
    EXPECT_EQ(stateOf(L"harbour"), "powered off");
}

TEST_F(TravikctlFailures, theNumbersAreToldOnlyWhenAsked)
{
    const Outcome run = travikctl({L"show", L"nobody"});
    EXPECT_EQ(run.err, "travikctl show: no registered machine has exactly this name or UUID: nobody\n"
                       "'travikctl list' shows them.\n");
}

TEST_F(TravikctlFailures, aTimeoutOfZeroIsNone)
{
    vboxsim({L"delay", L"IMachine::get_Name", L"2500"});
    EXPECT_TRUE(failed(travikctl({L"--timeout", L"1", L"show", player()}), 4, {"did not return in time"}));
    EXPECT_TRUE(succeeded(travikctl({L"--timeout", L"0", L"show", player()})));
    vboxsim({L"delay", L"IMachine::get_Name", L"0"});
}

TEST_F(TravikctlFailures, aTimeoutEndsAWaitForALockToo)
{
    Control control;
    control.fail(L"IMachine::LockMachine", Travik::Result::InvalidObjectState, 0);
    const auto before = std::chrono::steady_clock::now();
    const Outcome run = travikctl({L"--wait-lock", L"60", L"--timeout", L"1", L"set", player(), L"--cpus", L"1"});
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(20));
    EXPECT_NE(run.exitCode, 0) << run.all();
    control.reset();
}

TEST_F(TravikctlFailures, aLogThatCannotBeWrittenIsRefusedBeforeAnythingIsDone)
{
    const std::wstring log = (folder() / L"none" / L"x.log").wstring();
    const Outcome run = travikctl({L"set", player(), L"--cpus", L"7", L"--log", log});
    EXPECT_TRUE(failed(run, 1, {"the log file cannot be written: " + utf8(log)}));
    EXPECT_TRUE(failedAsJson(travikctlJson({L"set", player(), L"--cpus", L"7", L"--log", log}), 1, "", "", ""));
    EXPECT_THAT(settingsOf(player()), Not(HasSubstr("count=\"7\"")));
}

TEST_F(TravikctlFailures, aSlowReaderGetsAllOfALongOutput)
{
    // More than a pipe holds: the writer has to wait again and again.
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE reading = nullptr, writing = nullptr;
    ASSERT_TRUE(CreatePipe(&reading, &writing, &inherited, 1024));
    SetHandleInformation(reading, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW start{};
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = start.hStdError = writing;
    const std::wstring value(30'000, L'中'); // 90,000 bytes of UTF-8
    ASSERT_TRUE(succeeded(travikctl({L"set", player(), L"--extra", L"ctl/long=" + value})));
    const PROCESS_INFORMATION process =
        startProcess(productFolder() / L"travikctl.exe", {L"get", player(), L"--extra", L"ctl/long"}, start, 0);
    CloseHandle(writing);
    std::string text;
    char buffer[4096];
    for (DWORD size = 0; ReadFile(reading, buffer, sizeof(buffer), &size, nullptr) && size > 0; Sleep(5))
        text.append(buffer, size);
    CloseHandle(reading);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    EXPECT_EQ(text.size(), 90'001u);
    EXPECT_EQ(text, utf8(value) + "\n");
}

TEST_F(TravikctlFailures, theLogGoesToItsFileOnly)
{
    const std::filesystem::path log = folder() / L"日志.log";
    const Outcome run = travikctl({L"get", player(), L"--log", log.wstring()});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.out, "powered off\n");
    EXPECT_THAT(readFile(log), HasSubstr(" (Travik::VBox::findMachine) <"));
}
