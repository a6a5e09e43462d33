#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench.h"
#include "com_memory.h"
#include "names.h"
#include "worker.h"

// A running machine: events, port forwarding, guest properties, devices.

namespace TravikTest {
namespace {

const std::wstring& emptyText()
{
    static const std::wstring text;
    return text;
}

std::list<std::wstring> redirects(Bench& bench, MakeArray array)
{
    FakeWorld::answer(L"INATEngine::get_Redirects", {.given = {std::move(array)}});
    std::list<std::wstring> rules{L"before"};
    EXPECT_EQ(bench.box.getRedirects(1, &rules), 0);
    return rules;
}

} // namespace

TEST(RegisterListener, ForNothingPassesAnEmptyArray)
{
    Bench bench;
    bench.give(Table::eventSource);
    bench.give(Table::eventListener);
    EXPECT_EQ(bench.box.eventSourceRegisterListener(1, 1, {}, 0), 0);
    EXPECT_EQ(FakeWorld::takeCalls(),
              Calls{L"eventSource#1: IEventSource::RegisterListener(eventListener#1, VT_I4[0+0]{}, 0)"});
    EXPECT_EQ(bench.records(), Records{info(L"eventSourceRegisterListener", L"1 | 1 | 0")});
}

TEST(RegisterListener, TellsAnArrayThatCannotBeMade)
{
    Bench bench;
    bench.give(Table::eventSource);
    bench.give(Table::eventListener);
    for (const auto& fail : {ComMemory::failArrayCreation, ComMemory::failArrayAccess}) {
        fail(true);
        EXPECT_EQ(bench.box.eventSourceRegisterListener(1, 1, {46}, 0), 148);
        fail(false);
        EXPECT_EQ(ComMemory::liveArrays(), 0u);
    }
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
    EXPECT_EQ(maskedFailure(bench.box.lastErrorText),
              sdkFailureText(L"eventSourceRegisterListener", L"1 | 1 | 0", SafeArrayCreateFail));
}

TEST(UnregisterListener, GivesBothHandlesBackOnSuccessOnly)
{
    Bench bench;
    bench.give(Table::eventSource);
    bench.give(Table::eventListener);
    FakeWorld::answerOnce(L"IEventSource::UnregisterListener", {.result = E_FAIL});
    EXPECT_EQ(bench.box.eventSourceUnregisterListener(1, 1), 147);
    EXPECT_EQ(bench.box.eventSourceGetEvent(1, 1, 0, nullptr), 0);
    EXPECT_EQ(bench.box.eventSourceUnregisterListener(1, 1), 0);
    EXPECT_THAT(FakeWorld::takeReleased(), testing::UnorderedElementsAre(L"IEvent of IEventSource::GetEvent",
                                                                         L"eventSource#1", L"eventListener#1"));
    EXPECT_EQ(bench.box.eventSourceGetEvent(1, 1, 0, nullptr), 185);
}

TEST(GetEvent, WithoutAnEventLeavesTheOutputAsItWas)
{
    Bench bench;
    bench.give(Table::eventSource);
    bench.give(Table::eventListener);
    FakeWorld::answer(L"IEventSource::GetEvent", {.given = {Null()}});
    VBoxHandle event = 77;
    EXPECT_EQ(bench.box.eventSourceGetEvent(1, 1, 0, &event), 0);
    EXPECT_EQ(event, 77u);
    EXPECT_EQ(bench.box.eventSourceGetEvent(1, 1, 4294967295, &event), 0);
    EXPECT_EQ(FakeWorld::takeCalls(), (Calls{L"eventSource#1: IEventSource::GetEvent(eventListener#1, 0)",
                                             L"eventSource#1: IEventSource::GetEvent(eventListener#1, -1)"}));
    EXPECT_EQ(bench.records().back(), info(L"eventSourceGetEvent", L"1 | 1 | 4294967295"));
}

TEST(GetEvent, LetsAnotherThreadWaitForAnEventMeanwhile)
{
    Bench bench;
    bench.give(Table::eventSource);
    bench.give(Table::eventListener);
    bench.give(Table::eventListener);
    VBoxHandle inner = 0;
    VBoxHandle outer = 0;
    FakeWorld::answerOnce(L"IEventSource::GetEvent", {.during = [&] {
                              EXPECT_TRUE(worker().run([&] { bench.box.eventSourceGetEvent(1, 2, 10, &inner); }));
                          }});
    EXPECT_EQ(bench.box.eventSourceGetEvent(1, 1, 10, &outer), 0);
    EXPECT_EQ(inner, 1u);
    EXPECT_EQ(outer, 2u);
}

TEST(ReleaseEvent, TwiceFailsTheSecondTimeAndLeavesTheLastResultAlone)
{
    Bench bench;
    bench.give(Table::event);
    bench.box.lastRC = Result::ObjectNotFound;
    EXPECT_EQ(bench.box.eventSourceReleaseEvent(1), 0);
    EXPECT_EQ(FakeWorld::takeReleased(), Calls{L"event#1"});
    EXPECT_EQ(bench.box.eventSourceReleaseEvent(1), 187);
    EXPECT_EQ(bench.box.getVBoxError(), Result::ObjectNotFound);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls());
}

TEST(TypedEvents, OfOneEventAreDifferentHandles)
{
    Bench bench;
    bench.give(Table::event);
    VBoxHandle first = 0;
    VBoxHandle second = 0;
    EXPECT_EQ(bench.box.getEventSourceStateChangedEvent(1, &first), 0);
    EXPECT_EQ(bench.box.getEventSourceStateChangedEvent(1, &second), 0);
    EXPECT_NE(first, second);
    bench.box.eventSourceReleaseEvent(1);
    EXPECT_EQ(bench.box.eventSourceStateChangedEventGetState(second, nullptr), 0);
}

TEST(TypedEvents, OfAnotherKindFailWithThatResult)
{
    Bench bench;
    bench.give(Table::event);
    FakeWorld::answer(L"IEvent::QueryInterface_IRuntimeErrorEvent", {.result = E_NOINTERFACE});
    VBoxHandle handle = 77;
    EXPECT_EQ(bench.box.getEventSourceRuntimeErrorEvent(1, &handle), 154);
    EXPECT_EQ(bench.box.getVBoxError(), Result::NoInterface);
    EXPECT_EQ(handle, 77u);
    EXPECT_EQ(bench.records()[1],
              comFailure(L"getEventSourceRuntimeErrorEvent", GetEventSourceRuntimeErrorEventFail, Result::NoInterface));
}

TEST(RuntimeErrors, FatalPassesAMissingOutputOn)
{
    Bench bench;
    bench.give(Table::runtimeErrorEvent);
    EXPECT_EQ(bench.box.eventSourceRuntimeErrorEventGetFatal(1, nullptr), 155);
    EXPECT_EQ(bench.box.lastRC, Result::Pointer); // what VirtualBox says to that
}

TEST(RuntimeErrors, FatalIsWhateverVirtualBoxLeftAlsoOnFailure)
{
    Bench bench;
    bench.give(Table::runtimeErrorEvent);
    FakeWorld::answer(L"IRuntimeErrorEvent::get_Fatal",
                      {.result = E_FAIL, .given = {std::int64_t(-3)}, .givesOnFailure = true});
    std::int32_t fatal = 0;
    EXPECT_EQ(bench.box.eventSourceRuntimeErrorEventGetFatal(1, &fatal), 155);
    EXPECT_EQ(fatal, -3);
}

TEST(RuntimeErrors, WithoutTextLeaveTheCallersTextAsItWas)
{
    Bench bench;
    bench.give(Table::runtimeErrorEvent);
    FakeWorld::answer(L"IRuntimeErrorEvent::get_Id", {.given = {Null()}});
    FakeWorld::answer(L"IRuntimeErrorEvent::get_Message", {.given = {Null()}});
    std::wstring text = L"before";
    EXPECT_EQ(bench.box.eventSourceRuntimeErrorEventGetId(1, &text), 0);
    EXPECT_EQ(bench.box.eventSourceRuntimeErrorEventGetMessage(1, &text), 0);
    EXPECT_EQ(text, L"before");
}

TEST(AddRedirect, PassesTheLow16BitsOfThePorts)
{
    Bench bench;
    bench.give(Table::natEngine);
    const std::wstring name = L"adb";
    EXPECT_EQ(bench.box.addRedirect(1, name, 4294967295, L"", 70000, L"", 4294967295), 0);
    EXPECT_EQ(FakeWorld::takeCalls(),
              Calls{L"natEngine#1: INATEngine::AddRedirect(\"adb\"[3], 4294967295, \"\"[0], 4464, \"\"[0], 65535)"});
    EXPECT_EQ(bench.records(), Records{info(L"addRedirect", L"1 | adb | 4294967295 |  | 70000 |  | 4294967295")});
    EXPECT_EQ(name, L"adb");
}

TEST(AddRedirect, OfAnExistingRuleFailsWithoutRemovingIt)
{
    Bench bench;
    bench.give(Table::natEngine);
    FakeWorld::answer(L"INATEngine::AddRedirect", {.result = E_INVALIDARG});
    EXPECT_EQ(bench.box.addRedirect(1, L"adb", 1, L"", 1, L"", 1), 137);
    EXPECT_EQ(FakeWorld::takeCalls().size(), 1u); // no removal, no retry
}

TEST(GetRedirects, NeverHandOutTheLastRule)
{
    Bench bench;
    bench.give(Table::natEngine);
    EXPECT_EQ(redirects(bench, textArray({})), std::list<std::wstring>());
    EXPECT_EQ(redirects(bench, textArray({L"one"})), std::list<std::wstring>());
    EXPECT_EQ(redirects(bench, textArray({std::wstring(L"a\0b", 3), emptyText(), L"three"})),
              (std::list<std::wstring>{std::wstring(L"a\0b", 3), emptyText()}));
    EXPECT_EQ(bench.records(), Records(3, info(L"getRedirects", L"1")));
}

TEST(GetRedirects, AreEmptyWithoutAnArrayOfOneDimensionThatCanBeRead)
{
    Bench bench;
    bench.give(Table::natEngine);
    EXPECT_EQ(redirects(bench, []() -> SAFEARRAY* { return nullptr; }), std::list<std::wstring>());
    EXPECT_EQ(redirects(bench,
                        [] {
                            SAFEARRAYBOUND bounds[] = {{2, 0}, {2, 0}};
                            return SafeArrayCreate(VT_BSTR, 2, bounds);
                        }),
              std::list<std::wstring>());
    ComMemory::failArrayAccess(true);
    EXPECT_EQ(redirects(bench, textArray({L"one", L"two"})), std::list<std::wstring>());
}

TEST(GuestProperty, ThatDoesNotExistLeavesTheCallersTextsAsTheyWere)
{
    Bench bench;
    bench.give(Table::machine);
    FakeWorld::answer(L"IMachine::GetGuestProperty", {.given = {Null(), std::int64_t(0), Null()}});
    std::wstring value = L"before";
    std::wstring flags = L"flags before";
    std::int64_t time = 5;
    EXPECT_EQ(bench.box.getGuestProperty(1, L"name", &value, &time, &flags), 0);
    EXPECT_EQ(value, L"before");
    EXPECT_EQ(flags, L"flags before");
    EXPECT_EQ(time, 0); // VirtualBox writes it itself
    EXPECT_EQ(bench.records(), Records{info(L"getGuestProperty", L"1 | name")});
}

TEST(GuestProperty, WithoutAnOutputForTheFlagsHasItsValue)
{
    Bench bench;
    bench.give(Table::machine);
    std::wstring value;
    std::int64_t time = 0;
    EXPECT_EQ(bench.box.getGuestProperty(1, L"name", &value, &time, nullptr), 0);
    EXPECT_EQ(value, L"text of IMachine::GetGuestProperty");
    std::wstring flags;
    EXPECT_EQ(bench.box.getGuestProperty(1, L"name", nullptr, &time, &flags), 0);
    EXPECT_EQ(flags, L"text of IMachine::GetGuestProperty");
}

TEST(GuestProperty, WithoutAnOutputForTheTimeFailsInVirtualBox)
{
    Bench bench;
    bench.give(Table::machine);
    std::wstring value = L"before";
    EXPECT_EQ(bench.box.getGuestProperty(1, L"name", &value, nullptr, nullptr), 139);
    EXPECT_EQ(bench.box.lastRC, Result::Pointer);
    EXPECT_EQ(value, L"before");
    EXPECT_EQ(ComMemory::liveTexts(), 0u); // also the value that came back
}

TEST(GuestProperty, HandsEmbeddedZerosOut)
{
    Bench bench;
    bench.give(Table::machine);
    const std::wstring text(L"a\0b\0", 4);
    FakeWorld::answer(L"IMachine::GetGuestProperty", {.given = {text, std::int64_t(-1), text}});
    std::wstring value;
    std::wstring flags;
    std::int64_t time = 0;
    EXPECT_EQ(bench.box.getGuestProperty(1, L"name", &value, &time, &flags), 0);
    EXPECT_EQ(value, text);
    EXPECT_EQ(flags, text);
    EXPECT_EQ(time, -1);
    EXPECT_EQ(bench.records().back(), info(L"getGuestProperty", L"return value = " + text));
}

TEST(AudioAdapter, ThatWasReleasedCannotBeSwitched)
{
    Bench bench;
    bench.give(Table::audioAdapter);
    EXPECT_EQ(bench.box.setAudioAdapterEnabled(1, 0), 0);
    bench.box.releaseAudioAdapter(1);
    EXPECT_EQ(bench.box.setAudioAdapterEnabled(1, 1), 190);
    EXPECT_EQ(FakeWorld::takeCalls(), Calls{L"audioAdapter#1: IAudioAdapter::put_Enabled(0)"});
}

TEST(SharedFolders, ThatExistAlreadyOrDoNotAreVirtualBoxsFailure)
{
    Bench bench;
    bench.give(Table::machine);
    bench.give(Table::console);
    for (const wchar_t* method : {L"IMachine::CreateSharedFolder", L"IMachine::RemoveSharedFolder",
                                  L"IConsole::CreateSharedFolder", L"IConsole::RemoveSharedFolder"})
        FakeWorld::answer(method, {.result = static_cast<HRESULT>(Result::ObjectInUse)});
    EXPECT_EQ(bench.box.machineCreateSharedFolder(1, L"s", L"C:\\", 1, 1), 128);
    EXPECT_EQ(bench.box.machineRemoveSharedFolder(1, L"s"), 127);
    EXPECT_EQ(bench.box.consoleCreateSharedFolder(1, L"s", L"C:\\", 1, 1), 133);
    EXPECT_EQ(bench.box.consoleRemoveSharedFolder(1, L"s"), 132);
    EXPECT_EQ(FakeWorld::takeCalls().size(), 4u); // no retry
}

} // namespace TravikTest
