// The stand-in behaves as the probe says that VirtualBox does.
#include "probe_test.h"

namespace TravikTest {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;

/// Documented behaviour that the stand-in does not have yet. A statement that begins to hold has to leave the list.
const std::set<std::string> differing{
    "lookup.open-known-uuid", "events.extra-data", "media.by-id", "errors.support", "errors.operation",
};

class ProbeStatements : public ProbeTest
{};

TEST_F(ProbeStatements, HoldAgainstTheStandIn)
{
    const ProbeRun run = probe({L"--start"});
    ASSERT_TRUE(run.report.is_object()) << run.outcome.all();
    EXPECT_EQ(run.outcome.exitCode, differing.empty() ? 0 : 7);
    std::map<std::string, std::string> failing = run.failing();
    for (const std::string& name : differing)
        EXPECT_EQ(failing.erase(name), 1u) << name << " holds now";
    EXPECT_THAT(failing, IsEmpty());
    EXPECT_GE(run.holding(), 150u);
    for (const auto& [name, why] : run.unchecked())
        EXPECT_THAT(why, testing::Not(HasSubstr("--start"))) << name;
}

TEST_F(ProbeStatements, ThatNeedAMachineAreLeftOutUnlessItMayBeStarted)
{
    Control().trace(true);
    const ProbeRun run = probe({L"--only", L"start", L"running", L"progress"});
    ASSERT_TRUE(run.report.is_object()) << run.outcome.all();
    EXPECT_THAT(run.failing(), IsEmpty());
    const auto unchecked = run.unchecked();
    ASSERT_THAT(unchecked, Contains(Key("start.running")));
    EXPECT_THAT(unchecked.at("start.running"), HasSubstr("--start"));
    EXPECT_EQ(run.report["probe"]["startedMachines"], false);
    EXPECT_EQ(utf8(Control().traceText()).find("IConsole::"), std::string::npos) << "a machine was started";
}

} // namespace
} // namespace TravikTest
