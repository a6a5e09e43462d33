// The probe touches nothing that it did not make, and takes away what it made.
#include "probe_test.h"

namespace TravikTest {
namespace {

using testing::HasSubstr;

/// Every file of a folder with its content.
std::map<std::wstring, std::string> contentOf(const std::filesystem::path& folder)
{
    std::map<std::wstring, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            files[entry.path().wstring()] = readFile(entry.path());
    return files;
}

class ProbeGuarantees : public ProbeTest
{
protected:
    /// What the user has: machines, and VirtualBox's own settings.
    std::map<std::wstring, std::string> userFiles()
    {
        auto files = contentOf(world().machineFolder());
        files[L"registry"] = readFile(world().home() / L"VirtualBox.xml");
        return files;
    }

    /// Whether VirtualBox's settings name something of the probe's. To be asked while nobody replaces them: to hold the
    /// file open would be an error for whoever saves.
    bool knowsMachineOfProbe()
    {
        return readFile(world().home() / L"VirtualBox.xml").find("vboxprobe") != std::string::npos;
    }

    /// Starts the probe and waits until it is inside a call, which is slow.
    std::unique_ptr<Program> inside(const wchar_t* call, const wchar_t* statement)
    {
        Control control;
        control.trace(true);
        control.delay(call, 3'000);
        auto program = startProbe({L"--start", L"--only", statement});
        EXPECT_TRUE(soon([&] { return control.traceText().find(call) != std::wstring::npos; })) << program->outSoFar();
        return program;
    }
};

TEST_F(ProbeGuarantees, TheUsersMachinesAndSettingsAreAsBefore)
{
    // A first machine that comes and goes: what the server writes anyhow is written then.
    probe({L"--only", L"nat.saved"});
    const auto before = userFiles();
    const ProbeRun run = probe({L"--start", L"--only", L"names", L"limits", L"registration", L"extra-data", L"media",
                                L"appliances", L"locks"});
    ASSERT_TRUE(run.report.is_object()) << run.outcome.all();
    EXPECT_EQ(userFiles(), before);
}

TEST_F(ProbeGuarantees, CtrlCTakesAwayWhatWasMade)
{
    const auto program = inside(L"IMachine::get_SessionPID", L"locks.process");
    program->pressCtrlC();
    const ProbeRun run = resultOf(*program);
    EXPECT_EQ(run.outcome.exitCode, 130) << run.outcome.all();
    EXPECT_FALSE(knowsMachineOfProbe());
    EXPECT_TRUE(run.report.is_object()) << "what was checked is reported";
}

TEST_F(ProbeGuarantees, CtrlCEndsTheMachineThatRuns)
{
    const auto program = inside(L"IConsole::Pause", L"running.pause");
    program->pressCtrlC();
    const ProbeRun run = resultOf(*program);
    EXPECT_EQ(run.outcome.exitCode, 130) << run.outcome.all();
    EXPECT_FALSE(knowsMachineOfProbe());
}

TEST_F(ProbeGuarantees, TheNextStartTakesAwayWhatACrashLeft)
{
    inside(L"IMachine::get_SessionPID", L"locks.process").reset(); // as if it had crashed
    EXPECT_TRUE(knowsMachineOfProbe());
    EXPECT_TRUE(std::filesystem::exists(folderOfRuns()));
    Control().delay(L"IMachine::get_SessionPID", 0);
    const ProbeRun next = probe({L"--only", L"names.file"});
    EXPECT_EQ(next.outcome.exitCode, 0) << next.outcome.all();
    EXPECT_THAT(next.outcome.out, HasSubstr("earlier run"));
    EXPECT_FALSE(knowsMachineOfProbe());
}

TEST_F(ProbeGuarantees, TheNextStartEndsAMachineThatACrashLeftRunning)
{
    inside(L"IConsole::Pause", L"running.pause").reset(); // as if it had crashed
    Control().delay(L"IConsole::Pause", 0);
    const ProbeRun next = probe({L"--only", L"names.file"});
    EXPECT_EQ(next.outcome.exitCode, 0) << next.outcome.all();
    EXPECT_FALSE(knowsMachineOfProbe());
}

TEST_F(ProbeGuarantees, TheNextStartSetsTheMachineFolderBack)
{
    const std::string before = readFile(world().home() / L"VirtualBox.xml");
    ASSERT_EQ(before.find("vboxprobe"), std::string::npos);
    inside(L"IVirtualBox::ComposeMachineFilename", L"limits.folder").reset(); // as if it had crashed
    EXPECT_TRUE(knowsMachineOfProbe()) << "the machine folder is not the probe's";
    Control().delay(L"IVirtualBox::ComposeMachineFilename", 0);
    probe({L"--only", L"names.file"});
    const std::string after = readFile(world().home() / L"VirtualBox.xml");
    EXPECT_THAT(after, HasSubstr("defaultMachineFolder=\"" + utf8(world().machineFolder().wstring()) + "\""));
}

TEST_F(ProbeGuarantees, OneRunsAtATime)
{
    const auto first = inside(L"IMachine::get_SessionPID", L"locks.process");
    const Outcome second = runProgram(productFolder() / L"vboxprobe.exe", {L"--only", L"names.file"});
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_THAT(second.err, HasSubstr("another vboxprobe runs"));
    EXPECT_EQ(resultOf(*first).outcome.exitCode, 0);
}

} // namespace
} // namespace TravikTest
