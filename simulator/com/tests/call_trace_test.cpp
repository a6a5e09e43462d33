#include <gtest/gtest.h>

#include "com/call_trace.h"

using namespace VBoxSim;

TEST(CallTrace, RecordsOnlyWhileOn)
{
    CallTrace trace;
    EXPECT_EQ(trace.begin(1, 2, L"IMachine::get_Name", L""), 0u);
    trace.turn(true);
    const auto number = trace.begin(7, 9, L"IMachine::put_Name", L"\"x\"");
    trace.end(number, Result::invalidVmState, 1.5);
    EXPECT_EQ(trace.text(), L"1 process 7 thread 9 IMachine::put_Name(\"x\") = 0x80bb0002 in 1.50 ms\n");
    trace.turn(false);
    EXPECT_EQ(trace.begin(1, 2, L"IMachine::get_Name", L""), 0u);
}
