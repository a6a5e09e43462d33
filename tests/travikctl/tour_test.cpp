// The tour: complete when all is well, and not when a step gives something else.

#include "ctl_test.h"

using namespace TravikTest;

using TravikctlTour = TravikctlTest;

TEST_F(TravikctlTour, isComplete)
{
    const Outcome run = travikctl({L"tour"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_THAT(run.out, HasSubstr("Verified on this tour:"));
    EXPECT_THAT(run.out, HasSubstr("The tour is complete: everything it states holds."));
    EXPECT_EQ(travikctl({L"folder", L"get"}).out, utf8(world().machineFolder().wstring()) + "\n");
    EXPECT_EQ(travikctlJson({L"list"}).json()["machines"].size(), Machines::count) << "nothing is left";
}

TEST_F(TravikctlTour, failsWhenAStepIsNotTrueAndCleansUp)
{
    vboxsim({L"fail", L"IConsole::Resume", L"0x80004005", L"--times", L"1"});
    const Outcome run = travikctlJson({L"tour"});
    EXPECT_EQ(run.exitCode, 7) << run.all();
    EXPECT_EQ(run.json()["complete"], false);
    const json rows = run.json()["tour"];
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows.back()["subject"], "pause");
    EXPECT_EQ(rows.back()["holds"], false);
    EXPECT_EQ(travikctl({L"folder", L"get"}).out, utf8(world().machineFolder().wstring()) + "\n");
    EXPECT_EQ(travikctlJson({L"list"}).json()["machines"].size(), Machines::count) << "nothing is left";
}
