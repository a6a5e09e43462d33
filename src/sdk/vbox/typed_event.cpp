#include "selq6/vbox.h"

// Events as changes of state or runtime errors.

namespace Travik {

SdkErrorCode VBox::getEventSourceStateChangedEvent(VBoxHandle event, VBoxHandle* stateChangedEvent)
{
    Operation op(*this, L"Travik::VBox::getEventSourceStateChangedEvent", event);
    ComPtr<IEvent> object;
    ComPtr<IStateChangedEvent> typed;
    if (op.find(eventTable, event, object) &&
        op.call(GetEventSourceStateChangedEventFail, [&] { return object.As(&typed); }))
        op.handOut(stateChangedEventTable, typed, stateChangedEvent);
    return op.code();
}

SdkErrorCode VBox::eventSourceStateChangedEventGetState(VBoxHandle stateChangedEvent, std::uint32_t* state)
{
    Operation op(*this, L"Travik::VBox::eventSourceStateChangedEventGetState", stateChangedEvent);
    ComPtr<IStateChangedEvent> object;
    ULONG value = 0;
    if (op.find(stateChangedEventTable, stateChangedEvent, object) &&
        op.call(EventSourceStateChangedEventGetStateFail, [&] { return object->get_State(&value); }))
        op.returnNumber(L"return state = ", value, state);
    return op.code();
}

SdkErrorCode VBox::getEventSourceRuntimeErrorEvent(VBoxHandle event, VBoxHandle* runtimeErrorEvent)
{
    Operation op(*this, L"Travik::VBox::getEventSourceRuntimeErrorEvent", event);
    ComPtr<IEvent> object;
    ComPtr<IRuntimeErrorEvent> typed;
    if (op.find(eventTable, event, object) &&
        op.call(GetEventSourceRuntimeErrorEventFail, [&] { return object.As(&typed); }))
        op.handOut(runtimeErrorEventTable, typed, runtimeErrorEvent);
    return op.code();
}

SdkErrorCode VBox::eventSourceRuntimeErrorEventGetFatal(VBoxHandle runtimeErrorEvent, std::int32_t* fatal)
{
    Operation op(*this, L"Travik::VBox::eventSourceRuntimeErrorEventGetFatal", runtimeErrorEvent);
    ComPtr<IRuntimeErrorEvent> object;
    // VirtualBox writes to the caller's output itself, and decides what a missing one means.
    if (op.find(runtimeErrorEventTable, runtimeErrorEvent, object))
        op.call(EventSourceRuntimeErrorEventGetFatalFail, [&] { return object->get_Fatal(fatal); });
    return op.code();
}

SdkErrorCode VBox::eventSourceRuntimeErrorEventGetId(VBoxHandle runtimeErrorEvent, std::wstring* id)
{
    Operation op(*this, L"Travik::VBox::eventSourceRuntimeErrorEventGetId", runtimeErrorEvent);
    ComPtr<IRuntimeErrorEvent> object;
    ComString text;
    if (op.find(runtimeErrorEventTable, runtimeErrorEvent, object) &&
        op.call(EventSourceRuntimeErrorEventGetIdFail, [&] { return object->get_Id(text.put()); }))
        op.returnText(L"return text = ", text, id);
    return op.code();
}

SdkErrorCode VBox::eventSourceRuntimeErrorEventGetMessage(VBoxHandle runtimeErrorEvent, std::wstring* message)
{
    Operation op(*this, L"Travik::VBox::eventSourceRuntimeErrorEventGetMessage", runtimeErrorEvent);
    ComPtr<IRuntimeErrorEvent> object;
    ComString text;
    if (op.find(runtimeErrorEventTable, runtimeErrorEvent, object) &&
        op.call(EventSourceRuntimeErrorEventGetMessageFail, [&] { return object->get_Message(text.put()); }))
        op.returnText(L"return text = ", text, message);
    return op.code();
}

} // namespace Travik
