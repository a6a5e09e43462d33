// The event loop: every event is marked and given back, a dropped listener is replaced and the caller told.

#include <gtest/gtest.h>

#include "fake_vbox.h"

using namespace Travik;
using std::chrono::milliseconds;
using Step = EventLoop::Step;

namespace {

class EventLoopTest : public testing::Test
{
protected:
    EventLoop makeLoop()
    {
        vbox.live.push_back(7);
        return EventLoop(vbox, ScopedEventSource(vbox, 7), {EventType::StateChanged, EventType::RuntimeError});
    }
    void comes(std::uint32_t type) { vbox.numbers["eventSourceEventGetType"].push_back(type); }
    static void ignore(const EventData&) {}

    FakeVBox vbox;
};

} // namespace

TEST_F(EventLoopTest, registersAPassiveListenerAndUnregistersIt)
{
    {
        EventLoop loop = makeLoop();
    }
    EXPECT_EQ(vbox.calls, (std::vector<std::string>{"eventSourceCreateListener(7)",
                                                    "eventSourceRegisterListener(7, 101, [46 57], 0)",
                                                    "eventSourceUnregisterListener(7, 101)"}));
}

TEST_F(EventLoopTest, givesBothHandlesBackItselfWhenUnregisteringFails)
{
    vbox.fail("eventSourceUnregisterListener", EventSourceUnregisterListenerFail, Result::RpcServerUnavailable);
    {
        EventLoop loop = makeLoop();
    }
    EXPECT_TRUE(vbox.called("releaseEventListener(101)"));
    EXPECT_TRUE(vbox.called("releaseEventSource(7)"));
}

TEST_F(EventLoopTest, givesHandlesBackWhenTheRegistrationIsRefused)
{
    vbox.fail("eventSourceRegisterListener", EventSourceRegisterListenerFail, Result::InvalidArg);
    EXPECT_THROW(makeLoop(), SdkError);
    EXPECT_TRUE(vbox.live.empty());
    EXPECT_EQ(vbox.count("eventSourceUnregisterListener"), 0);
}

TEST_F(EventLoopTest, isQuietWithoutAnEvent)
{
    EventLoop loop = makeLoop();
    vbox.nothing["eventSourceGetEvent"] = {true};
    EXPECT_EQ(loop.next(milliseconds(30), ignore), Step::Quiet);
    EXPECT_TRUE(vbox.called("eventSourceGetEvent(7, 101, 30)"));
    EXPECT_EQ(vbox.count("eventSourceEventProcessed"), 0);
    EXPECT_EQ(vbox.count("eventSourceReleaseEvent"), 0);
}

TEST_F(EventLoopTest, waitsInSlicesSoThatAWakeIsSeen)
{
    EventLoop loop = makeLoop();
    vbox.nothing["eventSourceGetEvent"] = {true, true, true};
    EXPECT_EQ(loop.next(milliseconds(250), ignore), Step::Quiet);
    EXPECT_EQ(vbox.count("eventSourceGetEvent"), 3);
    EXPECT_TRUE(vbox.called("eventSourceGetEvent(7, 101, 100)"));
    EXPECT_TRUE(vbox.called("eventSourceGetEvent(7, 101, 50)"));
    EXPECT_FALSE(vbox.called("eventSourceGetEvent(7, 101, 250)"));
}

TEST_F(EventLoopTest, readsAStateAndMarksAndReleasesTheEvent)
{
    EventLoop loop = makeLoop();
    comes(VBoxEventType::OnStateChanged);
    vbox.numbers["eventSourceStateChangedEventGetState"] = {MachineState::Paused};
    EventData seen;
    EXPECT_EQ(loop.next(milliseconds(0), [&](const EventData& event) { seen = event; }), Step::Handled);
    EXPECT_EQ(seen.type, EventType::StateChanged);
    EXPECT_EQ(seen.state, State::Paused);
    EXPECT_TRUE(vbox.called("eventSourceEventProcessed(7, 101, 102)"));
    EXPECT_TRUE(vbox.called("releaseStateChangedEvent(103)"));
    EXPECT_EQ(vbox.calls.back(), "eventSourceReleaseEvent(102)");
}

TEST_F(EventLoopTest, readsARuntimeError)
{
    EventLoop loop = makeLoop();
    comes(VBoxEventType::OnRuntimeError);
    vbox.numbers["eventSourceRuntimeErrorEventGetFatal"] = {1};
    vbox.texts["eventSourceRuntimeErrorEventGetId"] = {L"DrvVD_DISKFULL"};
    vbox.texts["eventSourceRuntimeErrorEventGetMessage"] = {L"full"};
    EventData seen;
    loop.next(milliseconds(0), [&](const EventData& event) { seen = event; });
    EXPECT_TRUE(seen.fatal);
    EXPECT_EQ(seen.id, L"DrvVD_DISKFULL");
    EXPECT_EQ(seen.message, L"full");
    EXPECT_EQ(vbox.count("releaseRuntimeErrorEvent"), 1);
}

TEST_F(EventLoopTest, readsOnlyTheTypeOfOtherEvents)
{
    EventLoop loop = makeLoop();
    comes(VBoxEventType::OnSharedFolderChanged);
    EventType type{};
    loop.next(milliseconds(0), [&](const EventData& event) { type = event.type; });
    EXPECT_EQ(type, EventType(VBoxEventType::OnSharedFolderChanged));
    EXPECT_EQ(vbox.count("getEventSourceStateChangedEvent"), 0);
    EXPECT_EQ(vbox.count("getEventSourceRuntimeErrorEvent"), 0);
}

TEST_F(EventLoopTest, marksTheEventAlsoWhenTheHandlerThrows)
{
    EventLoop loop = makeLoop();
    comes(VBoxEventType::OnSharedFolderChanged);
    EXPECT_THROW(loop.next(milliseconds(0), [](const EventData&) { throw std::runtime_error("handler"); }),
                 std::runtime_error);
    EXPECT_EQ(vbox.count("eventSourceEventProcessed"), 1);
    EXPECT_EQ(vbox.count("eventSourceReleaseEvent"), 1);
}

TEST_F(EventLoopTest, marksTheEventAlsoWhenItCannotBeRead)
{
    EventLoop loop = makeLoop();
    vbox.fail("eventSourceEventGetType", EventSourceEventGetTypeFail, Result::Fail);
    EXPECT_THROW(loop.next(milliseconds(0), ignore), SdkError);
    EXPECT_EQ(vbox.count("eventSourceEventProcessed"), 1);
    EXPECT_EQ(vbox.count("eventSourceReleaseEvent"), 1);
}

TEST_F(EventLoopTest, registersAnotherListenerWhenItsOwnWasDropped)
{
    {
        EventLoop loop = makeLoop();
        vbox.fail("eventSourceGetEvent", EventSourceGetEventFail, Result::ObjectNotFound);
        EXPECT_EQ(loop.next(milliseconds(0), ignore), Step::Resync);
        EXPECT_TRUE(vbox.called("releaseEventListener(101)"));
        EXPECT_TRUE(vbox.called("eventSourceRegisterListener(7, 102, [46 57], 0)"));
        comes(VBoxEventType::OnSharedFolderChanged);
        EXPECT_EQ(loop.next(milliseconds(0), ignore), Step::Handled);
    }
    EXPECT_EQ(vbox.calls.back(), "eventSourceUnregisterListener(7, 102)");
}

TEST_F(EventLoopTest, triesAgainWhenTheOtherListenerCouldNotBeMade)
{
    EventLoop loop = makeLoop();
    vbox.fail("eventSourceGetEvent", EventSourceGetEventFail, Result::ObjectNotFound);
    vbox.fail("eventSourceCreateListener", EventSourceCreateListenerFail, Result::Fail);
    EXPECT_THROW(loop.next(milliseconds(0), ignore), SdkError);
    EXPECT_EQ(loop.next(milliseconds(0), ignore), Step::Resync);
    EXPECT_EQ(vbox.count("eventSourceRegisterListener"), 2);
    EXPECT_EQ(vbox.count("eventSourceGetEvent"), 1) << "not without a listener";
}

TEST_F(EventLoopTest, doesNotRegisterAgainForAnythingElse)
{
    EventLoop loop = makeLoop();
    vbox.fail("eventSourceGetEvent", EventSourceGetEventFail, Result::RpcServerUnavailable);
    vbox.fail("getHost", GetHostFail, Result::RpcServerUnavailable);
    EXPECT_THROW(loop.next(milliseconds(0), ignore), ServerGone);
    vbox.fail("eventSourceGetEvent", COM_Get_EventSourceListenerFail, 0);
    EXPECT_THROW(loop.next(milliseconds(0), ignore), SdkError);
    EXPECT_EQ(vbox.count("eventSourceCreateListener"), 1);
}

TEST_F(EventLoopTest, endsWithTheMachinesProcess)
{
    EventLoop loop = makeLoop();
    vbox.fail("eventSourceGetEvent", EventSourceGetEventFail, Result::RpcServerUnavailable);
    EXPECT_EQ(loop.next(milliseconds(0), ignore), Step::Ended);
    EXPECT_EQ(loop.next(milliseconds(0), ignore), Step::Ended);
    EXPECT_EQ(vbox.count("eventSourceGetEvent"), 1) << "nobody is asked again";
}

TEST_F(EventLoopTest, endsWhenTheProcessGoesBeforeItsLastEventIsRead)
{
    EventLoop loop = makeLoop();
    vbox.fail("eventSourceEventGetType", EventSourceEventGetTypeFail, Result::RpcDisconnected);
    EXPECT_EQ(loop.next(milliseconds(0), ignore), Step::Ended);
}

TEST_F(EventLoopTest, endsWhenTheProcessIsGoneInsteadOfTheListener)
{
    EventLoop loop = makeLoop();
    vbox.fail("eventSourceGetEvent", EventSourceGetEventFail, Result::ObjectNotFound);
    vbox.fail("eventSourceCreateListener", EventSourceCreateListenerFail, Result::RpcServerUnavailable);
    EXPECT_EQ(loop.next(milliseconds(0), ignore), Step::Ended);
}

TEST_F(EventLoopTest, givesBothHandlesBackAtTheEndOfAnEndedOne)
{
    {
        EventLoop loop = makeLoop();
        vbox.fail("eventSourceGetEvent", EventSourceGetEventFail, Result::RpcServerUnavailable);
        loop.next(milliseconds(0), ignore);
    }
    EXPECT_TRUE(vbox.live.empty() || vbox.called("releaseEventListener(101)"));
    EXPECT_TRUE(vbox.called("releaseEventSource(7)"));
    EXPECT_EQ(vbox.count("eventSourceUnregisterListener"), 0);
}

TEST_F(EventLoopTest, passesOnWhatTheHandlerItselfMeets)
{
    EventLoop loop = makeLoop();
    comes(VBoxEventType::OnSharedFolderChanged);
    EXPECT_THROW(
        loop.next(milliseconds(0), [](const EventData&) { throw MachineGone(130, Result::RpcServerUnavailable, L""); }),
        MachineGone);
    comes(VBoxEventType::OnSharedFolderChanged);
    EXPECT_EQ(loop.next(milliseconds(0), ignore), Step::Handled) << "the loop has not ended";
}

TEST_F(EventLoopTest, waitsInSlicesAndIsWokenBetweenThem)
{
    EventLoop loop = makeLoop();
    vbox.nothing["eventSourceGetEvent"] = {true, true, true, true};
    EXPECT_EQ(loop.next(milliseconds(250), ignore), Step::Quiet);
    EXPECT_EQ(vbox.count("eventSourceGetEvent"), 3);
    EXPECT_TRUE(vbox.called("eventSourceGetEvent(7, 101, 50)"));
    vbox.onCall = [&](const std::string&) { loop.wake(); };
    EXPECT_EQ(loop.next(std::chrono::hours(1), ignore), Step::Woken);
    EXPECT_EQ(vbox.count("eventSourceGetEvent"), 4);
}

TEST_F(EventLoopTest, isWokenBeforeItWaits)
{
    EventLoop loop = makeLoop();
    loop.wake();
    EXPECT_EQ(loop.next(milliseconds(0), ignore), Step::Woken);
    EXPECT_EQ(vbox.count("eventSourceGetEvent"), 0);
    vbox.nothing["eventSourceGetEvent"] = {true};
    EXPECT_EQ(loop.next(milliseconds(0), ignore), Step::Quiet) << "once";
}
