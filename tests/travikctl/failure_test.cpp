// Time-outs, locks, a server that dies, no VirtualBox at all, the log, Ctrl-C, doctor.

#include "ctl_test.h"

using namespace TravikTest;

using TravikctlFailures = TravikctlTest;

namespace {

json findingOf(const Outcome& run, const std::string& check)
{
    for (const json& row : run.json()["checks"]) {
        if (row["check"] == check)
            return row;
    }
    return {};
}

} // namespace

TEST_F(TravikctlFailures, theServersDeathInACallIsToldAndTheNextCommandWorks)
{
    vboxsim({L"die-in", L"IMachine::get_Name"});
    EXPECT_TRUE(failed(travikctl({L"show", player()}), 6,
                       {"operation: getVmName", "RPC_S_CALL_FAILED (0x800706be)", "Outcome the command again"}));
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
    vboxsim({L"delay", L"IProgress::get_Completed", L"400"});
    const Outcome run = travikctl({L"--timeout", L"0.2", L"start", player()});
    EXPECT_TRUE(failed(run, 4, {"the task was not complete in time", "--timeout SECONDS waits longer"}));
    vboxsim({L"delay", L"IProgress::get_Completed", L"0"});
    // The start goes on without us.
    EXPECT_TRUE(soon([&] { return stateOf(player()) == "running"; }));
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

TEST_F(TravikctlFailures, aFailureInTheMiddleLeavesNoLockBehind)
{
    vboxsim({L"fail", L"IMachine::SaveSettings", L"0x80BB0004", L"--times", L"1"});
    EXPECT_TRUE(failed(travikctl({L"set", player(), L"--cpus", L"1"}), 1, {"SaveSettingsFail", "VBOX_E_FILE_ERROR"}));
    EXPECT_TRUE(succeeded(travikctl({L"set", player(), L"--cpus", L"1", L"--wait-lock", L"1"})));
    EXPECT_EQ(stateOf(player()), "powered off") << "not aborted";
}

TEST_F(TravikctlFailures, theLogGoesToItsFileOnly)
{
    const std::filesystem::path log = folder() / L"日志.log";
    const Outcome run = travikctl({L"get", player(), L"--log", log.wstring()});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.out, "powered off\n");
    EXPECT_THAT(readFile(log), HasSubstr(" (Travik::VBox::findMachine) <"));
}

TEST_F(TravikctlFailures, doctorFindsNothingWrong)
{
    const Outcome run = travikctlJson({L"doctor"});
    ASSERT_TRUE(succeeded(run));
    for (const char* check : {"travikctl", "identity", "server class", "session class", "proxy", "elevation",
                              "VirtualBox", "apartment", "machine folder"})
        EXPECT_EQ(findingOf(run, check).value("verdict", "none"), "ok") << check;
    EXPECT_EQ(findingOf(run, "machines")["finding"], "5 registered, 1 inaccessible");
    EXPECT_EQ(findingOf(run, "machines")["verdict"], "note");
    EXPECT_THAT(findingOf(run, "server class").value("finding", ""), HasSubstr("vboxsim-svc.exe"));
    const Outcome text = travikctl({L"doctor"});
    EXPECT_TRUE(succeeded(text));
    EXPECT_THAT(text.out, StartsWith("check"));
    EXPECT_THAT(text.out, HasSubstr("note: machines: "));
}

TEST_F(TravikctlFailures, withoutVirtualBoxEveryVerbSaysSoAndDoctorNamesTheRemedy)
{
    ASSERT_TRUE(stopServer());
    unregisterStandIn();
    expectRefused({L"list"}, 6, "_initVBox", "InitVboxComFail", "REGDB_E_CLASSNOTREG");
    EXPECT_THAT(travikctlJson({L"list"}).error().value("hint", ""), HasSubstr("doctor"));

    const Outcome run = travikctlJson({L"doctor"});
    EXPECT_EQ(run.exitCode, 7);
    EXPECT_EQ(findingOf(run, "server class")["verdict"], "PROBLEM");
    EXPECT_THAT(findingOf(run, "server class").value("remedy", ""), HasSubstr("vboxsim register"));
    EXPECT_EQ(findingOf(run, "session class")["verdict"], "PROBLEM");
    EXPECT_EQ(findingOf(run, "proxy")["verdict"], "PROBLEM");
    EXPECT_THAT(findingOf(run, "VirtualBox").value("finding", ""), HasSubstr("REGDB_E_CLASSNOTREG"));
    registerStandIn();
}
