#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/text.h"
#include "host/fault_table.h"
#include "host/scenario.h"

using namespace VBoxSim;

TEST(Scenario, SetsTimesMachinesAndFaults)
{
    Scenario scenario;
    FaultTable faults;
    applyScenario(LR"({
        "times": {"start": 1500, "holdLock": 0},
        "version": "6.1.8",
        "machines": {"模拟器 1": {"launch": {"result": "0x80004005", "text": "no VT-x"}}},
        "processorFeatures": {"0": false},
        "faults": [{"call": "IMachine::get_Name", "result": "0x80070005", "times": 1},
                   {"call": "IConsole::Pause", "delay": 5, "null": true}]
    })",
                  scenario, faults);
    EXPECT_EQ(scenario.times.start, 1500u);
    EXPECT_EQ(scenario.times.holdLock, 0u);
    EXPECT_EQ(scenario.times.stop, Scenario().times.stop);
    EXPECT_EQ(scenario.version, L"6.1.8");
    ASSERT_TRUE(scenario.launchFailures.contains(L"模拟器 1"));
    EXPECT_EQ(scenario.launchFailures[L"模拟器 1"].result, Result::fail);
    EXPECT_EQ(scenario.launchFailures[L"模拟器 1"].text, L"no VT-x");
    EXPECT_FALSE(scenario.processorFeatures.at(0));
    EXPECT_EQ(faults.take(L"IMachine::get_Name").result, Result::accessDenied);
    const CallFault pause = faults.take(L"IConsole::Pause");
    EXPECT_EQ(pause.delayMilliseconds, 5u);
    EXPECT_TRUE(pause.answersNull);
}

TEST(Scenario, RefusesWhatItDoesNotKnow)
{
    Scenario scenario;
    FaultTable faults;
    for (const wchar_t* json :
         {L"", L"[", L"{\"tims\": {}}", L"{\"times\": {\"start\": \"soon\"}}", L"{\"faults\": [{\"result\": 1}]}",
          L"{\"times\": {\"begin\": 1}}", L"{\"faults\": [{\"call\": \"IMachine::get_Nam\", \"delay\": 1}]}"})
        EXPECT_THROW(applyScenario(json, scenario, faults), Failure) << toUtf8(json);
}
