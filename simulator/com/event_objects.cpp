#include "com/event_objects.h"

#include "com/progress_object.h"
#include "host/scheduler.h"

#include <algorithm>
#include <thread>

namespace VBoxSim {

namespace {

/// A listener with more unread events than this is dropped.
constexpr std::size_t mostPending = 500;

/// Marks an argument as an event of this server, whatever its interface.
constexpr GUID eventImplementation{0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x22}};

/// What all events answer.
template <class Derived, class Interface, class... Bases>
class EventObject : public Object<Derived, Interface, Bases...>
{
public:
    explicit EventObject(EventPtr data) : data_(std::move(data)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override
    {
        if (out && id == eventImplementation) {
            *out = data_.get();
            this->AddRef();
            return S_OK;
        }
        return Object<Derived, Interface, Bases...>::QueryInterface(id, out);
    }

    HRESULT STDMETHODCALLTYPE get_Type(ULONG* type) override
    {
        return this->get(L"IEvent::get_Type", type, [&] { return data_->type; });
    }
    HRESULT STDMETHODCALLTYPE get_Source(IEventSource** source) override
    {
        return this->get(L"IEvent::get_Source", source, [&] { return make<EventSource>(data_->source); });
    }
    HRESULT STDMETHODCALLTYPE get_Waitable(BOOL* waitable) override
    {
        return this->get(L"IEvent::get_Waitable", waitable, [&] { return data_->isWaitable(); });
    }
    HRESULT STDMETHODCALLTYPE SetProcessed() override
    {
        return this->call(L"IEvent::SetProcessed", [&] {
            data_->unprocessed = 0;
            worldChanged().notify_all();
        });
    }
    HRESULT STDMETHODCALLTYPE WaitProcessed(LONG timeout, BOOL* result) override
    {
        return this->call(
            L"IEvent::WaitProcessed",
            [&](WorldLock& lock) {
                require(result);
                store(result,
                      !data_->isWaitable() || waitUntil(lock, timeout, [&] { return data_->unprocessed == 0; }));
            },
            timeout);
    }

protected:
    const EventPtr data_;
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
        return get(L"IStateChangedEvent::get_State", state, [&] { return data_->state; });
    }
    const wchar_t* typeName() const override { return L"IStateChangedEvent"; }
};

class RuntimeErrorEvent : public EventObject<RuntimeErrorEvent, IRuntimeErrorEvent, IEvent>
{
public:
    using EventObject::EventObject;
    HRESULT STDMETHODCALLTYPE get_Fatal(BOOL* fatal) override
    {
        return get(L"IRuntimeErrorEvent::get_Fatal", fatal, [&] { return data_->flag; });
    }
    HRESULT STDMETHODCALLTYPE get_Id(BSTR* id) override
    {
        return get(L"IRuntimeErrorEvent::get_Id", id, [&] { return data_->errorId; });
    }
    HRESULT STDMETHODCALLTYPE get_Message(BSTR* message) override
    {
        return get(L"IRuntimeErrorEvent::get_Message", message, [&] { return data_->message; });
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
        return this->get(L"IMachineEvent::get_MachineId", id, [&] { return this->data_->machineId; });
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
        return get(L"IMachineStateChangedEvent::get_State", state, [&] { return data_->state; });
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
        return get(L"ISessionStateChangedEvent::get_State", state, [&] { return data_->state; });
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
        return get(L"IMachineRegisteredEvent::get_Registered", registered, [&] { return data_->flag; });
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
        return get(L"IMachineDataChangedEvent::get_Temporary", temporary, [&] { return data_->flag; });
    }
    const wchar_t* typeName() const override { return L"IMachineDataChangedEvent"; }
};

/// Each listener gets an object of its own for an event, so that no client shares one with another.
ComPtr<IEvent> makeEvent(const EventPtr& event)
{
    switch (event->type) {
    case EventType::OnStateChanged:
        return make<StateChangedEvent>(event);
    case EventType::OnRuntimeError:
        return make<RuntimeErrorEvent>(event);
    case EventType::OnMachineStateChanged:
        return make<MachineStateChangedEvent>(event);
    case EventType::OnSessionStateChanged:
        return make<SessionStateChangedEvent>(event);
    case EventType::OnMachineRegistered:
        return make<MachineRegisteredEvent>(event);
    case EventType::OnMachineDataChanged:
        return make<MachineDataChangedEvent>(event);
    default:
        if (event->machineId.empty())
            return make<PlainEvent>(event);
        return make<MachineEvent>(event);
    }
}

/// A listener without a client's code behind it: its events wait in the queue.
class PassiveListener : public Object<PassiveListener, IEventListener>
{
public:
    HRESULT STDMETHODCALLTYPE HandleEvent(IEvent* event) override
    {
        return call(
            L"IEventListener::HandleEvent", [] {}, event);
    }
    const wchar_t* typeName() const override { return L"IEventListener"; }
};

ComPtr<IUnknown> identityOf(IUnknown* object)
{
    ComPtr<IUnknown> identity;
    if (object)
        object->QueryInterface(IID_PPV_ARGS(&identity));
    return identity;
}

[[noreturn]] void neverRegistered()
{
    throw Failure(Result::objectNotFound, L"Listener was never registered");
}

} // namespace

bool EventData::isWaitable() const
{
    return type == EventType::OnEventSourceChanged || type == EventType::OnExtraDataCanChange ||
           type == EventType::OnCanShowWindow || type == EventType::OnShowWindow;
}

bool isInteresting(const std::vector<LONG>& types, std::uint32_t event)
{
    const auto wants = [&](std::uint32_t type) {
        return std::find(types.begin(), types.end(), static_cast<LONG>(type)) != types.end();
    };
    if (wants(event) || wants(EventType::Any))
        return true;
    switch (event) {
    case EventType::OnMachineStateChanged:
    case EventType::OnMachineDataChanged:
    case EventType::OnMachineRegistered:
    case EventType::OnSessionStateChanged:
    case EventType::OnGuestPropertyChanged:
        return wants(EventType::MachineEvent);
    case EventType::OnSnapshotTaken:
    case EventType::OnSnapshotDeleted:
    case EventType::OnSnapshotChanged:
    case EventType::OnSnapshotRestored:
        return wants(EventType::MachineEvent) || wants(EventType::SnapshotEvent);
    case EventType::OnExtraDataCanChange:
    case EventType::OnCanShowWindow:
        return wants(EventType::Vetoable);
    default:
        return false;
    }
}

void EventSourceData::fire(EventData fired)
{
    if (closed_)
        return;
    fired.source = shared_from_this();
    const auto event = std::make_shared<EventData>(std::move(fired));
    const std::vector<RegistrationPtr> listeners = registrations_;
    for (const RegistrationPtr& registration : listeners) {
        if (!isInteresting(registration->types, event->type))
            continue;
        registration->queue.push_back(event);
        ++event->unprocessed;
        if (registration->queue.size() > mostPending)
            drop(registration);
    }
    worldChanged().notify_all();
}

void EventSourceData::fireSourceChanged()
{
    EventData event;
    event.type = EventType::OnEventSourceChanged;
    fire(std::move(event));
}

EventSourceData::RegistrationPtr EventSourceData::find(IUnknown* listener) const
{
    const ComPtr<IUnknown> identity = identityOf(listener);
    for (const RegistrationPtr& registration : registrations_)
        if (registration->listener.Get() == identity.Get()) // MinGW's ComPtr compares as bool
            return registration;
    return nullptr;
}

void EventSourceData::add(IUnknown* listener, const std::vector<LONG>& types, bool active)
{
    if (!listener)
        throw Failure(Result::invalidArgument, L"No listener is given");
    if (find(listener))
        throw Failure(Result::invalidArgument, L"This listener is already registered");
    const auto registration = std::make_shared<Registration>();
    registration->listener = identityOf(listener);
    registration->client = Clients::caller();
    registration->types = types;
    registration->active = active;
    fireSourceChanged();
    registrations_.push_back(registration);
    if (active)
        std::thread([self = shared_from_this(), registration] { self->callBack(registration); }).detach();
}

void EventSourceData::drop(const RegistrationPtr& registration)
{
    registration->removed = true;
    for (const EventPtr& event : registration->queue)
        --event->unprocessed;
    registration->queue.clear();
    std::erase(registrations_, registration);
    worldChanged().notify_all();
}

void EventSourceData::remove(IUnknown* listener)
{
    const RegistrationPtr registration = find(listener);
    if (!registration)
        neverRegistered();
    drop(registration);
    fireSourceChanged();
}

EventPtr EventSourceData::next(IUnknown* listener, LONG timeout, WorldLock& lock)
{
    const RegistrationPtr registration = find(listener);
    if (!registration)
        neverRegistered();
    if (registration->active)
        throw Failure(Result::invalidArgument, L"Events of an active listener are not fetched");
    waitUntil(lock, timeout, [&] { return !registration->queue.empty() || registration->removed || closed_; });
    if (closed_)
        throw Failure(Result::callFailed, L"The machine's process has ended");
    if (registration->removed)
        neverRegistered();
    if (registration->queue.empty())
        return nullptr;
    EventPtr event = registration->queue.front();
    registration->queue.pop_front();
    registration->handedOut.insert(event.get());
    return event;
}

void EventSourceData::markProcessed(IUnknown* listener, EventData& event)
{
    const RegistrationPtr registration = find(listener);
    if (!registration)
        neverRegistered();
    if (registration->handedOut.erase(&event) && event.unprocessed > 0)
        --event.unprocessed;
    worldChanged().notify_all();
}

void EventSourceData::dropListenersOf(DWORD process)
{
    const std::vector<RegistrationPtr> listeners = registrations_;
    for (const RegistrationPtr& registration : listeners)
        if (registration->client == process)
            drop(registration);
}

void EventSourceData::close()
{
    closed_ = true;
    const std::vector<RegistrationPtr> listeners = std::move(registrations_);
    registrations_.clear();
    for (const RegistrationPtr& registration : listeners)
        registration->removed = true;
    worldChanged().notify_all();
}

void EventSourceData::checkOpen() const
{
    if (closed_)
        throw Failure(Result::serverUnavailable, L"The machine's process has ended");
}

void EventSourceData::callBack(const RegistrationPtr& registration)
{
    // A thread of its own for each active listener: a client that does not answer holds up nobody else.
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    Clients::actFor(registration->client);
    ComPtr<IEventListener> listener;
    registration->listener.As(&listener);
    for (;;) {
        EventPtr event;
        {
            WorldLock lock(worldMutex());
            worldChanged().wait(lock, [&] { return registration->removed || !registration->queue.empty(); });
            if (registration->removed)
                break;
            event = registration->queue.front();
            registration->queue.pop_front();
        }
        const HRESULT result = listener ? listener->HandleEvent(makeEvent(event).Get()) : E_NOINTERFACE;
        const WorldLock lock(worldMutex());
        if (event->unprocessed > 0)
            --event->unprocessed;
        worldChanged().notify_all();
        if (HRESULT_FACILITY(result) == FACILITY_RPC || HRESULT_CODE(result) == RPC_S_SERVER_UNAVAILABLE ||
            HRESULT_CODE(result) == RPC_S_CALL_FAILED) {
            if (!registration->removed)
                drop(registration);
            break;
        }
    }
    listener.Reset();
    CoUninitialize();
}

HRESULT EventSource::CreateListener(IEventListener** listener)
{
    return get(L"IEventSource::CreateListener", listener, [] { return make<PassiveListener>(); });
}

HRESULT EventSource::RegisterListener(IEventListener* listener, SAFEARRAY* types, BOOL active)
{
    return call(
        L"IEventSource::RegisterListener", [&] { data_->add(listener, numbersOf(types), active != FALSE); }, listener,
        types, active);
}

HRESULT EventSource::UnregisterListener(IEventListener* listener)
{
    return call(
        L"IEventSource::UnregisterListener", [&] { data_->remove(listener); }, listener);
}

HRESULT EventSource::GetEvent(IEventListener* listener, LONG timeout, IEvent** event)
{
    if (event)
        *event = nullptr;
    return call(
        L"IEventSource::GetEvent",
        [&](WorldLock& lock) {
            require(event);
            if (const EventPtr next = data_->next(listener, timeout, lock))
                store(event, makeEvent(next));
        },
        listener, timeout);
}

HRESULT EventSource::EventProcessed(IEventListener* listener, IEvent* event)
{
    return call(
        L"IEventSource::EventProcessed",
        [&] {
            void* data = nullptr;
            if (!event || FAILED(event->QueryInterface(eventImplementation, &data)))
                throw Failure(Result::invalidArgument, L"This is no event of this server");
            event->Release(); // the caller holds it
            data_->markProcessed(listener, *static_cast<EventData*>(data));
        },
        listener, event);
}

} // namespace VBoxSim
