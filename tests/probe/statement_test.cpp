// The stand-in behaves as the probe says that VirtualBox does.
#include "probe_test.h"

namespace TravikTest {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;

class ProbeStatements : public ProbeTest
{};

void expectAllToHold(const ProbeRun& run)
{
    ASSERT_TRUE(run.report.is_object()) << run.outcome.all();
    EXPECT_EQ(run.outcome.exitCode, 0);
    EXPECT_THAT(run.failing(), IsEmpty());
    EXPECT_GE(run.holding(), 150u);
    for (const auto& [name, why] : run.unchecked())
        EXPECT_THAT(why, testing::Not(HasSubstr("--start"))) << name;
}

TEST_F(ProbeStatements, HoldAgainstTheStandIn)
{
    expectAllToHold(probe({L"--start"}));
}

/// Clients that bring VirtualBox's own type library cross on the system's marshaller.
class ProbeMarshaller : public ProbeTest
{
protected:
    void SetUp() override
    {
        registerWith({L"register", L"--automation-marshaller"});
        ProbeTest::SetUp();
    }
    void TearDown() override
    {
        ProbeTest::TearDown();
        registerWith({L"register"});
    }

private:
    static void registerWith(const std::vector<std::wstring>& arguments)
    {
        ChildProcess program(productFolder() / L"vboxsim.exe", arguments);
        EXPECT_EQ(program.wait(), DWORD(0)) << program.restOfOutput();
    }
};

TEST_F(ProbeMarshaller, TheStatementsHoldOverTheSystemsMarshallerToo)
{
    const ProbeRun run = probe({L"--start"});
    expectAllToHold(run);
    EXPECT_EQ(run.report["virtualBox"]["marshaller"], "automation");
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
