#include <gtest/gtest.h>

#include "host/fault_table.h"

using namespace VBoxSim;

TEST(FaultTable, LeavesOtherCallsAlone)
{
    FaultTable faults;
    faults.fail(L"IMachine::get_Name", Result::fail, 0, 0);
    const CallFault fault = faults.take(L"IMachine::get_Id");
    EXPECT_FALSE(fault.fails || fault.answersNull || fault.die);
    EXPECT_EQ(fault.delayMilliseconds, 0u);
}

TEST(FaultTable, FailsForEverWithoutACount)
{
    FaultTable faults;
    faults.fail(L"IMachine::get_Name", Result::fileError, 0, 0);
    for (int i = 0; i < 20; ++i) {
        const CallFault fault = faults.take(L"IMachine::get_Name");
        ASSERT_TRUE(fault.fails);
        ASSERT_EQ(fault.result, Result::fileError);
    }
}

TEST(FaultTable, CountsTheCallsBeforeAndTheFailures)
{
    FaultTable faults;
    faults.fail(L"IMachine::get_Name", Result::fail, 2, 3);
    const bool expected[] = {false, false, false, true, true, false, false};
    for (const bool fails : expected)
        EXPECT_EQ(faults.take(L"IMachine::get_Name").fails, fails);
}

TEST(FaultTable, AnswersNullInsteadOfFailing)
{
    FaultTable faults;
    faults.answerNull(L"IMachine::LaunchVMProcess", 1, 0);
    const CallFault first = faults.take(L"IMachine::LaunchVMProcess");
    EXPECT_TRUE(first.answersNull);
    EXPECT_FALSE(first.fails);
    EXPECT_FALSE(faults.take(L"IMachine::LaunchVMProcess").answersNull);
}

TEST(FaultTable, KeepsDelayAndDeathBesideAFailure)
{
    FaultTable faults;
    faults.delay(L"IConsole::Pause", 40);
    faults.fail(L"IConsole::Pause", Result::vmError, 1, 0);
    EXPECT_EQ(faults.take(L"IConsole::Pause").delayMilliseconds, 40u);
    faults.dieIn(L"IConsole::Pause");
    const CallFault fault = faults.take(L"IConsole::Pause");
    EXPECT_TRUE(fault.die);
    EXPECT_FALSE(fault.fails);
    faults.clear();
    EXPECT_EQ(faults.take(L"IConsole::Pause").delayMilliseconds, 0u);
    EXPECT_EQ(faults.describe(), L"");
}
