#pragma once

#include "com/object.h"
#include "host/events.h"

namespace VBoxSim {

class EventSourceObject : public Object<EventSourceObject, IEventSource>
{
public:
    EventSourceObject(Server& server, EventSourcePtr source) : Object(server), source_(std::move(source)) {}

    HRESULT STDMETHODCALLTYPE CreateListener(IEventListener** listener) override;
    HRESULT STDMETHODCALLTYPE RegisterListener(IEventListener* listener, SAFEARRAY* types, BOOL active) override;
    HRESULT STDMETHODCALLTYPE UnregisterListener(IEventListener* listener) override;
    HRESULT STDMETHODCALLTYPE FireEvent(IEvent* event, LONG timeout, BOOL* processed) override;
    HRESULT STDMETHODCALLTYPE GetEvent(IEventListener* listener, LONG timeout, IEvent** event) override;
    HRESULT STDMETHODCALLTYPE EventProcessed(IEventListener* listener, IEvent* event) override;

    const wchar_t* typeName() const override { return L"IEventSource"; }

private:
    void checkUsable() const override { source_->checkOpen(); }

    const EventSourcePtr source_;
};

} // namespace VBoxSim
