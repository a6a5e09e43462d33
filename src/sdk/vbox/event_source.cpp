#include "automation/safe_array.h"
#include "selq6/vbox.h"

// The console's event source, passive listeners and the events they pull.

namespace Travik {

SdkErrorCode VBox::getEventSource(VBoxHandle console, VBoxHandle* eventSource)
{
    Operation op(*this, L"Travik::VBox::getEventSource", console);
    ComPtr<IConsole> object;
    ComPtr<IEventSource> source;
    if (op.find(consoleTable, console, object) &&
        op.call(GetEventSourceFail, [&] { return object->get_EventSource(&source); }))
        op.handOut(eventSourceTable, source, eventSource);
    return op.code();
}

SdkErrorCode VBox::eventSourceCreateListener(VBoxHandle eventSource, VBoxHandle* listener)
{
    Operation op(*this, L"Travik::VBox::eventSourceCreateListener", eventSource);
    ComPtr<IEventSource> source;
    ComPtr<IEventListener> created;
    if (op.find(eventSourceTable, eventSource, source) &&
        op.call(EventSourceCreateListenerFail, [&] { return source->CreateListener(&created); }))
        op.handOut(eventListenerTable, created, listener);
    return op.code();
}

SdkErrorCode VBox::eventSourceRegisterListener(VBoxHandle eventSource, VBoxHandle listener,
                                               std::vector<std::uint32_t> types, std::uint32_t active)
{
    Operation op(*this, L"Travik::VBox::eventSourceRegisterListener", eventSource, listener, active);
    ComPtr<IEventSource> source;
    ComPtr<IEventListener> object;
    if (op.find(eventSourceTable, eventSource, source) && op.find(eventListenerTable, listener, object)) {
        const ComArray interesting(toNumberArray(types));
        if (op.check(!interesting.isNull(), SafeArrayCreateFail))
            op.call(EventSourceRegisterListenerFail, [&] {
                return source->RegisterListener(object.Get(), interesting.get(), static_cast<BOOL>(active));
            });
    }
    return op.code();
}

SdkErrorCode VBox::eventSourceUnregisterListener(VBoxHandle eventSource, VBoxHandle listener)
{
    Operation op(*this, L"Travik::VBox::eventSourceUnregisterListener", eventSource, listener);
    ComPtr<IEventSource> source;
    ComPtr<IEventListener> object;
    if (op.find(eventSourceTable, eventSource, source) && op.find(eventListenerTable, listener, object) &&
        op.call(EventSourceUnregisterListenerFail, [&] { return source->UnregisterListener(object.Get()); })) {
        eventSourceTable.release(eventSource);
        eventListenerTable.release(listener);
    }
    return op.code();
}

SdkErrorCode VBox::eventSourceGetEvent(VBoxHandle eventSource, VBoxHandle listener, std::uint32_t timeoutMs,
                                       VBoxHandle* event)
{
    Operation op(*this, L"Travik::VBox::eventSourceGetEvent", eventSource, listener, timeoutMs);
    ComPtr<IEventSource> source;
    ComPtr<IEventListener> object;
    ComPtr<IEvent> next;
    if (op.find(eventSourceTable, eventSource, source) && op.find(eventListenerTable, listener, object) &&
        op.call(EventSourceGetEventFail,
                [&] { return source->GetEvent(object.Get(), static_cast<LONG>(timeoutMs), &next); }))
        op.handOut(eventTable, next, event);
    return op.code();
}

SdkErrorCode VBox::eventSourceReleaseEvent(VBoxHandle event)
{
    Operation op(*this, {L"Travik::VBox::eventSourceReleaseEvent", LastResult::keep}, event);
    ComPtr<IEvent> object;
    if (op.find(eventTable, event, object))
        eventTable.release(event);
    return op.code();
}

SdkErrorCode VBox::eventSourceEventProcessed(VBoxHandle eventSource, VBoxHandle listener, VBoxHandle event)
{
    Operation op(*this, L"Travik::VBox::eventSourceEventProcessed", eventSource, listener, event);
    ComPtr<IEventSource> source;
    ComPtr<IEventListener> object;
    ComPtr<IEvent> processed;
    if (op.find(eventSourceTable, eventSource, source) && op.find(eventListenerTable, listener, object) &&
        op.find(eventTable, event, processed))
        op.call(EventSourceEventProcessedFail, [&] { return source->EventProcessed(object.Get(), processed.Get()); });
    return op.code();
}

SdkErrorCode VBox::eventSourceEventGetType(VBoxHandle event, std::uint32_t* type)
{
    Operation op(*this, L"Travik::VBox::eventSourceEventGetType", event);
    ComPtr<IEvent> object;
    ULONG value = 0;
    if (op.find(eventTable, event, object) &&
        op.call(EventSourceEventGetTypeFail, [&] { return object->get_Type(&value); })) {
        if (type)
            *type = value;
        op.record(L"return type = " + recordText(value)); // also without an output
    }
    return op.code();
}

} // namespace Travik
