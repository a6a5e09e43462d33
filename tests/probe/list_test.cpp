// The command line and the report.
#include "probe_test.h"

namespace TravikTest {
namespace {

using testing::HasSubstr;
using testing::Not;

class ProbeList : public ProbeTest
{};

TEST_F(ProbeList, SaysTheStatementsWithoutVirtualBox)
{
    ASSERT_TRUE(stopServer());
    const Outcome all = runProgram(productFolder() / L"vboxprobe.exe", {L"--list"});
    EXPECT_EQ(all.exitCode, 0);
    EXPECT_THAT(all.out, HasSubstr("media.close-attached"));
    EXPECT_THAT(all.out, HasSubstr("assumed"));
    EXPECT_THAT(all.out, HasSubstr("(no check)"));
    const Outcome some = runProgram(productFolder() / L"vboxprobe.exe", {L"--list", L"--only", L"nat"});
    EXPECT_THAT(some.out, HasSubstr("nat.form"));
    EXPECT_THAT(some.out, Not(HasSubstr("media.close-attached")));
    EXPECT_EQ(serverProcess(), 0u);
}

TEST_F(ProbeList, RefusesAStatementThatItDoesNotKnow)
{
    const Outcome run = runProgram(productFolder() / L"vboxprobe.exe", {L"--only", L"medi"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_THAT(run.err, HasSubstr("'medi'"));
}

TEST_F(ProbeList, ChecksOnlyWhatIsAskedFor)
{
    const ProbeRun run = probe({L"--only", L"nat.form", L"media.close"});
    ASSERT_TRUE(run.report.is_object()) << run.outcome.all();
    EXPECT_EQ(run.outcome.exitCode, 0);
    std::vector<std::string> names;
    for (const nlohmann::json& row : run.report["statements"])
        names.push_back(row["name"]);
    EXPECT_EQ(names, (std::vector<std::string>{"media.close", "nat.form"}));
}

TEST_F(ProbeList, TheReportSaysWhatItIsAbout)
{
    const ProbeRun run = probe({L"--only", L"nat.form"});
    ASSERT_TRUE(run.report.is_object()) << run.outcome.all();
    EXPECT_EQ(run.report["virtualBox"]["version"], "6.1.50");
    EXPECT_EQ(run.report["virtualBox"]["apiVersion"], "6_1");
    EXPECT_EQ(run.report["virtualBox"]["packageType"], "vboxsim");
    EXPECT_THAT(run.report["virtualBox"]["marshaller"].get<std::string>(), Not(HasSubstr("not registered")));
    const nlohmann::json row = run.report["statements"][0];
    EXPECT_EQ(row["ground"], "documented");
    EXPECT_EQ(row["expected"], "'ssh,1,127.0.0.1,2222,,22'");
    EXPECT_EQ(row["seen"], row["expected"]);
    EXPECT_EQ(row["holds"], true);
    EXPECT_EQ(run.report["totals"]["hold"], 1);
}

TEST_F(ProbeList, TheReportDoesNotTellWhereTheFolderIs)
{
    const ProbeRun run = probe({L"--only", L"settings.rename", L"limits.folder", L"media.location"});
    ASSERT_TRUE(run.report.is_object()) << run.outcome.all();
    EXPECT_EQ(run.report.dump().find("vboxprobe\\\\run-"), std::string::npos);
    EXPECT_THAT(run.report.dump(), HasSubstr("<folder>"));
}

TEST_F(ProbeList, AnotherVersionIsNotTouched)
{
    Control().scenario(LR"({"version": "7.0.14"})");
    const Outcome run = runProgram(productFolder() / L"vboxprobe.exe", {});
    EXPECT_EQ(run.exitCode, 6);
    EXPECT_THAT(run.err, HasSubstr("7_0"));
}

} // namespace
} // namespace TravikTest
