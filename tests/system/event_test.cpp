// Events that a front end pulls.

#include <set>

#include "harness/running_machine.h"

namespace TravikTest {
namespace {

class Events : public RunningMachineTest
{
protected:
    /// Starts the usual machine and listens to its console.
    void listen(std::vector<std::uint32_t> types = {VBoxEventType::OnStateChanged, VBoxEventType::OnRuntimeError})
    {
        launch(Machines::player);
        console = consoleOf();
        check(sdk, sdk.getEventSource(console, &source));
        addListener(std::move(types));
    }

    void addListener(std::vector<std::uint32_t> types)
    {
        check(sdk, sdk.eventSourceCreateListener(source, &listener));
        check(sdk, sdk.eventSourceRegisterListener(source, listener, std::move(types), 0));
    }

    /// 0 when none comes in time.
    VBoxHandle nextEvent(std::uint32_t timeout = 5'000)
    {
        VBoxHandle event = 0;
        check(sdk, sdk.eventSourceGetEvent(source, listener, timeout, &event));
        return event;
    }

    void finish(VBoxHandle event)
    {
        EXPECT_TRUE(done(sdk.eventSourceEventProcessed(source, listener, event)));
        EXPECT_TRUE(done(sdk.eventSourceReleaseEvent(event)));
    }

    EventData read(VBoxHandle event)
    {
        ScopedEvent owner(sdk, event);
        const EventData data = readEvent(sdk, owner);
        owner.detach();
        return data;
    }

    std::uint32_t typeOf(VBoxHandle event)
    {
        return ask<std::uint32_t>(sdk, &VBoxInstanceImpl::eventSourceEventGetType, event);
    }

    /// The state that the next event tells.
    std::uint32_t nextState()
    {
        const VBoxHandle event = nextEvent();
        EXPECT_EQ(typeOf(event), VBoxEventType::OnStateChanged);
        const auto typed = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::getEventSourceStateChangedEvent, event);
        const auto state = ask<std::uint32_t>(sdk, &VBoxInstanceImpl::eventSourceStateChangedEventGetState, typed);
        EXPECT_TRUE(done(sdk.releaseStateChangedEvent(typed)));
        finish(event);
        return state;
    }

    VBoxHandle console = 0;
    VBoxHandle source = 0;
    VBoxHandle listener = 0;
};

TEST_F(Events, TellTheStatesInTheirOrder)
{
    control().scenario(LR"({"times": {"stop": 2000}})"); // so long the machine's process answers
    listen();
    control().pause(Machines::player);
    EXPECT_TRUE(done(sdk.consoleResume(console)));
    EXPECT_EQ(nextState(), MachineState::Paused);
    EXPECT_EQ(nextState(), MachineState::Running);
    VBoxHandle progress = 0;
    ASSERT_TRUE(done(sdk.powerDown(console, &progress)));
    EXPECT_EQ(nextState(), MachineState::Stopping);
    // The last one may be lost with the machine's process.
    VBoxHandle event = 0;
    VBoxHandle typed = 0;
    std::uint32_t state = 0;
    if (sdk.eventSourceGetEvent(source, listener, 5'000, &event) == 0 &&
        sdk.getEventSourceStateChangedEvent(event, &typed) == 0 &&
        sdk.eventSourceStateChangedEventGetState(typed, &state) == 0) {
        EXPECT_EQ(state, MachineState::PoweredOff);
    }
}

TEST_F(Events, AFatalRuntimeErrorComesAfterThePause)
{
    listen();
    control().runtimeError(Machines::player, true, L"VDIStorageFull", L"\u78c1\u76d8\u5df2\u6ee1 \U0001F4BE");
    EXPECT_EQ(consoleState(console), MachineState::Paused);

    const VBoxHandle stateEvent = nextEvent();
    ASSERT_NE(stateEvent, 0u);
    EXPECT_EQ(typeOf(stateEvent), VBoxEventType::OnStateChanged);
    VBoxHandle wrong = 77;
    EXPECT_TRUE(refused(sdk.getEventSourceRuntimeErrorEvent(stateEvent, &wrong), GetEventSourceRuntimeErrorEventFail,
                        Result::NoInterface));
    EXPECT_EQ(wrong, 77u);
    finish(stateEvent);

    const VBoxHandle event = nextEvent();
    ASSERT_NE(event, 0u);
    EXPECT_EQ(typeOf(event), VBoxEventType::OnRuntimeError);
    EXPECT_TRUE(refused(sdk.getEventSourceStateChangedEvent(event, &wrong), GetEventSourceStateChangedEventFail,
                        Result::NoInterface));
    VBoxHandle typed = 0;
    VBoxHandle again = 0;
    ASSERT_TRUE(done(sdk.getEventSourceRuntimeErrorEvent(event, &typed)));
    ASSERT_TRUE(done(sdk.getEventSourceRuntimeErrorEvent(event, &again)));
    EXPECT_NE(typed, again);
    std::int32_t fatal = 77;
    EXPECT_TRUE(done(sdk.eventSourceRuntimeErrorEventGetFatal(typed, &fatal)));
    EXPECT_EQ(fatal, 1);
    EXPECT_EQ(ask<std::wstring>(sdk, &VBoxInstanceImpl::eventSourceRuntimeErrorEventGetId, typed), L"VDIStorageFull");
    EXPECT_EQ(ask<std::wstring>(sdk, &VBoxInstanceImpl::eventSourceRuntimeErrorEventGetMessage, again),
              L"\u78c1\u76d8\u5df2\u6ee1 \U0001F4BE");
    finish(event);
}

TEST_F(Events, AWarningLetsTheMachineRun)
{
    listen();
    control().runtimeError(Machines::player, false, L"HostMemoryLow", L"");
    EXPECT_EQ(consoleState(console), MachineState::Running);
    const VBoxHandle event = nextEvent();
    ASSERT_NE(event, 0u);
    const EventData data = read(event);
    EXPECT_EQ(data.type, EventType::RuntimeError);
    EXPECT_FALSE(data.fatal);
    EXPECT_EQ(data.id, L"HostMemoryLow");
    EXPECT_EQ(data.message, L"");
    finish(event);
}

TEST_F(Events, ComeOnlyToThoseWhoAskedForThem)
{
    listen({VBoxEventType::OnRuntimeError});
    control().pause(Machines::player);
    EXPECT_EQ(nextEvent(100), 0u);
    control().runtimeError(Machines::player, false, L"HostMemoryLow", L"low");
    const VBoxHandle event = nextEvent();
    ASSERT_NE(event, 0u);
    EXPECT_EQ(typeOf(event), VBoxEventType::OnRuntimeError);
    finish(event);
}

TEST_F(Events, AWildcardListensToAll)
{
    listen({VBoxEventType::Any});
    control().pause(Machines::player);
    control().runtimeError(Machines::player, false, L"HostMemoryLow", L"low");
    check(sdk, sdk.consoleCreateSharedFolder(console, L"share", world().folder().wstring(), 1, 1));
    std::set<std::uint32_t> seen;
    for (VBoxHandle event = nextEvent(500); event != 0; event = nextEvent(100)) {
        seen.insert(typeOf(event));
        finish(event);
    }
    EXPECT_TRUE(seen.contains(VBoxEventType::OnStateChanged));
    EXPECT_TRUE(seen.contains(VBoxEventType::OnRuntimeError));
    EXPECT_TRUE(seen.contains(VBoxEventType::OnSharedFolderChanged));
}

TEST_F(Events, AnEmptyListListensToNothing)
{
    listen({});
    control().pause(Machines::player);
    EXPECT_EQ(nextEvent(100), 0u);
}

TEST_F(Events, WaitingEndsInTimeAndLeavesThePlaceAlone)
{
    listen();
    VBoxHandle event = 77;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(done(sdk.eventSourceGetEvent(source, listener, 0, &event)));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, milliseconds(500));
    EXPECT_TRUE(done(sdk.eventSourceGetEvent(source, listener, 300, &event)));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(280));
    EXPECT_EQ(event, 77u);
}

TEST_F(Events, EachListenerGetsItsOwn)
{
    listen();
    VBoxHandle second = 0;
    ASSERT_TRUE(done(sdk.eventSourceCreateListener(source, &second)));
    ASSERT_TRUE(done(sdk.eventSourceRegisterListener(source, second, {VBoxEventType::OnStateChanged}, 0)));
    control().pause(Machines::player);
    for (VBoxHandle who : {listener, second}) {
        VBoxHandle event = 0;
        EXPECT_TRUE(done(sdk.eventSourceGetEvent(source, who, 5'000, &event)));
        ASSERT_NE(event, 0u);
        EXPECT_TRUE(done(sdk.eventSourceEventProcessed(source, who, event)));
        EXPECT_TRUE(done(sdk.eventSourceReleaseEvent(event)));
    }
}

TEST_F(Events, UnregisteringGivesBothHandlesBack)
{
    listen();
    EXPECT_TRUE(done(sdk.eventSourceUnregisterListener(source, listener)));
    VBoxHandle event = 77;
    EXPECT_TRUE(failedUnasked(sdk.eventSourceGetEvent(source, listener, 0, &event), COM_Get_EventSourceFail));
    EXPECT_TRUE(failedUnasked(sdk.eventSourceUnregisterListener(source, listener), COM_Get_EventSourceFail));
    VBoxHandle newSource = 0;
    ASSERT_TRUE(done(sdk.getEventSource(console, &newSource)));
    EXPECT_TRUE(
        failedUnasked(sdk.eventSourceGetEvent(newSource, listener, 0, &event), COM_Get_EventSourceListenerFail));
    EXPECT_EQ(event, 77u);
}

TEST_F(Events, AReleasedEventIsUnknown)
{
    listen();
    control().pause(Machines::player);
    const VBoxHandle event = nextEvent();
    ASSERT_NE(event, 0u);
    finish(event);
    EXPECT_EQ(sdk.eventSourceReleaseEvent(event), COM_Get_EventFail);
    EXPECT_TRUE(failedUnasked(sdk.eventSourceEventProcessed(source, listener, event), COM_Get_EventFail));
    std::uint32_t type = 77;
    EXPECT_TRUE(failedUnasked(sdk.eventSourceEventGetType(event, &type), COM_Get_EventFail));
    EXPECT_EQ(type, 77u);
}

// Documented: GetEvent finds no listener. Assumed: the others' results.
TEST_F(Events, AnUnregisteredListenerIsRefused)
{
    listen();
    VBoxHandle stranger = 0;
    ASSERT_TRUE(done(sdk.eventSourceCreateListener(source, &stranger)));
    VBoxHandle event = 77;
    EXPECT_TRUE(
        refused(sdk.eventSourceGetEvent(source, stranger, 0, &event), EventSourceGetEventFail, Result::ObjectNotFound));
    EXPECT_TRUE(refused(sdk.eventSourceUnregisterListener(source, stranger), EventSourceUnregisterListenerFail,
                        Result::ObjectNotFound));
    EXPECT_TRUE(refused(sdk.eventSourceRegisterListener(source, listener, {VBoxEventType::OnStateChanged}, 0),
                        EventSourceRegisterListenerFail, Result::InvalidArg))
        << "the same listener twice";
    EXPECT_EQ(event, 77u);
    EXPECT_EQ(nextEvent(0), 0u) << "a refused unregistration keeps the handles";
}

TEST_F(Events, AListenerThatDoesNotFetchIsDroppedAndRegistersAnew)
{
    listen({VBoxEventType::OnRuntimeError});
    for (int i = 0; i < 502; ++i)
        control().runtimeError(Machines::player, false, L"HostMemoryLow", std::to_wstring(i));
    VBoxHandle event = 77;
    EXPECT_TRUE(
        refused(sdk.eventSourceGetEvent(source, listener, 0, &event), EventSourceGetEventFail, Result::ObjectNotFound));
    EXPECT_EQ(event, 77u);

    addListener({VBoxEventType::OnRuntimeError});
    control().runtimeError(Machines::player, false, L"HostMemoryLow", L"after");
    const VBoxHandle fresh = nextEvent();
    ASSERT_NE(fresh, 0u);
    EXPECT_EQ(read(fresh).message, L"after");
    finish(fresh);
}

TEST_F(Events, AListenerThatFetchesLateStaysWithFiveHundred)
{
    listen({VBoxEventType::OnRuntimeError});
    for (int i = 0; i < 500; ++i)
        control().runtimeError(Machines::player, false, L"HostMemoryLow", std::to_wstring(i));
    for (int i = 0; i < 500; ++i) {
        const VBoxHandle event = nextEvent(0);
        ASSERT_NE(event, 0u) << i;
        if (i == 0 || i == 499) {
            EXPECT_EQ(read(event).message, std::to_wstring(i));
        }
        EXPECT_TRUE(done(sdk.eventSourceReleaseEvent(event)));
    }
    EXPECT_EQ(nextEvent(0), 0u);
}

TEST_F(Events, EndWithTheMachine)
{
    listen();
    control().crashVm(Machines::player);
    VBoxHandle event = 77;
    EXPECT_EQ(sdk.eventSourceGetEvent(source, listener, 0, &event), EventSourceGetEventFail);
    EXPECT_NE(sdk.getVBoxError(), 0u);
    EXPECT_EQ(event, 77u);
    VBoxHandle other = 77;
    EXPECT_EQ(sdk.eventSourceCreateListener(source, &other), EventSourceCreateListenerFail);
    EXPECT_EQ(sdk.getEventSource(console, &other), GetEventSourceFail);
    EXPECT_EQ(other, 77u);
}

// VirtualBox has no reason of its own to refuse these.
TEST_F(Events, ReadersReportAFailureOfVirtualBox)
{
    listen();
    control().runtimeError(Machines::player, true, L"id", L"message");
    const VBoxHandle stateEvent = nextEvent();
    const VBoxHandle errorEvent = nextEvent();
    ASSERT_NE(stateEvent, 0u);
    ASSERT_NE(errorEvent, 0u);
    const auto state = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::getEventSourceStateChangedEvent, stateEvent);
    const auto error = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::getEventSourceRuntimeErrorEvent, errorEvent);

    std::uint32_t number = 77;
    std::wstring text = L"as it was";
    control().fail(L"IEvent::get_Type", Result::AccessDenied);
    EXPECT_TRUE(
        refused(sdk.eventSourceEventGetType(stateEvent, &number), EventSourceEventGetTypeFail, Result::AccessDenied));
    control().fail(L"IStateChangedEvent::get_State", Result::AccessDenied);
    EXPECT_TRUE(refused(sdk.eventSourceStateChangedEventGetState(state, &number),
                        EventSourceStateChangedEventGetStateFail, Result::AccessDenied));
    EXPECT_TRUE(refused(sdk.eventSourceRuntimeErrorEventGetFatal(error, nullptr),
                        EventSourceRuntimeErrorEventGetFatalFail, Result::RpcNullReference))
        << "the missing output is VirtualBox's to refuse";
    control().fail(L"IRuntimeErrorEvent::get_Id", Result::AccessDenied);
    EXPECT_TRUE(refused(sdk.eventSourceRuntimeErrorEventGetId(error, &text), EventSourceRuntimeErrorEventGetIdFail,
                        Result::AccessDenied));
    control().fail(L"IRuntimeErrorEvent::get_Message", Result::AccessDenied);
    EXPECT_TRUE(refused(sdk.eventSourceRuntimeErrorEventGetMessage(error, &text),
                        EventSourceRuntimeErrorEventGetMessageFail, Result::AccessDenied));
    control().fail(L"IEventSource::EventProcessed", Result::ObjectNotFound);
    EXPECT_TRUE(refused(sdk.eventSourceEventProcessed(source, listener, stateEvent), EventSourceEventProcessedFail,
                        Result::ObjectNotFound));
    EXPECT_EQ(number, 77u);
    EXPECT_EQ(text, L"as it was");
}

} // namespace
} // namespace TravikTest
