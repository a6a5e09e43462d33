// The locked session: it waits only for the lock race, and never leaves a lock behind.

#include <gtest/gtest.h>

#include "fake_vbox.h"

using namespace Travik;
using std::chrono::milliseconds;

namespace {

const Deadline enough(milliseconds(60000));

} // namespace

TEST(LockedSessionTest, locksHandsTheMutableMachineOutAndUnlocks)
{
    FakeVBox vbox;
    {
        LockedSession session(vbox, 7, LockType::Write, enough);
        EXPECT_EQ(session.machine().get(), 101u);
        session.save();
    }
    EXPECT_EQ(vbox.calls, (std::vector<std::string>{"lockMachine(7, 2)", "createMutableMachine(7)", "saveSettings(101)",
                                                    "releaseMachine(101)", "unlockMachine()"}));
}

TEST(LockedSessionTest, retriesTheLockRaceAndTellsHowLong)
{
    FakeVBox vbox;
    for (int i = 0; i < 3; ++i)
        vbox.fail("lockMachine", LockMachineFail, 0x80BB0007);
    int ticks = 0;
    const LockedSession session(vbox, 7, LockType::Write, enough, [&] { ++ticks; });
    EXPECT_EQ(vbox.count("lockMachine"), 4);
    EXPECT_EQ(ticks, 3);
    EXPECT_GE(session.waited(), milliseconds(100));
}

TEST(LockedSessionTest, retriesNothingElse)
{
    for (const std::uint32_t result : {0x80BB0003u, 0x80070005u, 0x8000FFFFu, 0x80004005u, 0x800706BAu}) {
        FakeVBox vbox;
        vbox.fail("lockMachine", LockMachineFail, result);
        EXPECT_THROW(LockedSession(vbox, 7, LockType::Write, enough), SdkError) << result;
        EXPECT_EQ(vbox.calls, std::vector<std::string>{"lockMachine(7, 2)"}) << result;
    }
}

TEST(LockedSessionTest, throwsTheLastFailureAtTheDeadline)
{
    FakeVBox vbox;
    vbox.onCall = [&](const std::string& operation) { vbox.fail(operation, LockMachineFail, 0x80BB0007); };
    try {
        LockedSession session(vbox, 7, LockType::Shared, Deadline(milliseconds(120)));
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
    vbox.fail("createMutableMachine", CreateMutableMachineFail, 0x8000FFFF);
    EXPECT_THROW(LockedSession(vbox, 7, LockType::Write, enough), SdkError);
    EXPECT_EQ(vbox.calls.back(), "unlockMachine()");
}

TEST(LockedSessionTest, unlocksWhenTheWorkThrows)
{
    FakeVBox vbox;
    vbox.fail("setMachineMemory", SetMachineMemoryFail, 0x80070057);
    try {
        LockedSession session(vbox, 7, LockType::Write, enough);
        check(vbox, vbox.setMachineMemory(session.machine(), 0));
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
    vbox.fail("unlockMachine", UnlockMachineFail, 0x8000FFFF);
    {
        LockedSession session(vbox, 7, LockType::Write, enough);
        EXPECT_THROW(session.unlock(), SdkError);
    }
    EXPECT_EQ(vbox.count("unlockMachine"), 1);
    EXPECT_EQ(vbox.count("releaseMachine"), 1);
}

TEST(LockedSessionTest, keepsAFailureAtItsEndToItself)
{
    FakeVBox vbox;
    vbox.fail("unlockMachine", UnlockMachineFail, 0x8000FFFF); // the machine's end has closed the session
    EXPECT_NO_THROW(LockedSession(vbox, 7, LockType::Shared, enough));
    EXPECT_EQ(vbox.count("unlockMachine"), 1);
}

TEST(LockedSessionTest, moves)
{
    FakeVBox vbox;
    {
        LockedSession first(vbox, 7, LockType::Write, enough);
        LockedSession second(std::move(first));
        EXPECT_EQ(second.machine().get(), 101u);
    }
    EXPECT_EQ(vbox.count("unlockMachine"), 1);
    EXPECT_EQ(vbox.count("releaseMachine"), 1);
}

TEST(LockedSessionTest, takesOverTheLockOfALaunch)
{
    FakeVBox vbox;
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
    vbox.nothing["getConsole"] = {true};
    const LockedSession session(vbox, 7, LockType::Shared, enough);
    EXPECT_EQ(session.console().get(), 0u);
}

TEST(RetryWhileLocked, servesOtherOperationsToo)
{
    FakeVBox vbox;
    vbox.fail("deleteMachine", MachineUnregisterFail, 0x80BB0007);
    EXPECT_GE(retryWhileLocked(vbox, enough, [&] { return vbox.deleteMachine(7); }), milliseconds(30));
    EXPECT_EQ(vbox.count("deleteMachine"), 2);

    vbox.fail("deleteMachine", MachineUnregisterFail, 0x80BB0002);
    EXPECT_THROW(retryWhileLocked(vbox, enough, [&] { return vbox.deleteMachine(7); }), SdkError);
    EXPECT_EQ(vbox.count("deleteMachine"), 3);
}
