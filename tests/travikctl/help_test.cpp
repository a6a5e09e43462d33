// The help, wrong command lines, and what works without VirtualBox.

#include <algorithm>
#include <regex>
#include <set>

#include "core/task_log.h"
#include "core/terminal.h"
#include "ctl_test.h"

using namespace TravikTest;

namespace {

/// The verbs that a help names, "nat" and the like without their own verbs.
std::set<std::string> verbsIn(const std::string& help)
{
    std::set<std::string> verbs;
    std::istringstream lines(help.substr(help.find("Subcommands:")));
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line) && line.rfind("  ", 0) == 0) {
        if (line[2] != ' ')
            verbs.insert(line.substr(2, line.find(' ', 2) - 2));
    }
    return verbs;
}

} // namespace

TEST(TravikctlSuites, areAllRunByCTest)
{
    const std::string listed = "|" TRAVIK_SUITES "|";
    const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
    for (int i = 0; i < tests.total_test_suite_count(); ++i)
        EXPECT_THAT(listed, HasSubstr("|" + std::string(tests.GetTestSuite(i)->name()) + "|"));
}

TEST(TravikctlHelp, namesEveryVerb)
{
    const Outcome run = travikctl({L"--help"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(
        verbsIn(run.out),
        (std::set<std::string>{"list",  "show",  "name", "create", "register", "clone",  "delete", "import",    "set",
                               "get",   "start", "stop", "resume", "state",    "watch",  "nat",    "share",     "prop",
                               "audio", "host",  "disk", "folder", "convert",  "doctor", "tour",   "completion"}));
    EXPECT_THAT(run.out, HasSubstr("Exit codes: 0 done"));
}

TEST(TravikctlHelp, namesTheVerbsOfGroups)
{
    EXPECT_EQ(verbsIn(travikctl({L"nat", L"--help"}).out), (std::set<std::string>{"add", "remove", "list"}));
    EXPECT_EQ(verbsIn(travikctl({L"share", L"--help"}).out), (std::set<std::string>{"add", "remove"}));
    EXPECT_EQ(verbsIn(travikctl({L"prop", L"--help"}).out), (std::set<std::string>{"get", "set", "delete"}));
    EXPECT_EQ(verbsIn(travikctl({L"audio", L"--help"}).out), (std::set<std::string>{"on", "off"}));
    EXPECT_EQ(verbsIn(travikctl({L"folder", L"--help"}).out), (std::set<std::string>{"get", "set"}));
    EXPECT_EQ(
        verbsIn(travikctl({L"disk", L"--help"}).out),
        (std::set<std::string>{"open", "info", "attach", "detach", "close", "delete", "rename", "ports", "current"}));
}

TEST(TravikctlHelp, ofAllVerbsShowsTheArgumentsOfEach)
{
    const Outcome run = travikctl({L"--help-all"});
    ASSERT_TRUE(succeeded(run));
    EXPECT_THAT(run.out, HasSubstr("\nshow\n  One machine\n  Positionals:\n    MACHINE REQUIRED "));
    EXPECT_THAT(run.out, HasSubstr("\nnat remove\n  Remove a rule\n  Positionals:\n    MACHINE REQUIRED "));
    EXPECT_THAT(run.out, HasSubstr("--guest-port PORT REQUIRED"));
}

TEST(TravikctlHelp, tellsTheVersion)
{
    const Outcome run = travikctl({L"--version"});
    EXPECT_TRUE(succeeded(run));
    EXPECT_THAT(run.out, StartsWith("travikctl 1."));
}

TEST(TravikctlUsage, refusesWrongCommandLinesWithCode2)
{
    const std::vector<std::vector<std::wstring>> wrong{
        {},
        {L"frobnicate"},
        {L"show"},
        {L"nat"},
        {L"nat", L"add", L"m", L"r", L"--host-port", L"0", L"--guest-port", L"1"},
        {L"nat", L"add", L"m", L"r", L"--host-port", L"65536", L"--guest-port", L"1"},
        {L"nat", L"add", L"m", L"r", L"--host-port", L"1", L"--guest-port", L"1", L"--protocol", L"sctp"},
        {L"set", L"m", L"--cpus", L"two"},
        {L"set", L"m", L"--paravirt", L"xen"},
        {L"set", L"m", L"--extra", L"novalue"},
        {L"delete", L"m"},
        {L"get", L"m", L"memory"},
        {L"convert", L"unknown", L"1"},
        {L"--timeout", L"-1", L"list"},
    };
    for (const auto& arguments : wrong) {
        const Outcome run = travikctl(arguments);
        EXPECT_TRUE(failed(run, 2, {"--help"})) << testing::PrintToString(arguments);
    }
}

TEST(TravikctlUsage, saysWhatIsWrongAndWhereToLook)
{
    EXPECT_EQ(travikctl({}).err, "travikctl: a verb is missing\nSee 'travikctl --help'.\n");
    EXPECT_EQ(travikctl({L"frobnicate"}).err, "travikctl: there is no verb 'frobnicate'\nSee 'travikctl --help'.\n");
    EXPECT_EQ(travikctl({L"nat"}).err, "travikctl nat: a verb is missing\nSee 'travikctl nat --help'.\n");
    EXPECT_EQ(travikctl({L"nat", L"frob"}).err,
              "travikctl nat: there is no verb 'frob'\nSee 'travikctl nat --help'.\n");
    EXPECT_EQ(travikctl({L"show"}).err, "travikctl show: MACHINE is required\nSee 'travikctl show --help'.\n");
}

TEST(TravikctlUsage, asksWhetherAnotherWordWasMeant)
{
    EXPECT_THAT(travikctl({L"lits"}).err, StartsWith("travikctl: there is no verb 'lits'; did you mean 'list'?\n"));
    EXPECT_THAT(travikctl({L"nat", L"ad"}).err, HasSubstr("did you mean 'add'?"));
    EXPECT_THAT(travikctl({L"set", L"m", L"--memry", L"1"}).err,
                StartsWith("travikctl set: there is no option --memry; did you mean '--memory'?\n"));
    EXPECT_THAT(travikctl({L"show", L"m", L"--jsn"}).err, HasSubstr("did you mean '--json'?"));
    EXPECT_THAT(travikctl({L"show", L"m", L"--zzzzzz"}).err, Not(HasSubstr("did you mean")));
}

TEST(TravikctlHelp, hasAnExampleForEveryVerb)
{
    const Outcome all = travikctl({L"--help-all"});
    std::istringstream lines(all.out.substr(all.out.find("Subcommands:")));
    std::string verb, line;
    bool hasExample = true;
    const std::regex heading("^[a-z]+( [a-z]+)?\r?$");
    while (std::getline(lines, line)) {
        if (std::regex_match(line, heading)) {
            EXPECT_TRUE(hasExample) << verb;
            verb = line;
            hasExample = false;
        }
        hasExample = hasExample || line.find("  travikctl " + verb) != std::string::npos;
    }
    EXPECT_TRUE(hasExample) << verb;
    EXPECT_THAT(travikctl({L"start", L"--help"}).out, HasSubstr("Examples:\n  travikctl start Player\n"));
}

class TravikctlCompletion : public TravikctlTest
{
protected:
    static std::string words(const std::wstring& line)
    {
        std::string found = travikctl({L"completion", L"bash", L"--line", line}).out;
        std::replace(found.begin(), found.end(), '\n', ' ');
        return found;
    }
};

TEST_F(TravikctlCompletion, isMadeOfTheVerbs)
{
    EXPECT_THAT(words(L"travikctl "), StartsWith("list show name create "));
    EXPECT_EQ(words(L"travikctl na"), "name nat ");
    EXPECT_EQ(words(L"travikctl nat "), "add remove list ");
    EXPECT_EQ(words(L"travikctl nat add m r --proto"), "--protocol ");
    EXPECT_EQ(words(L"travikctl nat add m r --protocol "), "udp tcp ");
    EXPECT_EQ(words(L"travikctl start x --type "), "headless gui sdl ");
    EXPECT_EQ(words(L"travikctl list --timeout 5 --state Pow"), "PoweredOff ");
    EXPECT_EQ(words(L"travikctl get x "), "name uuid state ");
    EXPECT_EQ(words(L"travikctl show --j"), "--json ");
    EXPECT_EQ(words(L"travikctl nothing "), "");
    EXPECT_EQ(travikctlJson({L"completion", L"powershell", L"--line", L"travikctl audio o"}).facts(),
              (json{{"words", {"on", "off"}}}));
}

TEST_F(TravikctlCompletion, knowsTheMachines)
{
    EXPECT_EQ(words(L"travikctl show Pl"), "Player ");
    EXPECT_EQ(words(L"travikctl show 'Game"), "Game 🎮 ");
    EXPECT_EQ(words(L"travikctl start Player Pl"), "Player ") << "of several";
    EXPECT_EQ(words(L"travikctl show Player Pl"), "") << "there is one only";
    ASSERT_TRUE(stopServer());
    unregisterStandIn();
    EXPECT_EQ(words(L"travikctl show Pl"), "") << "without VirtualBox there are none, and no complaint";
    registerStandIn();
}

TEST_F(TravikctlCompletion, hasAScriptForEachShell)
{
    EXPECT_THAT(travikctl({L"completion", L"bash"}).out, HasSubstr("complete -o default -F _travikctl travikctl"));
    EXPECT_THAT(travikctl({L"completion", L"powershell"}).out,
                HasSubstr("Register-ArgumentCompleter -Native -CommandName travikctl"));
    EXPECT_TRUE(failed(travikctl({L"completion", L"fish"}), 2, {"powershell", "bash"}));
}

TEST(TravikctlColors, areForTerminalsOnlyAndOffWithNoColor)
{
    EXPECT_TRUE(wantsColor(true, nullptr));
    EXPECT_TRUE(wantsColor(true, L""));
    EXPECT_FALSE(wantsColor(true, L"1"));
    EXPECT_FALSE(wantsColor(false, nullptr));
}

TEST(TravikctlLog, tellsTheSentenceOfTheLastTask)
{
    const std::string head = "\r\n[Thu Nov 20 11:20:48 2025][INFO] (Travik::VBox::_wait) <111> # get importOva";
    EXPECT_EQ(reasonIn(""), "");
    EXPECT_EQ(reasonIn(head + " Progress return:0"), "");
    EXPECT_EQ(reasonIn(head + " Progress fail desc: one" + head + " Progress fail desc: two words.\r\nA line." + head),
              "two words.\r\nA line.");
    EXPECT_EQ(reasonIn(head + " Progress fail desc: C:\\users\\\\u4E2D\\U0001F3AE.ova"), "C:\\users\\中🎮.ova");
}

TEST(TravikctlUsage, isJsonToo)
{
    EXPECT_TRUE(failedAsJson(travikctlJson({L"show"}), 2, "", "", ""));
}

TEST(TravikctlConvert, knowsBothNumberings)
{
    const auto converted = [](const wchar_t* kind, const wchar_t* value) {
        const Outcome run = travikctlJson({L"convert", kind, value});
        EXPECT_TRUE(succeeded(run));
        return run.json()["converted"];
    };
    EXPECT_EQ(converted(L"machine-state", L"17"), (json{{"toVBox", 18}, {"toSdk", 16}}));
    EXPECT_EQ(converted(L"event-type", L"2"), (json{{"toVBox", 57}, {"toSdk", 0}}));
    EXPECT_EQ(converted(L"event-type", L"46"), (json{{"toVBox", 0}, {"toSdk", 1}}));
    EXPECT_EQ(converted(L"result", L"7"), (json{{"toVBox", 0x80bb0007}, {"toVBoxText", "0x80bb0007"}, {"toSdk", 31}}));
    EXPECT_EQ(converted(L"result", L"0x80BB0001"), (json{{"toVBox", 0}, {"toVBoxText", "0x00000000"}, {"toSdk", 1}}));
    EXPECT_EQ(converted(L"paravirt", L"6"), (json{{"toVBox", 6}, {"toSdk", 6}}));
    EXPECT_EQ(converted(L"switch", L"5"), (json{{"toVBox", 0}, {"toSdk", 0}}));
    EXPECT_EQ(converted(L"flag-a", L"5"), (json{{"toVBox", 0}, {"toSdk", 1}}));
    EXPECT_EQ(converted(L"kind-a", L"5"), (json{{"toVBox", 5}, {"toSdk", 5}}));
    EXPECT_EQ(converted(L"kind-b", L"6"), (json{{"toVBox", 0}, {"toSdk", 0}}));
    EXPECT_EQ(converted(L"kind-c", L"3"), (json{{"toVBox", 3}, {"toSdk", 3}}));
    EXPECT_EQ(travikctl({L"convert", L"machine-state", L"17"}).out, "toVBox: 18\ntoSdk:  16\n");
    EXPECT_EQ(travikctlJson({L"convert", L"machine-state", L"17"}).facts(),
              (json{{"converted", {{"toVBox", 18}, {"toSdk", 16}}}}));
    EXPECT_TRUE(failed(travikctl({L"convert", L"colour", L"1"}), 2, {"KIND", "machine-state"}));
}
