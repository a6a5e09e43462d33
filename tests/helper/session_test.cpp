// The locked session: it waits only for the lock race, and never leaves a lock behind.

#include <gtest/gtest.h>

#include <optional>

#include "fake_vbox.h"

using namespace Travik;
using std::chrono::milliseconds;

namespace {

const Deadline enough(milliseconds(60000));

/// A machine that somebody else gives back.
class Borrowed
{
public:
    explicit Borrowed(VBoxInstanceImpl& vbox) : machine_(vbox, 7) {}
    ~Borrowed() { machine_.detach(); }
    operator const ScopedMachine&() const { return machine_; }

private:
    ScopedMachine machine_;
};

} // namespace

TEST(LockedSessionTest, locksHandsTheMutableMachineOutAndUnlocks)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    {
        LockedSession session(vbox, machine, Lock::Write, enough);
        EXPECT_EQ(session.machine().get(), 101u);
        session.save();
    }
    EXPECT_EQ(vbox.calls, (std::vector<std::string>{"lockMachine(7, 2)", "createMutableMachine(7)", "saveSettings(101)",
                                                    "releaseMachine(101)", "unlockMachine()"}));
}

TEST(LockedSessionTest, retriesTheLockRaceAndTellsHowLong)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    for (int i = 0; i < 3; ++i)
        vbox.fail("lockMachine", LockMachineFail, Result::InvalidObjectState);
    int ticks = 0;
    const LockedSession session(vbox, machine, Lock::Write, enough, [&] { ++ticks; });
    EXPECT_EQ(vbox.count("lockMachine"), 4);
    EXPECT_EQ(ticks, 3);
    EXPECT_GE(session.waited(), milliseconds(100));
}

TEST(LockedSessionTest, retriesNothingElse)
{
    for (const std::uint32_t result :
         {Result::VMError, Result::AccessDenied, Result::Unexpected, Result::Fail, Result::RpcServerUnavailable}) {
        FakeVBox vbox;
        const Borrowed machine(vbox);
        vbox.fail("lockMachine", LockMachineFail, result);
        EXPECT_THROW(LockedSession(vbox, machine, Lock::Write, enough), SdkError) << result;
        EXPECT_EQ(vbox.count("lockMachine"), 1) << result;
    }
}

TEST(LockedSessionTest, throwsTheLastFailureAtTheDeadline)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    vbox.onCall = [&](const std::string& operation) {
        vbox.fail(operation, LockMachineFail, Result::InvalidObjectState);
    };
    try {
        LockedSession session(vbox, machine, Lock::Shared, Deadline(milliseconds(120)));
        FAIL() << "nothing was thrown";
    } catch (const SdkError& error) {
        EXPECT_EQ(error.code(), 109u);
        EXPECT_TRUE(isLockRace(error.result()));
    }
    EXPECT_GE(vbox.count("lockMachine"), 2);
    EXPECT_EQ(vbox.count("unlockMachine"), 0);
}

TEST(LockedSessionTest, unlocksWhenTheMutableMachineIsRefused)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    vbox.fail("createMutableMachine", CreateMutableMachineFail, Result::Unexpected);
    EXPECT_THROW(LockedSession(vbox, machine, Lock::Write, enough), SdkError);
    EXPECT_EQ(vbox.calls.back(), "unlockMachine()");
}

TEST(LockedSessionTest, unlocksWhenTheWorkThrows)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    vbox.fail("setMachineMemory", SetMachineMemoryFail, Result::InvalidArg);
    try {
        LockedSession session(vbox, machine, Lock::Write, enough);
        Operations(vbox).setMachineMemory(session.machine(), 0);
        FAIL() << "nothing was thrown";
    } catch (const SdkError& error) {
        EXPECT_EQ(error.code(), 116u);
    }
    EXPECT_EQ(vbox.count("unlockMachine"), 1);
    EXPECT_EQ(vbox.count("saveSettings"), 0);
    EXPECT_TRUE(vbox.live.empty());
}

TEST(LockedSessionTest, unlocksOnceAndTellsAFailure)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    vbox.fail("unlockMachine", UnlockMachineFail, Result::Unexpected);
    {
        LockedSession session(vbox, machine, Lock::Write, enough);
        EXPECT_THROW(session.unlock(), SdkError);
    }
    EXPECT_EQ(vbox.count("unlockMachine"), 1);
    EXPECT_EQ(vbox.count("releaseMachine"), 1);
}

TEST(LockedSessionTest, keepsAFailureAtItsEndToItself)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    vbox.fail("unlockMachine", UnlockMachineFail, Result::Unexpected); // the machine's end has closed the session
    EXPECT_NO_THROW(LockedSession(vbox, machine, Lock::Shared, enough));
    EXPECT_EQ(vbox.count("unlockMachine"), 1);
}

TEST(LockedSessionTest, moves)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    {
        LockedSession first(vbox, machine, Lock::Write, enough);
        LockedSession second(std::move(first));
        EXPECT_EQ(second.machine().get(), 101u);
    }
    EXPECT_EQ(vbox.count("unlockMachine"), 1);
    EXPECT_EQ(vbox.count("releaseMachine"), 1);
}

TEST(LockedSessionTest, givesItsMachineBackBeforeItsLock)
{
    const std::vector<std::string> end{"releaseMachine(101)", "unlockMachine()"};
    const auto tail = [](const FakeVBox& vbox) {
        return std::vector<std::string>(vbox.calls.end() - 2, vbox.calls.end());
    };
    {
        FakeVBox vbox;
        LockedSession session(vbox, Borrowed(vbox), Lock::Write, enough);
        session.unlock();
        EXPECT_EQ(tail(vbox), end);
    }
    FakeVBox vbox, other;
    LockedSession session(vbox, Borrowed(vbox), Lock::Write, enough);
    session = LockedSession(other, Borrowed(other), Lock::Write, enough);
    EXPECT_EQ(tail(vbox), end) << "also when another one takes its place";
}

TEST(LockedSessionTest, takesOverTheLockOfALaunch)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    {
        const LockedSession session = LockedSession::adopt(vbox);
        EXPECT_NE(session.console().get(), 0u);
    }
    EXPECT_EQ(vbox.count("lockMachine"), 0);
    EXPECT_EQ(vbox.calls.back(), "unlockMachine()");
    EXPECT_TRUE(vbox.live.empty());
}

TEST(LockedSessionTest, hasNoConsoleWhenTheMachineDoesNotRun)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    vbox.nothing["getConsole"] = {true};
    const LockedSession session(vbox, machine, Lock::Shared, enough);
    EXPECT_EQ(session.console().get(), 0u);
}

TEST(LockedSessionTest, isGivenToAnOptional)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    std::optional<LockedSession> held;
    held = LockedSession(vbox, machine, Lock::Write, std::chrono::seconds(1));
    EXPECT_EQ(vbox.count("unlockMachine"), 0);
    held = LockedSession::adopt(vbox);
    EXPECT_EQ(vbox.count("unlockMachine"), 1) << "what was held before is given back";
    held.reset();
    EXPECT_EQ(vbox.count("unlockMachine"), 2);
    EXPECT_TRUE(vbox.live.empty());
}

TEST(StartMachine, launchesWaitsAndGivesTheLockBack)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    vbox.fail("launchVMProcess", LaunchVMProcessFail, Result::InvalidObjectState);
    vbox.numbers["getProgressCompleted"] = {0, 1};
    startMachine(vbox, machine, enough);
    EXPECT_EQ(vbox.count("launchVMProcess"), 2) << "the lock race is waited for";
    EXPECT_TRUE(vbox.called("launchVMProcess(7, headless, 0 texts)"));
    EXPECT_EQ(vbox.count("progressWaitForCompletion"), 1);
    EXPECT_EQ(vbox.count("unlockMachine"), 1);
    EXPECT_TRUE(vbox.live.empty());
}

TEST(StartMachine, tellsTheMachinesOwnFailure)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    vbox.numbers["getProgressCompleted"] = {1};
    vbox.numbers["getProgressResultCode"] = {static_cast<std::int32_t>(Result::Fail)};
    vbox.texts["getProgressErrorInfo"] = {L"VT-x is not available"};
    EXPECT_THROW(startMachine(vbox, machine, enough, L"gui", {L"A=1"}), ProgressError);
    EXPECT_TRUE(vbox.called("launchVMProcess(7, gui, 1 texts)"));
    EXPECT_EQ(vbox.count("unlockMachine"), 0) << "the launch has left no lock";
}

TEST(StopMachine, switchesOff)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    vbox.numbers["machineGetState"] = {MachineState::Running};
    vbox.numbers["getProgressCompleted"] = {1};
    EXPECT_TRUE(stopMachine(vbox, machine, enough));
    EXPECT_TRUE(vbox.called("lockMachine(7, 1)"));
    EXPECT_EQ(vbox.count("powerDown"), 1);
    EXPECT_EQ(vbox.count("unlockMachine"), 1);
    EXPECT_TRUE(vbox.live.empty());
}

TEST(StopMachine, isDoneWithOneThatIsOff)
{
    for (const std::uint32_t off :
         {MachineState::PoweredOff, MachineState::Saved, MachineState::Aborted, MachineState::Teleported}) {
        FakeVBox vbox;
        const Borrowed machine(vbox);
        vbox.numbers["machineGetState"] = {off};
        EXPECT_FALSE(stopMachine(vbox, machine, enough)) << off;
        EXPECT_EQ(vbox.calls, std::vector<std::string>{"machineGetState(7)"});
    }
    FakeVBox vbox;
    const Borrowed machine(vbox);
    vbox.numbers["machineGetState"] = {MachineState::Running};
    vbox.nothing["getConsole"] = {true};
    EXPECT_FALSE(stopMachine(vbox, machine, enough)) << "it ended meanwhile";
    EXPECT_EQ(vbox.count("powerDown"), 0);
}

TEST(DeleteMachine, waitsForTheLock)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    vbox.fail("deleteMachine", MachineUnregisterFail, Result::InvalidObjectState);
    deleteMachine(vbox, machine, enough);
    EXPECT_EQ(vbox.count("deleteMachine"), 2);
    vbox.fail("deleteMachine", MachineUnregisterFail, Result::InvalidVMState);
    EXPECT_THROW(deleteMachine(vbox, machine, enough), SdkError);
}

TEST(RetryWhileLocked, servesOtherOperationsToo)
{
    FakeVBox vbox;
    const Borrowed machine(vbox);
    vbox.fail("deleteMachine", MachineUnregisterFail, Result::InvalidObjectState);
    EXPECT_GE(retryWhileLocked(vbox, enough, [&] { return vbox.deleteMachine(7); }), milliseconds(30));
    EXPECT_EQ(vbox.count("deleteMachine"), 2);

    vbox.fail("deleteMachine", MachineUnregisterFail, Result::InvalidVMState);
    EXPECT_THROW(retryWhileLocked(vbox, enough, [&] { return vbox.deleteMachine(7); }), SdkError);
    EXPECT_EQ(vbox.count("deleteMachine"), 3);
}
