#include "com/event_objects.h"

#include <thread>

namespace VBoxSim {

namespace {

/// Marks an argument as an event of this server, whatever its interface.
constexpr GUID eventImplementation{0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x22}};

/// What all events answer.
template <class Derived, class Interface, class... Bases>
class EventObject : public Object<Derived, Interface, Bases...>
{
public:
    EventObject(Server& server, EventPtr event) : Object<Derived, Interface, Bases...>(server), event_(std::move(event))
    {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override
    {
        if (out && id == eventImplementation) {
            *out = event_.get();
            this->AddRef();
            return S_OK;
        }
        return Object<Derived, Interface, Bases...>::QueryInterface(id, out);
    }

    HRESULT STDMETHODCALLTYPE get_Type(ULONG* type) override
    {
        return this->get(L"IEvent::get_Type", type, [&] { return event_->type; });
    }
    HRESULT STDMETHODCALLTYPE get_Source(IEventSource** source) override
    {
        return this->get(L"IEvent::get_Source", source,
                         [&] { return make<EventSourceObject>(this->server(), event_->source); });
    }
    HRESULT STDMETHODCALLTYPE get_Waitable(BOOL* waitable) override
    {
        return this->get(L"IEvent::get_Waitable", waitable, [&] { return event_->isWaitable(); });
    }
    HRESULT STDMETHODCALLTYPE SetProcessed() override
    {
        return this->call(L"IEvent::SetProcessed", [&] { event_->source->setProcessed(*event_); });
    }
    HRESULT STDMETHODCALLTYPE WaitProcessed(LONG timeout, BOOL* result) override
    {
        return this->call(
            L"IEvent::WaitProcessed",
            [&](HostLock& lock) {
                require(result);
                store(result, event_->source->waitProcessed(lock, *event_, timeout));
            },
            timeout);
    }

protected:
    const EventPtr event_;
};

class PlainEvent : public EventObject<PlainEvent, IEvent>
{
public:
    using EventObject::EventObject;
    const wchar_t* typeName() const override { return L"IEvent"; }
};

class StateChangedEvent : public EventObject<StateChangedEvent, IStateChangedEvent, IEvent>
{
public:
    using EventObject::EventObject;
    HRESULT STDMETHODCALLTYPE get_State(ULONG* state) override
    {
        return get(L"IStateChangedEvent::get_State", state, [&] { return event_->state; });
    }
    const wchar_t* typeName() const override { return L"IStateChangedEvent"; }
};

class RuntimeErrorEvent : public EventObject<RuntimeErrorEvent, IRuntimeErrorEvent, IEvent>
{
public:
    using EventObject::EventObject;
    HRESULT STDMETHODCALLTYPE get_Fatal(BOOL* fatal) override
    {
        return get(L"IRuntimeErrorEvent::get_Fatal", fatal, [&] { return event_->flag; });
    }
    HRESULT STDMETHODCALLTYPE get_Id(BSTR* id) override
    {
        return get(L"IRuntimeErrorEvent::get_Id", id, [&] { return event_->errorId; });
    }
    HRESULT STDMETHODCALLTYPE get_Message(BSTR* message) override
    {
        return get(L"IRuntimeErrorEvent::get_Message", message, [&] { return event_->message; });
    }
    const wchar_t* typeName() const override { return L"IRuntimeErrorEvent"; }
};

/// An event about a machine.
template <class Derived, class Interface, class... Bases>
class MachineEventObject : public EventObject<Derived, Interface, Bases...>
{
public:
    using EventObject<Derived, Interface, Bases...>::EventObject;
    HRESULT STDMETHODCALLTYPE get_MachineId(BSTR* id) override
    {
        return this->get(L"IMachineEvent::get_MachineId", id, [&] { return this->event_->machineId; });
    }
};

class MachineEvent : public MachineEventObject<MachineEvent, IMachineEvent, IEvent>
{
public:
    using MachineEventObject::MachineEventObject;
    const wchar_t* typeName() const override { return L"IMachineEvent"; }
};

class MachineStateChangedEvent
    : public MachineEventObject<MachineStateChangedEvent, IMachineStateChangedEvent, IMachineEvent, IEvent>
{
public:
    using MachineEventObject::MachineEventObject;
    HRESULT STDMETHODCALLTYPE get_State(ULONG* state) override
    {
        return get(L"IMachineStateChangedEvent::get_State", state, [&] { return event_->state; });
    }
    const wchar_t* typeName() const override { return L"IMachineStateChangedEvent"; }
};

class SessionStateChangedEvent
    : public MachineEventObject<SessionStateChangedEvent, ISessionStateChangedEvent, IMachineEvent, IEvent>
{
public:
    using MachineEventObject::MachineEventObject;
    HRESULT STDMETHODCALLTYPE get_State(ULONG* state) override
    {
        return get(L"ISessionStateChangedEvent::get_State", state, [&] { return event_->state; });
    }
    const wchar_t* typeName() const override { return L"ISessionStateChangedEvent"; }
};

class MachineRegisteredEvent
    : public MachineEventObject<MachineRegisteredEvent, IMachineRegisteredEvent, IMachineEvent, IEvent>
{
public:
    using MachineEventObject::MachineEventObject;
    HRESULT STDMETHODCALLTYPE get_Registered(BOOL* registered) override
    {
        return get(L"IMachineRegisteredEvent::get_Registered", registered, [&] { return event_->flag; });
    }
    const wchar_t* typeName() const override { return L"IMachineRegisteredEvent"; }
};

class MachineDataChangedEvent
    : public MachineEventObject<MachineDataChangedEvent, IMachineDataChangedEvent, IMachineEvent, IEvent>
{
public:
    using MachineEventObject::MachineEventObject;
    HRESULT STDMETHODCALLTYPE get_Temporary(BOOL* temporary) override
    {
        return get(L"IMachineDataChangedEvent::get_Temporary", temporary, [&] { return event_->flag; });
    }
    const wchar_t* typeName() const override { return L"IMachineDataChangedEvent"; }
};

/// Each listener gets an object of its own for an event, so that no client shares one with another.
ComPtr<IEvent> makeEvent(Server& server, const EventPtr& event)
{
    switch (event->type) {
    case EventType::OnStateChanged:
        return make<StateChangedEvent>(server, event);
    case EventType::OnRuntimeError:
        return make<RuntimeErrorEvent>(server, event);
    case EventType::OnMachineStateChanged:
        return make<MachineStateChangedEvent>(server, event);
    case EventType::OnSessionStateChanged:
        return make<SessionStateChangedEvent>(server, event);
    case EventType::OnMachineRegistered:
        return make<MachineRegisteredEvent>(server, event);
    case EventType::OnMachineDataChanged:
        return make<MachineDataChangedEvent>(server, event);
    default:
        if (event->machineId.empty())
            return make<PlainEvent>(server, event);
        return make<MachineEvent>(server, event);
    }
}

/// A listener without a client's code behind it: its events wait in the queue.
class PassiveListener : public Object<PassiveListener, IEventListener>
{
public:
    explicit PassiveListener(Server& server) : Object(server) {}

    HRESULT STDMETHODCALLTYPE HandleEvent(IEvent* event) override
    {
        return call(
            L"IEventListener::HandleEvent", [] {}, event);
    }
    const wchar_t* typeName() const override { return L"IEventListener"; }
};

/// A listener as the host tells it from others: its COM identity, which is released with the last copy.
EventSource::Listener listenerOf(IEventListener* listener)
{
    IUnknown* identity = nullptr;
    if (listener)
        listener->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity));
    return EventSource::Listener(identity, [](void* held) {
        if (held)
            static_cast<IUnknown*>(held)->Release();
    });
}

bool isGone(HRESULT result)
{
    return HRESULT_FACILITY(result) == FACILITY_RPC || HRESULT_CODE(result) == RPC_S_SERVER_UNAVAILABLE ||
           HRESULT_CODE(result) == RPC_S_CALL_FAILED;
}

/// Calls an active listener for each of its events until it is dropped or its client is gone.
void deliver(Server& server, EventSource& source, const EventSource::RegistrationPtr& registration)
{
    ComPtr<IEventListener> listener;
    static_cast<IUnknown*>(registration->listener.get())->QueryInterface(IID_PPV_ARGS(&listener));
    for (;;) {
        HostLock lock = server.host.lock();
        const EventPtr event = source.nextToDeliver(lock, *registration);
        if (!event)
            break;
        lock.unlock();
        const HRESULT result = listener ? listener->HandleEvent(makeEvent(server, event).Get()) : E_NOINTERFACE;
        lock.lock();
        source.delivered(*event);
        if (isGone(result)) {
            if (!registration->removed)
                source.drop(registration);
            break;
        }
    }
}

/// A thread of its own for each active listener: a client that does not answer holds up nobody else.
void startDelivery(Server& server, const EventSourcePtr& source, const EventSource::RegistrationPtr& registration)
{
    std::thread([&server, source = source, registration = registration]() mutable {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        Clients::actFor(registration->client);
        deliver(server, *source, registration);
        registration.reset(); // may release the client's listener, which needs COM
        source.reset();
        CoUninitialize();
    }).detach();
}

} // namespace

HRESULT EventSourceObject::CreateListener(IEventListener** listener)
{
    return get(L"IEventSource::CreateListener", listener, [&] { return make<PassiveListener>(server()); });
}

HRESULT EventSourceObject::RegisterListener(IEventListener* listener, SAFEARRAY* types, BOOL active)
{
    return call(
        L"IEventSource::RegisterListener",
        [&] {
            const auto registration =
                source_->add(listenerOf(listener), Clients::caller(), numbersOf(types), active != FALSE);
            if (active)
                startDelivery(server(), source_, registration);
        },
        listener, types, active);
}

HRESULT EventSourceObject::UnregisterListener(IEventListener* listener)
{
    return call(
        L"IEventSource::UnregisterListener", [&] { source_->remove(listenerOf(listener).get()); }, listener);
}

HRESULT EventSourceObject::GetEvent(IEventListener* listener, LONG timeout, IEvent** event)
{
    if (event)
        *event = nullptr;
    return call(
        L"IEventSource::GetEvent",
        [&](HostLock& lock) {
            require(event);
            if (const EventPtr next = source_->next(lock, listenerOf(listener).get(), timeout))
                store(event, makeEvent(server(), next));
        },
        listener, timeout);
}

HRESULT EventSourceObject::EventProcessed(IEventListener* listener, IEvent* event)
{
    return call(
        L"IEventSource::EventProcessed",
        [&] {
            void* data = nullptr;
            if (!event || FAILED(event->QueryInterface(eventImplementation, &data)))
                throw Failure(Result::invalidArgument, L"This is no event of this server");
            event->Release(); // the caller holds it
            source_->markProcessed(listenerOf(listener).get(), *static_cast<Event*>(data));
        },
        listener, event);
}

} // namespace VBoxSim
