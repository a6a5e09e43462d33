#include "com/event_objects.h"

#include <thread>

#include "com/medium_object.h"
#include "com/storage_objects.h"

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
    void* interfaceOf(REFIID id) override
    {
        return id == eventImplementation ? event_.get() : Object<Derived, Interface, Bases...>::interfaceOf(id);
    }

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

class GuestPropertyChangedEvent
    : public MachineEventObject<GuestPropertyChangedEvent, IGuestPropertyChangedEvent, IMachineEvent, IEvent>
{
public:
    using MachineEventObject::MachineEventObject;
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override
    {
        return get(L"IGuestPropertyChangedEvent::get_Name", name, [&] { return event_->key; });
    }
    HRESULT STDMETHODCALLTYPE get_Value(BSTR* value) override
    {
        return get(L"IGuestPropertyChangedEvent::get_Value", value, [&] { return event_->value; });
    }
    HRESULT STDMETHODCALLTYPE get_Flags(BSTR* flags) override
    {
        return get(L"IGuestPropertyChangedEvent::get_Flags", flags, [&] { return event_->flags; });
    }
    const wchar_t* typeName() const override { return L"IGuestPropertyChangedEvent"; }
};

class NatRedirectEvent : public MachineEventObject<NatRedirectEvent, INATRedirectEvent, IMachineEvent, IEvent>
{
public:
    using MachineEventObject::MachineEventObject;
    HRESULT STDMETHODCALLTYPE get_Slot(ULONG* slot) override
    {
        return get(L"INATRedirectEvent::get_Slot", slot, [&] { return event_->slot; });
    }
    HRESULT STDMETHODCALLTYPE get_Remove(BOOL* removed) override
    {
        return get(L"INATRedirectEvent::get_Remove", removed, [&] { return event_->flag; });
    }
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override
    {
        return get(L"INATRedirectEvent::get_Name", name, [&] { return event_->rule.name; });
    }
    HRESULT STDMETHODCALLTYPE get_Proto(ULONG* protocol) override
    {
        return get(L"INATRedirectEvent::get_Proto", protocol, [&] { return event_->rule.protocol; });
    }
    HRESULT STDMETHODCALLTYPE get_HostIP(BSTR* address) override
    {
        return get(L"INATRedirectEvent::get_HostIP", address, [&] { return event_->rule.hostIp; });
    }
    HRESULT STDMETHODCALLTYPE get_HostPort(LONG* port) override
    {
        return get(L"INATRedirectEvent::get_HostPort", port, [&] { return event_->rule.hostPort; });
    }
    HRESULT STDMETHODCALLTYPE get_GuestIP(BSTR* address) override
    {
        return get(L"INATRedirectEvent::get_GuestIP", address, [&] { return event_->rule.guestIp; });
    }
    HRESULT STDMETHODCALLTYPE get_GuestPort(LONG* port) override
    {
        return get(L"INATRedirectEvent::get_GuestPort", port, [&] { return event_->rule.guestPort; });
    }
    const wchar_t* typeName() const override { return L"INATRedirectEvent"; }
};

/// Not an event about a machine for VirtualBox, although it names one: VirtualBox itself has extra data too.
class ExtraDataChangedEvent : public EventObject<ExtraDataChangedEvent, IExtraDataChangedEvent, IEvent>
{
public:
    using EventObject::EventObject;
    HRESULT STDMETHODCALLTYPE get_MachineId(BSTR* id) override
    {
        return get(L"IExtraDataChangedEvent::get_MachineId", id, [&] { return event_->machineId; });
    }
    HRESULT STDMETHODCALLTYPE get_Key(BSTR* key) override
    {
        return get(L"IExtraDataChangedEvent::get_Key", key, [&] { return event_->key; });
    }
    HRESULT STDMETHODCALLTYPE get_Value(BSTR* value) override
    {
        return get(L"IExtraDataChangedEvent::get_Value", value, [&] { return event_->value; });
    }
    const wchar_t* typeName() const override { return L"IExtraDataChangedEvent"; }
};

class MediumRegisteredEvent : public EventObject<MediumRegisteredEvent, IMediumRegisteredEvent, IEvent>
{
public:
    using EventObject::EventObject;
    HRESULT STDMETHODCALLTYPE get_MediumId(BSTR* id) override
    {
        return get(L"IMediumRegisteredEvent::get_MediumId", id, [&] { return event_->mediumId; });
    }
    HRESULT STDMETHODCALLTYPE get_MediumType(ULONG* type) override
    {
        return get(L"IMediumRegisteredEvent::get_MediumType", type, [&] { return event_->kind; });
    }
    HRESULT STDMETHODCALLTYPE get_Registered(BOOL* registered) override
    {
        return get(L"IMediumRegisteredEvent::get_Registered", registered, [&] { return event_->flag; });
    }
    const wchar_t* typeName() const override { return L"IMediumRegisteredEvent"; }
};

class MediumConfigChangedEvent : public EventObject<MediumConfigChangedEvent, IMediumConfigChangedEvent, IEvent>
{
public:
    using EventObject::EventObject;
    HRESULT STDMETHODCALLTYPE get_Medium(IMedium** medium) override
    {
        return get(L"IMediumConfigChangedEvent::get_Medium", medium,
                   [&] { return mediumObject(server(), host().media().find(event_->mediumId)); });
    }
    const wchar_t* typeName() const override { return L"IMediumConfigChangedEvent"; }
};

/// The device that an event is about, as the registered machine has it; null when the machine is gone.
ComPtr<IMediumAttachment> attachmentOf(Server& server, const Event& event)
{
    for (const MachinePtr& machine : server.host.machines().all())
        if (machine->id == event.machineId)
            return make<MediumAttachmentObject>(server, MachineView(server.host, machine), event.controller,
                                                event.attachment);
    return nullptr;
}

class MediumChangedEvent : public EventObject<MediumChangedEvent, IMediumChangedEvent, IEvent>
{
public:
    using EventObject::EventObject;
    HRESULT STDMETHODCALLTYPE get_MediumAttachment(IMediumAttachment** attachment) override
    {
        return get(L"IMediumChangedEvent::get_MediumAttachment", attachment,
                   [&] { return attachmentOf(server(), *event_); });
    }
    const wchar_t* typeName() const override { return L"IMediumChangedEvent"; }
};

class StorageDeviceChangedEvent : public EventObject<StorageDeviceChangedEvent, IStorageDeviceChangedEvent, IEvent>
{
public:
    using EventObject::EventObject;
    HRESULT STDMETHODCALLTYPE get_StorageDevice(IMediumAttachment** attachment) override
    {
        return get(L"IStorageDeviceChangedEvent::get_StorageDevice", attachment,
                   [&] { return attachmentOf(server(), *event_); });
    }
    HRESULT STDMETHODCALLTYPE get_Removed(BOOL* removed) override
    {
        return get(L"IStorageDeviceChangedEvent::get_Removed", removed, [&] { return event_->flag; });
    }
    HRESULT STDMETHODCALLTYPE get_Silent(BOOL* silent) override
    {
        return get(L"IStorageDeviceChangedEvent::get_Silent", silent, [] { return false; });
    }
    const wchar_t* typeName() const override { return L"IStorageDeviceChangedEvent"; }
};

class StorageControllerChangedEvent
    : public EventObject<StorageControllerChangedEvent, IStorageControllerChangedEvent, IEvent>
{
public:
    using EventObject::EventObject;
    HRESULT STDMETHODCALLTYPE get_MachinId(BSTR* id) override
    {
        return get(L"IStorageControllerChangedEvent::get_MachinId", id, [&] { return event_->machineId; });
    }
    HRESULT STDMETHODCALLTYPE get_ControllerName(BSTR* name) override
    {
        return get(L"IStorageControllerChangedEvent::get_ControllerName", name, [&] { return event_->controller; });
    }
    const wchar_t* typeName() const override { return L"IStorageControllerChangedEvent"; }
};

/// An event about a long operation.
template <class Derived, class Interface, class... Bases>
class ProgressEventObject : public EventObject<Derived, Interface, Bases...>
{
public:
    using EventObject<Derived, Interface, Bases...>::EventObject;
    HRESULT STDMETHODCALLTYPE get_ProgressId(BSTR* id) override
    {
        return this->get(L"IProgressEvent::get_ProgressId", id, [&] { return this->event_->progressId; });
    }
};

class ProgressPercentageChangedEvent
    : public ProgressEventObject<ProgressPercentageChangedEvent, IProgressPercentageChangedEvent, IProgressEvent,
                                 IEvent>
{
public:
    using ProgressEventObject::ProgressEventObject;
    HRESULT STDMETHODCALLTYPE get_Percent(LONG* percent) override
    {
        return get(L"IProgressPercentageChangedEvent::get_Percent", percent, [&] { return event_->percent; });
    }
    const wchar_t* typeName() const override { return L"IProgressPercentageChangedEvent"; }
};

class ProgressTaskCompletedEvent
    : public ProgressEventObject<ProgressTaskCompletedEvent, IProgressTaskCompletedEvent, IProgressEvent, IEvent>
{
public:
    using ProgressEventObject::ProgressEventObject;
    HRESULT STDMETHODCALLTYPE get_MidlDoesNotLikeEmptyInterfaces(BOOL* nothing) override
    {
        return get(L"IProgressTaskCompletedEvent::get_MidlDoesNotLikeEmptyInterfaces", nothing, [] { return false; });
    }
    const wchar_t* typeName() const override { return L"IProgressTaskCompletedEvent"; }
};

/// Asks before extra data change; the listeners answer on the event itself.
class ExtraDataCanChangeEvent
    : public EventObject<ExtraDataCanChangeEvent, IExtraDataCanChangeEvent, IVetoEvent, IEvent>
{
public:
    using EventObject::EventObject;
    HRESULT STDMETHODCALLTYPE AddVeto(BSTR reason) override
    {
        return call(
            L"IVetoEvent::AddVeto", [&] { event_->vetoes.push_back(textOf(reason)); }, reason);
    }
    HRESULT STDMETHODCALLTYPE IsVetoed(BOOL* vetoed) override
    {
        return get(L"IVetoEvent::IsVetoed", vetoed, [&] { return !event_->vetoes.empty(); });
    }
    HRESULT STDMETHODCALLTYPE GetVetos(SAFEARRAY** reasons) override
    {
        return get(L"IVetoEvent::GetVetos", reasons, [&] { return event_->vetoes; });
    }
    HRESULT STDMETHODCALLTYPE AddApproval(BSTR reason) override
    {
        return call(
            L"IVetoEvent::AddApproval", [&] { event_->approvals.push_back(textOf(reason)); }, reason);
    }
    HRESULT STDMETHODCALLTYPE IsApproved(BOOL* approved) override
    {
        return get(L"IVetoEvent::IsApproved", approved, [&] { return !event_->approvals.empty(); });
    }
    HRESULT STDMETHODCALLTYPE GetApprovals(SAFEARRAY** reasons) override
    {
        return get(L"IVetoEvent::GetApprovals", reasons, [&] { return event_->approvals; });
    }
    HRESULT STDMETHODCALLTYPE get_MachineId(BSTR* id) override
    {
        return get(L"IExtraDataCanChangeEvent::get_MachineId", id, [&] { return event_->machineId; });
    }
    HRESULT STDMETHODCALLTYPE get_Key(BSTR* key) override
    {
        return get(L"IExtraDataCanChangeEvent::get_Key", key, [&] { return event_->key; });
    }
    HRESULT STDMETHODCALLTYPE get_Value(BSTR* value) override
    {
        return get(L"IExtraDataCanChangeEvent::get_Value", value, [&] { return event_->value; });
    }
    const wchar_t* typeName() const override { return L"IExtraDataCanChangeEvent"; }
};

class SharedFolderChangedEvent : public EventObject<SharedFolderChangedEvent, ISharedFolderChangedEvent, IEvent>
{
public:
    using EventObject::EventObject;
    HRESULT STDMETHODCALLTYPE get_Scope(ULONG* scope) override
    {
        return get(L"ISharedFolderChangedEvent::get_Scope", scope, [&] { return event_->kind; });
    }
    const wchar_t* typeName() const override { return L"ISharedFolderChangedEvent"; }
};

class EventSourceChangedEvent : public EventObject<EventSourceChangedEvent, IEventSourceChangedEvent, IEvent>
{
public:
    using EventObject::EventObject;
    HRESULT STDMETHODCALLTYPE get_Listener(IEventListener** listener) override
    {
        // Only whether it came or went is told: the event may outlive a listener of another client.
        return get(L"IEventSourceChangedEvent::get_Listener", listener, [] { return nullptr; });
    }
    HRESULT STDMETHODCALLTYPE get_Add(BOOL* added) override
    {
        return get(L"IEventSourceChangedEvent::get_Add", added, [&] { return event_->flag; });
    }
    const wchar_t* typeName() const override { return L"IEventSourceChangedEvent"; }
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
    case EventType::OnExtraDataChanged:
        return make<ExtraDataChangedEvent>(server, event);
    case EventType::OnGuestPropertyChanged:
        return make<GuestPropertyChangedEvent>(server, event);
    case EventType::OnNATRedirect:
        return make<NatRedirectEvent>(server, event);
    case EventType::OnMediumRegistered:
        return make<MediumRegisteredEvent>(server, event);
    case EventType::OnMediumConfigChanged:
        return make<MediumConfigChangedEvent>(server, event);
    case EventType::OnMediumChanged:
        return make<MediumChangedEvent>(server, event);
    case EventType::OnStorageDeviceChanged:
        return make<StorageDeviceChangedEvent>(server, event);
    case EventType::OnStorageControllerChanged:
        return make<StorageControllerChangedEvent>(server, event);
    case EventType::OnProgressPercentageChanged:
        return make<ProgressPercentageChangedEvent>(server, event);
    case EventType::OnProgressTaskCompleted:
        return make<ProgressTaskCompletedEvent>(server, event);
    case EventType::OnExtraDataCanChange:
        return make<ExtraDataCanChangeEvent>(server, event);
    case EventType::OnSharedFolderChanged:
        return make<SharedFolderChangedEvent>(server, event);
    case EventType::OnEventSourceChanged:
        return make<EventSourceChangedEvent>(server, event);
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

/// The event behind an argument, which the caller holds.
Event& eventBehind(IEvent* argument)
{
    void* data = nullptr;
    if (!argument || FAILED(argument->QueryInterface(eventImplementation, &data)))
        throw Failure(Result::invalidArgument, L"This is no event of this server");
    argument->Release();
    return *static_cast<Event*>(data);
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
                source_->add(identityOf(listener), Clients::caller(), numbersOf(types), active != FALSE);
            if (active)
                startDelivery(server(), source_, registration);
        },
        listener, types, active);
}

HRESULT EventSourceObject::UnregisterListener(IEventListener* listener)
{
    return call(
        L"IEventSource::UnregisterListener", [&] { source_->remove(identityOf(listener).get()); }, listener);
}

HRESULT EventSourceObject::GetEvent(IEventListener* listener, LONG timeout, IEvent** event)
{
    if (event)
        *event = nullptr;
    return call(
        L"IEventSource::GetEvent",
        [&](HostLock& lock) {
            require(event);
            if (const EventPtr next = source_->next(lock, identityOf(listener).get(), timeout))
                store(event, makeEvent(server(), next));
        },
        listener, timeout);
}

HRESULT EventSourceObject::EventProcessed(IEventListener* listener, IEvent* event)
{
    return call(
        L"IEventSource::EventProcessed",
        [&] { source_->markProcessed(identityOf(listener).get(), eventBehind(event)); }, listener, event);
}

HRESULT EventSourceObject::FireEvent(IEvent* event, LONG timeout, BOOL* processed)
{
    if (processed)
        *processed = FALSE;
    return call(
        L"IEventSource::FireEvent",
        [&](HostLock& lock) {
            require(processed);
            Event again = eventBehind(event);
            again.unprocessed = 0;
            const EventPtr fired = source_->fire(std::move(again));
            store(processed, fired && source_->waitProcessed(lock, *fired, timeout));
        },
        event, timeout);
}

} // namespace VBoxSim
