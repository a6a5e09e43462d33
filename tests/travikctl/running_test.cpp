// start, stop, resume, state, watch, and who holds the lock meanwhile.

#include <algorithm>

#include "ctl_test.h"
#include "json_schema.h"

using namespace TravikTest;

class TravikctlRunning : public TravikctlTest
{
protected:
    void start()
    {
        ASSERT_TRUE(succeeded(travikctl({L"start", player()})));
        ASSERT_EQ(stateOf(player()), "running");
    }
    /// Waits until a watching program has registered its listener.
    static void awaitWatching(const Program& program)
    {
        ASSERT_TRUE(soon([&] { return program.outSoFar().find("watching") != std::string::npos; }));
    }
    static std::filesystem::path ctl() { return productFolder() / L"travikctl.exe"; }

    /// The lines of a watching program, each as the schema says and with its time, without what all lines have.
    static std::vector<json> linesOf(const Outcome& run)
    {
        std::vector<json> lines;
        std::istringstream stream(run.out);
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(json::parse(line, nullptr, false));
            EXPECT_EQ(problemByTravikctlSchema(lines.back()), "") << line;
            for (const char* key : {"schema", "verb", "time"})
                lines.back().erase(key);
        }
        return lines;
    }
};

TEST_F(TravikctlRunning, startAndStop)
{
    Control control;
    control.trace(true);
    const Outcome started = travikctl({L"start", player(), L"--type", L"headless", L"--env", L"A=1", L"--env", L"B"});
    ASSERT_TRUE(succeeded(started));
    EXPECT_THAT(utf8(control.traceText()), HasSubstr("LaunchVMProcess(object, \"headless\", array of 2)"));
    control.trace(false);
    EXPECT_EQ(started.out, "Started Player.\n");
    EXPECT_EQ(stateOf(player()), "running");
    EXPECT_EQ(travikctl({L"state", player(), L"--console"}).out, "running\n");
    EXPECT_EQ(travikctlJson({L"state", player()}).facts(),
              (json{{"state", "Running"}, {"stateText", "running"}, {"machineState", 5}, {"sdkState", 5}}));
    const Outcome stopped = travikctl({L"stop", player()});
    ASSERT_TRUE(succeeded(stopped));
    EXPECT_EQ(stopped.out, "Stopped Player.\n");
    EXPECT_EQ(stateOf(player()), "powered off");
    EXPECT_EQ(travikctlJson({L"start", player()}).facts(),
              (json{{"results", {{{"machine", "Player"}, {"outcome", "done"}}}}}))
        << "also while the lock lingers";
    EXPECT_EQ(travikctlJson({L"stop", player()}).facts(),
              (json{{"results", {{{"machine", "Player"}, {"outcome", "done"}, {"wasOff", false}}}}}));
}

TEST_F(TravikctlRunning, aRunningMachineIsNotStartedAgain)
{
    start();
    expectRefused({L"--wait-lock", L"0", L"start", player()}, 5, "launchVMProcess", "LaunchVMProcessFail",
                  "VBOX_E_INVALID_OBJECT_STATE");
    expectRefused({L"--wait-lock", L"0", L"set", player(), L"--cpus", L"1"}, 5, "lockMachine", "LockMachineFail",
                  "VBOX_E_INVALID_OBJECT_STATE");
    EXPECT_EQ(travikctl({L"--wait-lock", L"0", L"delete", player(), L"--yes"}).exitCode, 5);
    EXPECT_EQ(stateOf(player()), "running");
}

TEST_F(TravikctlRunning, startTellsTheMachinesOwnFailure)
{
    EXPECT_TRUE(failed(travikctl({L"start", player(), L"--type", L"nonsense"}), 2, {"headless", "gui", "sdl"}));
    vboxsim({L"fail", L"IMachine::LaunchVMProcess", L"0x80070057", L"--times", L"2"});
    expectRefused({L"start", player()}, 1, "launchVMProcess", "LaunchVMProcessFail", "E_INVALIDARG");
}

TEST_F(TravikctlRunning, stopOfAStoppedMachineIsDone)
{
    const Outcome run = travikctl({L"stop", player()});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.out, "Player was off.\n");
    EXPECT_EQ(travikctlJson({L"stop", player()}).facts(),
              (json{{"results", {{{"machine", "Player"}, {"outcome", "done"}, {"wasOff", true}}}}}));
    expectRefused({L"stop", L"none"}, 3, "findMachine", "FindMachineFail", "VBOX_E_OBJECT_NOT_FOUND");
}

TEST_F(TravikctlRunning, severalAreStartedAndStoppedInOneCall)
{
    EXPECT_EQ(travikctl({L"start", player(), Machines::workerId}).out,
              "Started Player.\nStarted " + utf8(Machines::workerId) + ".\n2 of 2 done.\n");
    EXPECT_EQ(travikctl({L"stop", player(), Machines::workerId, player()}).out,
              "Stopped Player.\nStopped " + utf8(Machines::workerId) + ".\nPlayer was off.\n3 of 3 done.\n");
}

TEST_F(TravikctlRunning, whatNeedsARunningMachineSaysSo)
{
    const std::vector<std::string> texts{"the machine Player does not run", "Start it first."};
    EXPECT_TRUE(failed(travikctl({L"resume", player()}), 1, texts));
    EXPECT_TRUE(failedAsJson(travikctlJson({L"resume", player()}), 1, "", "", ""));
    EXPECT_TRUE(failed(travikctl({L"watch", player()}), 1, texts));
    const Outcome watching = travikctlJson({L"watch", player()});
    EXPECT_TRUE(failedAsJson(watching, 1, "", "", ""));
    EXPECT_EQ(watching.json()["event"], "failed");
    EXPECT_EQ(std::count(watching.out.begin(), watching.out.end(), '\n'), 1) << "one object a line";
    EXPECT_TRUE(failed(travikctl({L"state", L"--console", player()}), 1, {"does not run"}));
    expectRefused({L"state", L"none"}, 3, "findMachine", "FindMachineFail", "VBOX_E_OBJECT_NOT_FOUND");
}

TEST_F(TravikctlRunning, resumeLetsAPausedMachineRunOn)
{
    start();
    expectRefused({L"resume", player()}, 1, "consoleResume", "ConsoleResumeFail", "VBOX_E_INVALID_VM_STATE");
    vboxsim({L"pause", player()});
    EXPECT_EQ(stateOf(player()), "paused");
    const Outcome run = travikctl({L"resume", player()});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.out, "Resumed Player.\n");
    EXPECT_EQ(stateOf(player()), "running");
    vboxsim({L"pause", player()});
    EXPECT_EQ(travikctlJson({L"resume", player()}).facts(), (json{{"machine", "Player"}}));
}

TEST_F(TravikctlRunning, watchPrintsStatesAndErrorsUntilTheMachineIsOff)
{
    start();
    Program watcher(ctl(), {L"watch", player()});
    awaitWatching(watcher);
    vboxsim({L"pause", player()});
    ASSERT_TRUE(succeeded(travikctl({L"resume", player()})));
    vboxsim({L"runtime-error", player(), L"--id", L"HostMemoryLow", L"--message", L"Nicht genug 内存"});
    ASSERT_TRUE(succeeded(travikctl({L"stop", player()})));
    const Outcome run = watcher.wait();
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.out, "watching: running\nstate: paused\nstate: running\nerror HostMemoryLow: Nicht genug 内存\n"
                       "state: stopping\nstate: powered off\n");
}

TEST_F(TravikctlRunning, watchIsOneJsonObjectPerLine)
{
    start();
    Program watcher(ctl(), {L"--json", L"watch", player(), L"--count", L"2"});
    awaitWatching(watcher);
    vboxsim({L"runtime-error", player(), L"--id", L"DrvVD_DISKFULL", L"--message", L"full", L"--fatal"});
    const Outcome run = watcher.wait();
    ASSERT_TRUE(succeeded(run));
    const std::vector<json> lines = linesOf(run);
    ASSERT_EQ(lines.size(), 4u) << run.out;
    EXPECT_EQ(lines[0], (json{{"event", "watching"}, {"state", "Running"}, {"stateText", "running"}}));
    EXPECT_EQ(lines[1], (json{{"event", "state"}, {"state", "Paused"}, {"stateText", "paused"}}));
    EXPECT_EQ(lines[2], (json{{"event", "error"}, {"fatal", true}, {"id", "DrvVD_DISKFULL"}, {"message", "full"}}));
    EXPECT_EQ(lines[3], (json{{"event", "ended"}, {"reason", "count"}}));
}

TEST_F(TravikctlRunning, watchTellsItsEndAsALineToo)
{
    start();
    Program watcher(ctl(), {L"--json", L"watch", player()});
    awaitWatching(watcher);
    ASSERT_TRUE(succeeded(travikctl({L"stop", player()})));
    const Outcome run = watcher.wait();
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(linesOf(run).back(), (json{{"event", "ended"}, {"reason", "off"}}));
}

TEST_F(TravikctlRunning, watchTellsTheLossOfTheServerAsALineToo)
{
    start();
    Program watcher(ctl(), {L"--json", L"watch", player()});
    awaitWatching(watcher);
    vboxsim({L"die-in", L"IEventSource::GetEvent"});
    const Outcome run = watcher.wait();
    EXPECT_EQ(run.exitCode, 6) << run.all();
    EXPECT_EQ(linesOf(run).back()["event"], "failed");
    EXPECT_EQ(linesOf(run).back()["error"]["exitCode"], 6);
}

TEST_F(TravikctlRunning, aTimeoutEndsWatchingAsOne)
{
    start();
    const Outcome run = travikctl({L"watch", player(), L"--timeout", L"0.5"});
    EXPECT_EQ(run.exitCode, 4) << run.all();
    EXPECT_EQ(run.out, "watching: running\n");
}

TEST_F(TravikctlRunning, watchEndsAfterItsTime)
{
    start();
    const auto before = std::chrono::steady_clock::now();
    const Outcome run = travikctl({L"watch", player(), L"--for", L"0.5"});
    EXPECT_TRUE(succeeded(run));
    EXPECT_EQ(run.out, "watching: running\n");
    EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(500));
    EXPECT_TRUE(succeeded(travikctl({L"stop", player()}))) << "watching keeps nobody out";
}

TEST_F(TravikctlRunning, watchAllSeesOtherEvents)
{
    start();
    Program watcher(ctl(), {L"watch", player(), L"--all"});
    awaitWatching(watcher);
    ASSERT_TRUE(succeeded(travikctl({L"share", L"add", L"--transient", player(), L"x", folder().wstring()})));
    ASSERT_TRUE(succeeded(travikctl({L"stop", player()})));
    EXPECT_THAT(watcher.wait().out, HasSubstr("shared folder changed\n"));
}

TEST_F(TravikctlRunning, watchTellsTheMachinesCrash)
{
    start();
    Program watcher(ctl(), {L"watch", player()});
    awaitWatching(watcher);
    vboxsim({L"crash-vm", player()});
    const Outcome run = watcher.wait();
    EXPECT_TRUE(succeeded(run));
    EXPECT_THAT(run.out, testing::EndsWith("aborted\n"));
    EXPECT_EQ(stateOf(player()), "aborted");
}
