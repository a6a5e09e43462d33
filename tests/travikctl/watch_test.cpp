// watch over a fake: what the stand-in cannot show.

#include <gtest/gtest.h>

#include "core/command_line.h"
#include "core/context.h"
#include "fake_vbox.h"

namespace {

/// Watches until the end, and tells how many events were asked for.
std::ptrdiff_t watch(FakeVBox& vbox, const std::vector<std::string>& more)
{
    Verbs verbs;
    addWatchVerb(verbs);
    Options options;
    std::vector<std::string> arguments{"watch", "Player"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Request request = parseCommandLine(verbs, options, arguments);
    EXPECT_EQ(request.problem, "");
    Output out("watch", false, false, true);
    Context context{vbox, out, Travik::Deadline::never(), std::chrono::milliseconds(0), {}};
    request.verb->action()(context);
    return vbox.count("eventSourceGetEvent");
}

} // namespace

TEST(Watch, endsAtEveryStateThatIsOff)
{
    for (const std::uint32_t state : {Travik::MachineState::PoweredOff, Travik::MachineState::Saved,
                                      Travik::MachineState::Teleported, Travik::MachineState::Aborted}) {
        FakeVBox vbox;
        vbox.numbers["eventSourceEventGetType"] = {Travik::VBoxEventType::OnStateChanged};
        vbox.numbers["eventSourceStateChangedEventGetState"] = {state};
        EXPECT_EQ(watch(vbox, {"--count", "3"}), 1) << "state " << state;
    }
}

TEST(Watch, goesOnAtEveryOtherState)
{
    FakeVBox vbox;
    vbox.numbers["eventSourceEventGetType"] = {Travik::VBoxEventType::OnStateChanged,
                                               Travik::VBoxEventType::OnStateChanged};
    vbox.numbers["eventSourceStateChangedEventGetState"] = {Travik::MachineState::Saving,
                                                            Travik::MachineState::Stopping};
    EXPECT_EQ(watch(vbox, {"--count", "2"}), 2);
}

TEST(Watch, tellsThatEventsWereLostAndGoesOn)
{
    FakeVBox vbox;
    vbox.fail("eventSourceGetEvent", Travik::EventSourceGetEventFail, Travik::Result::ObjectNotFound);
    vbox.numbers["consoleGetState"] = {Travik::MachineState::Running, Travik::MachineState::Paused};
    EXPECT_EQ(watch(vbox, {"--count", "1"}), 2);
    EXPECT_EQ(vbox.count("consoleGetState"), 2) << "once at the beginning, once for what was lost";
    EXPECT_EQ(vbox.count("eventSourceRegisterListener"), 2);
}
