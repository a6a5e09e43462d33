#include "operation_table.h"

// The event source, listeners and events.

namespace TravikTest {
namespace {

/// The event as one of another kind.
Row typedEvent(SdkErrorCode (Travik::VBoxInstanceImpl::*operation)(VBoxHandle, VBoxHandle*), const std::wstring& kind,
               std::uint32_t code, Table table)
{
    return {
        .invoke = [=](Invocation& i) { return (i.box.*operation)(i.handle(0), i.number()); },
        .arguments = L"{h0}",
        .steps = {find(Table::event), call(L"event#1: IEvent::QueryInterface_" + kind + L"()", code, Gives::optional)},
        .handsOut = {table}};
}

/// A text of a runtime error.
Row errorText(SdkErrorCode (Travik::VBoxInstanceImpl::*operation)(VBoxHandle, std::wstring*),
              const std::wstring& method, std::uint32_t code)
{
    return {.invoke = [=](Invocation& i) { return (i.box.*operation)(i.handle(0), i.textOutput()); },
            .arguments = L"{h0}",
            .steps = {find(Table::runtimeErrorEvent),
                      call(L"runtimeErrorEvent#1: " + method + L"()", code, Gives::optional),
                      result(L"return text = text of " + method)},
            .good = [=](Outputs& outputs) { outputs.text = L"text of " + method; }};
}

} // namespace

template <>
Row row<Op::getEventSource>()
{
    return {.invoke = [](Invocation& i) { return i.box.getEventSource(i.handle(0), i.number()); },
            .arguments = L"{h0}",
            .steps = {find(Table::console), call(L"console#1: IConsole::get_EventSource()", 144, Gives::optional)},
            .handsOut = {Table::eventSource}};
}

template <>
Row row<Op::eventSourceCreateListener>()
{
    return {.invoke = [](Invocation& i) { return i.box.eventSourceCreateListener(i.handle(0), i.number()); },
            .arguments = L"{h0}",
            .steps = {find(Table::eventSource),
                      call(L"eventSource#1: IEventSource::CreateListener()", 145, Gives::optional)},
            .handsOut = {Table::eventListener}};
}

template <>
Row row<Op::eventSourceRegisterListener>()
{
    return {.invoke =
                [](Invocation& i) {
                    return i.box.eventSourceRegisterListener(i.handle(0), i.handle(1), {46, 57, 4294967295}, 2);
                },
            .arguments = L"{h0} | {h1} | 2",
            .steps = {find(Table::eventSource), find(Table::eventListener),
                      call(L"eventSource#1: IEventSource::RegisterListener(eventListener#1, VT_I4[0+3]{46, 57, -1}, 2)",
                           146)}};
}

template <>
Row row<Op::eventSourceUnregisterListener>()
{
    return {.invoke = [](Invocation& i) { return i.box.eventSourceUnregisterListener(i.handle(0), i.handle(1)); },
            .arguments = L"{h0} | {h1}",
            .steps = {find(Table::eventSource), find(Table::eventListener),
                      call(L"eventSource#1: IEventSource::UnregisterListener(eventListener#1)", 147)},
            .erases = {Table::eventSource, Table::eventListener}};
}

template <>
Row row<Op::eventSourceGetEvent>()
{
    return {
        .invoke = [](Invocation& i) { return i.box.eventSourceGetEvent(i.handle(0), i.handle(1), 500, i.number()); },
        .arguments = L"{h0} | {h1} | 500",
        .steps = {find(Table::eventSource), find(Table::eventListener),
                  call(L"eventSource#1: IEventSource::GetEvent(eventListener#1, 500)", 149, Gives::optional)},
        .handsOut = {Table::event}};
}

template <>
Row row<Op::eventSourceReleaseEvent>()
{
    return {.invoke = [](Invocation& i) { return i.box.eventSourceReleaseEvent(i.handle(0)); },
            .arguments = L"{h0}",
            .steps = {find(Table::event)},
            .erases = {Table::event},
            .keepsLastResult = true};
}

template <>
Row row<Op::eventSourceEventProcessed>()
{
    return {
        .invoke = [](Invocation& i) { return i.box.eventSourceEventProcessed(i.handle(0), i.handle(1), i.handle(2)); },
        .arguments = L"{h0} | {h1} | {h2}",
        .steps = {find(Table::eventSource), find(Table::eventListener), find(Table::event),
                  call(L"eventSource#1: IEventSource::EventProcessed(eventListener#1, event#1)", 150)}};
}

template <>
Row row<Op::eventSourceEventGetType>()
{
    return {.invoke = [](Invocation& i) { return i.box.eventSourceEventGetType(i.handle(0), i.number()); },
            .arguments = L"{h0}",
            .steps = {find(Table::event), call(L"event#1: IEvent::get_Type()", 151, Gives::number),
                      resultInAnyCase(L"return type = 7")},
            .good = [](Outputs& outputs) { outputs.number = 7; }};
}

template <>
Row row<Op::getEventSourceStateChangedEvent>()
{
    return typedEvent(&Travik::VBoxInstanceImpl::getEventSourceStateChangedEvent, L"IStateChangedEvent", 152,
                      Table::stateChangedEvent);
}

template <>
Row row<Op::eventSourceStateChangedEventGetState>()
{
    return {.invoke = [](Invocation& i) { return i.box.eventSourceStateChangedEventGetState(i.handle(0), i.number()); },
            .arguments = L"{h0}",
            .steps = {find(Table::stateChangedEvent),
                      call(L"stateChangedEvent#1: IStateChangedEvent::get_State()", 153, Gives::number),
                      result(L"return state = 7")},
            .good = [](Outputs& outputs) { outputs.number = 7; }};
}

template <>
Row row<Op::getEventSourceRuntimeErrorEvent>()
{
    return typedEvent(&Travik::VBoxInstanceImpl::getEventSourceRuntimeErrorEvent, L"IRuntimeErrorEvent", 154,
                      Table::runtimeErrorEvent);
}

template <>
Row row<Op::eventSourceRuntimeErrorEventGetFatal>()
{
    // The output goes to VirtualBox as it is, so it is always there; no record of the result.
    return {.invoke =
                [](Invocation& i) {
                    return i.box.eventSourceRuntimeErrorEventGetFatal(i.handle(0), &i.outputs.signedNumber);
                },
            .arguments = L"{h0}",
            .steps = {find(Table::runtimeErrorEvent),
                      call(L"runtimeErrorEvent#1: IRuntimeErrorEvent::get_Fatal()", 155, Gives::number)},
            .good = [](Outputs& outputs) { outputs.signedNumber = 7; },
            .goodWithoutOutputs = [](Outputs& outputs) { outputs.signedNumber = 7; }};
}

template <>
Row row<Op::eventSourceRuntimeErrorEventGetId>()
{
    return errorText(&Travik::VBoxInstanceImpl::eventSourceRuntimeErrorEventGetId, L"IRuntimeErrorEvent::get_Id", 156);
}

template <>
Row row<Op::eventSourceRuntimeErrorEventGetMessage>()
{
    return errorText(&Travik::VBoxInstanceImpl::eventSourceRuntimeErrorEventGetMessage,
                     L"IRuntimeErrorEvent::get_Message", 157);
}

} // namespace TravikTest
