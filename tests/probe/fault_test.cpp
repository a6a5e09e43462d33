// Faults that are planted in the stand-in are found, each by the statement that is about it.
#include "probe_test.h"

namespace TravikTest {
namespace {

using testing::Contains;
using testing::Key;

/// A call that answers otherwise, and the statement that must notice.
struct Fault
{
    const wchar_t* scenario;
    const wchar_t* statement;
};

class ProbeFaults : public ProbeTest, public testing::WithParamInterface<Fault>
{};

TEST_P(ProbeFaults, IsFound)
{
    const Fault& fault = GetParam();
    const ProbeRun sound = probe({L"--start", L"--only", fault.statement});
    ASSERT_TRUE(sound.report.is_object()) << sound.outcome.all();
    EXPECT_EQ(sound.holding(), 1u) << sound.outcome.all();
    Control().scenario(fault.scenario);
    const ProbeRun run = probe({L"--start", L"--only", fault.statement});
    ASSERT_TRUE(run.report.is_object()) << run.outcome.all();
    EXPECT_THAT(run.failing(), Contains(Key(utf8(fault.statement)))) << run.outcome.all();
    EXPECT_EQ(run.outcome.exitCode, 7);
}

// So many times at most, because taking away what was made needs some of these calls, too.
INSTANTIATE_TEST_SUITE_P(
    Planted, ProbeFaults,
    testing::Values(
        // Another result than the one that was promised.
        Fault{LR"({"faults": [{"call": "IVirtualBox::FindMachine", "result": "0x80004005", "times": 1}]})",
              L"lookup.unknown"},
        Fault{LR"({"faults": [{"call": "IMachine::LockMachine", "result": "0x80004005", "times": 1, "after": 1}]})",
              L"locks.second"},
        Fault{LR"({"faults": [{"call": "ISession::get_Machine", "result": "0x80004005", "times": 1}]})",
              L"locks.nothing"},
        Fault{LR"({"faults": [{"call": "IMedium::Close", "result": "0x80bb0007", "times": 1}]})",
              L"media.close-attached"},
        Fault{LR"({"faults": [{"call": "INATEngine::AddRedirect", "result": "0x80bb0002", "times": 1, "after": 1}]})",
              L"nat.same-name"},
        Fault{LR"({"faults": [{"call": "IMachine::put_CPUCount", "result": "0x80004005", "times": 1}]})",
              L"limits.processor-bounds"},
        // A failure where there should be none.
        Fault{LR"({"faults": [{"call": "IMachine::SaveSettings", "result": "0x80bb0004", "times": 1}]})",
              L"settings.hidden"},
        Fault{LR"({"faults": [{"call": "IMachine::GetExtraData", "result": "0x80bb0001", "times": 1}]})",
              L"extra-data.absent"},
        Fault{LR"({"faults": [{"call": "IConsole::Pause", "result": "0x80bb0003", "times": 1}]})", L"running.pause"},
        // Success with nothing in hand.
        Fault{LR"({"faults": [{"call": "INetworkAdapter::get_NATEngine", "null": true, "times": 1}]})", L"nat.engine"},
        Fault{LR"({"faults": [{"call": "ISession::get_Console", "null": true, "times": 1}]})", L"start.running"},
        // An operation that ends badly, or too early.
        Fault{LR"({"faults": [{"call": "IMachine::CloneTo.progress", "result": "0x80004005", "times": 1}]})",
              L"cloning.settings"},
        Fault{LR"({"faults": [{"call": "IMachine::DeleteConfig.progress", "result": "0x80bb0005", "times": 1}]})",
              L"deletion.file"},
        Fault{LR"({"faults": [{"call": "IEventSource::GetEvent", "result": "0x80004005", "times": 1}]})",
              L"events.none"},
        // Another processor than Windows has.
        Fault{LR"({"processorFeatures": {"2": false}})", L"host.long-mode"}));

} // namespace
} // namespace TravikTest
