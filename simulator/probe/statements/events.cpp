// Events and who hears them.
#include <algorithm>
#include <atomic>

#include "lab.h"
#include "listener.h"

namespace Probe {
namespace {

using enum Ground;

ComPtr<IEventSource> source(Lab& lab)
{
    return object(lab.box, &IVirtualBox::get_EventSource);
}

/// A listener that is called, on a thread of COM.
class CalledListener : public IEventListener
{
public:
    std::atomic<int> calls{0};

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override
    {
        if (!out)
            return E_POINTER;
        const bool known = id == IID_IUnknown || id == IID_IDispatch || id == __uuidof(IEventListener);
        *out = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    // Lives on the stack of the statement, which outlives the registration.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override
    {
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE HandleEvent(IEvent*) override
    {
        ++calls;
        return S_OK;
    }
};

std::wstring idOf(const ComPtr<IMachine>& machine)
{
    return text(machine, &IMachine::get_Id);
}

Finding nothingHappens(Lab& lab)
{
    Listener listener(source(lab), {VBoxEventType::OnSnapshotTaken});
    ComPtr<IEvent> event;
    return all({answers(Result::Ok, source(lab)->GetEvent(listener.object().Get(), 50, &event)), yes(!event)});
}

Finding timeOut(Lab& lab)
{
    Listener listener(source(lab), {VBoxEventType::OnSnapshotTaken});
    ComPtr<IEvent> event;
    const ULONGLONG begin = GetTickCount64();
    must(source(lab)->GetEvent(listener.object().Get(), 300, &event));
    const ULONGLONG waited = GetTickCount64() - begin;
    return says(waited >= 250, "300 ms or more", std::to_string(waited) + " ms");
}

Finding registrationTold(Lab& lab)
{
    Listener listener(source(lab), {VBoxEventType::OnMachineRegistered});
    const ComPtr<IMachine> machine = lab.machine();
    const auto came = query<IMachineRegisteredEvent>(listener.about(idOf(machine), VBoxEventType::OnMachineRegistered));
    Array media;
    must(machine->Unregister(CleanupMode::Full, media.put()));
    const auto left = query<IMachineRegisteredEvent>(listener.about(idOf(machine), VBoxEventType::OnMachineRegistered));
    return all({yes(came && read(came, &IMachineRegisteredEvent::get_Registered) != FALSE),
                yes(left && read(left, &IMachineRegisteredEvent::get_Registered) == FALSE)});
}

Finding dataChanged(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    Listener listener(source(lab), {VBoxEventType::OnMachineDataChanged});
    const Lock lock(machine, LockType::Write);
    must(lock.machine->put_MemorySize(100));
    must(lock.machine->SaveSettings());
    return yes(listener.about(idOf(machine), VBoxEventType::OnMachineDataChanged) != nullptr);
}

Finding sessionChanged(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    Listener listener(source(lab), {VBoxEventType::OnSessionStateChanged});
    Lock lock(machine, LockType::Write);
    lock.unlock();
    std::vector<std::uint32_t> states;
    while (const auto event =
               query<ISessionStateChangedEvent>(listener.about(idOf(machine), VBoxEventType::OnSessionStateChanged))) {
        states.push_back(read(event, &ISessionStateChangedEvent::get_State));
        if (states.back() == SessionState::Unlocked)
            break;
    }
    const bool locked = std::find(states.begin(), states.end(), std::uint32_t(SessionState::Locked)) != states.end();
    return all({yes(locked), yes(!states.empty() && states.back() == SessionState::Unlocked)});
}

Finding stateChanged(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    Listener listener(source(lab), {VBoxEventType::OnMachineStateChanged});
    {
        const ComPtr<ISession> dropped = lab.session();
        must(machine->LockMachine(dropped.Get(), LockType::Write));
    }
    const auto event =
        query<IMachineStateChangedEvent>(listener.about(idOf(machine), VBoxEventType::OnMachineStateChanged));
    return machineState(MachineState::Aborted, event ? read(event, &IMachineStateChangedEvent::get_State) : 0);
}

Finding extraData(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    Listener listener(source(lab), {VBoxEventType::OnExtraDataChanged});
    must(machine->SetExtraData(Text(L"vboxprobe/event"), Text(L"value")));
    const ComPtr<IEvent> event = listener.next(10'000);
    return all({equal(VBoxEventType::OnExtraDataChanged, event ? read(event, &IEvent::get_Type) : 0),
                no(query<IMachineEvent>(event) != nullptr)});
}

Finding onlyWanted(Lab& lab)
{
    Listener listener(source(lab), {VBoxEventType::OnExtraDataChanged});
    const ComPtr<IMachine> machine = lab.machine(); // its registration is not asked for
    must(machine->SetExtraData(Text(L"vboxprobe/event"), Text(L"value")));
    const ComPtr<IEvent> event = listener.next(10'000);
    return equal(VBoxEventType::OnExtraDataChanged, event ? read(event, &IEvent::get_Type) : 0);
}

Finding anyEvent(Lab& lab)
{
    Listener listener(source(lab), {VBoxEventType::Any});
    return yes(listener.about(idOf(lab.machine()), VBoxEventType::OnMachineRegistered) != nullptr);
}

Finding machineEvents(Lab& lab)
{
    Listener listener(source(lab), {VBoxEventType::MachineEvent});
    const ComPtr<IMachine> machine = lab.machine();
    const bool registration = listener.about(idOf(machine), VBoxEventType::OnMachineRegistered) != nullptr;
    must(lab.box->SetExtraData(Text(L"vboxprobe/event"), Text(L"value")));
    must(lab.box->SetExtraData(Text(L"vboxprobe/event"), nullptr));
    bool global = false;
    while (const ComPtr<IEvent> event = listener.next(300))
        global = global || read(event, &IEvent::get_Type) == VBoxEventType::OnExtraDataChanged;
    return all({yes(registration), no(global)});
}

Finding eachHasItsOwn(Lab& lab)
{
    Listener first(source(lab), {VBoxEventType::OnMachineRegistered});
    Listener second(source(lab), {VBoxEventType::OnMachineRegistered});
    const std::wstring id = idOf(lab.machine());
    return all({yes(first.about(id, VBoxEventType::OnMachineRegistered) != nullptr),
                yes(second.about(id, VBoxEventType::OnMachineRegistered) != nullptr)});
}

Finding notWaitable(Lab& lab)
{
    Listener listener(source(lab), {VBoxEventType::OnMachineRegistered});
    const auto event = listener.about(idOf(lab.machine()), VBoxEventType::OnMachineRegistered);
    if (!event)
        return says(false, "an event", "none");
    BOOL processed = FALSE;
    must(event->WaitProcessed(0, &processed));
    return all({no(read(event, &IEvent::get_Waitable) != FALSE), yes(processed != FALSE)});
}

Finding registeredTwice(Lab& lab)
{
    Listener listener(source(lab), {VBoxEventType::Any});
    return answers(Result::InvalidArg, source(lab)->RegisterListener(listener.object().Get(),
                                                                     Array::ofNumbers({VBoxEventType::Any}), FALSE));
}

Finding unknownListener(Lab& lab)
{
    ComPtr<IEventListener> listener;
    must(source(lab)->CreateListener(&listener));
    ComPtr<IEvent> event;
    return all({answers(Result::ObjectNotFound, source(lab)->GetEvent(listener.Get(), 0, &event)),
                answers(Result::ObjectNotFound, source(lab)->UnregisterListener(listener.Get()))});
}

Finding listenersAreEvents(Lab& lab)
{
    Listener listener(source(lab), {VBoxEventType::OnEventSourceChanged});
    const bool own = listener.next(300) != nullptr;
    BOOL waitable = FALSE;
    {
        const Listener other(source(lab), {VBoxEventType::OnSnapshotTaken});
        const ComPtr<IEvent> event = listener.next(10'000);
        waitable = event ? read(event, &IEvent::get_Waitable) : FALSE;
    }
    return all({no(own), yes(waitable != FALSE)});
}

Finding tooManyPending(Lab& lab)
{
    ComPtr<IEventListener> listener;
    must(source(lab)->CreateListener(&listener));
    must(source(lab)->RegisterListener(listener.Get(), Array::ofNumbers({VBoxEventType::OnExtraDataChanged}), FALSE));
    const ComPtr<IMachine> machine = lab.machine();
    for (int i = 0; i < 510; ++i)
        must(machine->SetExtraData(Text(L"vboxprobe/event"), Text(std::to_wstring(i + 1))));
    ComPtr<IEvent> event;
    const HRESULT result = source(lab)->GetEvent(listener.Get(), 0, &event);
    source(lab)->UnregisterListener(listener.Get());
    return answers(Result::ObjectNotFound, result);
}

/// A registration of a listener that is called.
class Active
{
public:
    Active(Lab& lab, CalledListener& listener, LONG type) : source_(source(lab)), listener_(listener)
    {
        must(source_->RegisterListener(&listener_, Array::ofNumbers({type}), TRUE));
    }
    ~Active() { source_->UnregisterListener(&listener_); }
    Active(const Active&) = delete;
    Active& operator=(const Active&) = delete;

private:
    ComPtr<IEventSource> source_;
    CalledListener& listener_;
};

Finding active(Lab& lab)
{
    CalledListener listener;
    const Active registration(lab, listener, VBoxEventType::OnMachineRegistered);
    lab.machine();
    return yes(soon([&] { return listener.calls > 0; }, 10'000));
}

Finding activeIsNotAsked(Lab& lab)
{
    CalledListener listener;
    const Active registration(lab, listener, VBoxEventType::OnSnapshotTaken);
    ComPtr<IEvent> event;
    return answers(Result::InvalidArg, source(lab)->GetEvent(&listener, 0, &event));
}

} // namespace

Subject eventStatements()
{
    return {
        "events",
        "Events",
        {
            {"events.none", "Without an event `GetEvent` gives `S_OK` and nothing.", Documented, nothingHappens},
            {"events.time-out", "It waits as long as it is told.", Documented, timeOut},
            {"events.registered", "A machine that comes or goes is told, with its identifier.", Documented,
             registrationTold},
            {"events.data", "So are saved settings.", Documented, dataChanged},
            {"events.session", "A lock is told as Locked, its end as Unlocked.", Documented, sessionChanged},
            {"events.state", "A machine's new state is told, Aborted too.", Documented, stateChanged},
            {"events.extra-data", "Extra data are told by an event that is no event of a machine.", Documented,
             extraData},
            {"events.only", "A listener gets the types that it asked for, no others.", Documented, onlyWanted},
            {"events.any", "The wildcard Any gets all.", Documented, anyEvent},
            {"events.machine-events", "The wildcard MachineEvent gets the events of machines only.", Documented,
             machineEvents},
            {"events.each", "Each listener has events of its own.", Documented, eachHasItsOwn},
            {"events.not-waitable", "Most events are not waitable, and count as processed.", Documented, notWaitable},
            {"events.source-changed", "Listeners that come and go are told by waitable events, not to themselves.",
             Assumed, listenersAreEvents},
            {"events.twice", "A listener that is registered gives `E_INVALIDARG`.", Assumed, registeredTwice},
            {"events.unknown", "One that is not gives `VBOX_E_OBJECT_NOT_FOUND`.", Documented, unknownListener},
            {"events.bound", "A listener with more than 500 unread events is dropped.", Documented, tooManyPending},
            {"events.active", "An active listener is called, on a thread of COM.", Documented, active},
            {"events.active-ask", "`GetEvent` on it gives `E_INVALIDARG`.", Assumed, activeIsNotAsked},
        }};
}

} // namespace Probe
