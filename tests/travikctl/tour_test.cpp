// The tour: complete when all is well, and not when a step gives something else.

#include <set>

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

TEST_F(TravikctlTour, isJsonToo)
{
    const Outcome run = travikctlJson({L"tour"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.json()["complete"], true);
    std::vector<std::string> subjects;
    for (const json& row : run.json().value("tour", json::array())) {
        EXPECT_EQ(row["holds"], true) << row;
        if (subjects.empty() || subjects.back() != row["subject"])
            subjects.push_back(row["subject"]);
    }
    EXPECT_THAT(subjects, testing::ElementsAre("connection", "appliance", "names", "creation", "cloning", "settings",
                                               "disks", "port forwarding", "shared folders", "guest properties",
                                               "audio and host", "reconnection", "start", "pause", "runtime errors",
                                               "failures", "stop", "deletion"));
}

/// The tour of a real VirtualBox; that the stand-in answers makes no difference to it.
class TravikctlTourReal : public TravikctlTest
{
protected:
    static std::set<std::string> subjectsOf(const Outcome& run)
    {
        std::set<std::string> subjects;
        for (const json& row : run.json().value("tour", json::array()))
            subjects.insert(row["subject"]);
        return subjects;
    }

    void expectAllAsBefore()
    {
        EXPECT_EQ(travikctl({L"folder", L"get"}).out, utf8(world().machineFolder().wstring()) + "\n");
        EXPECT_EQ(travikctlJson({L"list"}).json()["machines"].size(), Machines::count) << "nothing is left";
    }
};

TEST_F(TravikctlTourReal, leavesOutFaultsAndStarts)
{
    const Outcome run = travikctlJson({L"tour", L"--real"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.json()["complete"], true);
    EXPECT_EQ(subjectsOf(run), (std::set<std::string>{"connection", "appliance", "names", "creation", "cloning",
                                                      "settings", "disks", "port forwarding", "shared folders",
                                                      "guest properties", "audio and host", "deletion"}));
    expectAllAsBefore();
}

TEST_F(TravikctlTourReal, startsAMachineWhenItMay)
{
    const Outcome run = travikctlJson({L"tour", L"--real", L"--start"});
    ASSERT_TRUE(succeeded(run));
    const std::set<std::string> subjects = subjectsOf(run);
    EXPECT_EQ(subjects.count("start"), 1u);
    EXPECT_EQ(subjects.count("stop"), 1u);
    EXPECT_EQ(subjects.count("failures"), 0u);
    expectAllAsBefore();
}

TEST_F(TravikctlTourReal, leavesAMachineAloneThatHasItsName)
{
    ASSERT_TRUE(succeeded(travikctl({L"create", L"harbour_1"})));
    const Outcome run = travikctl({L"tour", L"--real"});
    EXPECT_EQ(run.exitCode, 7);
    EXPECT_THAT(run.err, HasSubstr("harbour_1"));
    EXPECT_EQ(travikctlJson({L"list"}).json()["machines"].size(), Machines::count + 1) << "it is still there";
}

TEST_F(TravikctlTourReal, takesAwayWhatACrashLeft)
{
    Control().delay(L"INATEngine::AddRedirect", 5'000);
    Control().trace(true);
    {
        Program crashed(productFolder() / L"travikctl.exe", {L"tour", L"--real"}, CREATE_NO_WINDOW);
        ASSERT_TRUE(soon([&] { return Control().traceText().find(L"INATEngine::AddRedirect") != std::wstring::npos; },
                         milliseconds(60'000)));
    }
    Control().trace(false);
    EXPECT_GT(travikctlJson({L"list"}).json()["machines"].size(), Machines::count);
    Control().delay(L"INATEngine::AddRedirect", 0);
    const Outcome run = travikctl({L"tour", L"--real"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_THAT(run.out, HasSubstr("what an earlier tour left is taken away"));
    expectAllAsBefore();
}

class TravikctlTourFault : public TravikctlTest
{
protected:
    /// Runs the tour, which must end in this subject with a row that does not hold, and leave nothing.
    void endsIn(const std::string& subject, const std::string& row)
    {
        const Outcome run = travikctlJson({L"tour"});
        EXPECT_EQ(run.exitCode, 7) << run.all();
        EXPECT_EQ(run.json()["complete"], false);
        const json rows = run.json()["tour"];
        ASSERT_FALSE(rows.empty());
        EXPECT_EQ(rows.back(), (json{{"subject", subject}, {"verified", row}, {"holds", false}}));
        EXPECT_EQ(travikctl({L"folder", L"get"}).out, utf8(world().machineFolder().wstring()) + "\n");
        EXPECT_EQ(travikctlJson({L"list"}).json()["machines"].size(), Machines::count) << "nothing is left";
    }
};

TEST_F(TravikctlTourFault, anOperationFails)
{
    vboxsim({L"fail", L"IMachine::SetGuestProperty", L"0x80004005", L"--times", L"1"});
    endsIn("guest properties", "the step failed");
}

TEST_F(TravikctlTourFault, aStatementIsNotTrue)
{
    // The third size is the one that must be refused as invalid, and not in any other way.
    vboxsim({L"fail", L"IMachine::put_MemorySize", L"0x80004005", L"--times", L"1", L"--after", L"2"});
    endsIn("settings", "a machine without memory is refused");
}
