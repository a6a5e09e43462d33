#include "session/client_events.h"

#include <new>
#include <type_traits>

#include "com/values.h"

namespace VBoxSim {

namespace {

class AvailabilityEvent : public LocalObject<IVBoxSVCAvailabilityChangedEvent, IEvent>
{
public:
    AvailabilityEvent(ComPtr<IEventSource> source, bool available) : source_(std::move(source)), available_(available)
    {}

    HRESULT STDMETHODCALLTYPE get_Type(ULONG* type) override
    {
        return hand(type, EventType::OnVBoxSVCAvailabilityChanged);
    }
    HRESULT STDMETHODCALLTYPE get_Source(IEventSource** source) override
    {
        return source ? source_.CopyTo(source) : E_POINTER;
    }
    HRESULT STDMETHODCALLTYPE get_Waitable(BOOL* waitable) override { return hand(waitable, FALSE); }
    HRESULT STDMETHODCALLTYPE SetProcessed() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE WaitProcessed(LONG, BOOL* processed) override { return hand(processed, TRUE); }
    HRESULT STDMETHODCALLTYPE get_Available(BOOL* available) override
    {
        return hand(available, available_ ? TRUE : FALSE);
    }

private:
    template <class Out, class Value>
    static HRESULT hand(Out* out, Value value)
    {
        if (!out)
            return E_POINTER;
        *out = static_cast<Out>(value);
        return S_OK;
    }

    const ComPtr<IEventSource> source_;
    const bool available_;
};

/// Its events wait in the queue.
class PassiveListener : public LocalObject<IEventListener>
{
public:
    HRESULT STDMETHODCALLTYPE HandleEvent(IEvent*) override { return S_OK; }
};

/// What a body throws, as the result of a call.
template <class Body>
HRESULT answer(Monitor& monitor, Body&& body)
{
    try {
        HostLock lock = monitor.lock();
        body(lock);
        return S_OK;
    } catch (const Failure& failure) {
        return failure.code();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

} // namespace

ClientEvents::~ClientEvents()
{
    stopWatching();
}

void ClientEvents::stopWatching()
{
    if (wait_)
        UnregisterWaitEx(wait_, INVALID_HANDLE_VALUE); // waits for a call that is under way
    if (server_)
        CloseHandle(server_);
    wait_ = server_ = nullptr;
}

void ClientEvents::serverAnswers(DWORD process)
{
    const std::lock_guard guard(watchMutex_);
    if (process == process_)
        return;
    stopWatching();
    process_ = process;
    server_ = OpenProcess(SYNCHRONIZE, FALSE, process);
    if (server_)
        RegisterWaitForSingleObject(&wait_, server_, &ClientEvents::serverGone, this, INFINITE, WT_EXECUTEONLYONCE);
    answer(monitor_, [&](HostLock&) {
        if (std::exchange(lost_, false))
            tell(true);
    });
}

void CALLBACK ClientEvents::serverGone(void* self, BOOLEAN)
{
    auto& events = *static_cast<ClientEvents*>(self);
    answer(events.monitor_, [&](HostLock&) {
        events.lost_ = true;
        events.tell(false);
    });
}

void ClientEvents::tell(bool available)
{
    Event event;
    event.type = EventType::OnVBoxSVCAvailabilityChanged;
    event.flag = available;
    source_->fire(std::move(event));
}

HRESULT ClientEvents::CreateListener(IEventListener** listener)
{
    if (!listener)
        return E_POINTER;
    return makeLocal<PassiveListener>(IID_IEventListener, reinterpret_cast<void**>(listener));
}

HRESULT ClientEvents::RegisterListener(IEventListener* listener, SAFEARRAY* types, BOOL active)
{
    if (active)
        return E_NOTIMPL; // the client would be called on a thread that it does not know
    return answer(monitor_, [&](HostLock&) {
        source_->add(identityOf(listener), GetCurrentProcessId(), numbersOf(types), false);
    });
}

HRESULT ClientEvents::UnregisterListener(IEventListener* listener)
{
    return answer(monitor_, [&](HostLock&) { source_->remove(identityOf(listener).get()); });
}

HRESULT ClientEvents::GetEvent(IEventListener* listener, LONG timeout, IEvent** event)
{
    if (!event)
        return E_POINTER;
    *event = nullptr;
    return answer(monitor_, [&](HostLock& lock) {
        const EventPtr next = source_->next(lock, identityOf(listener).get(), timeout);
        if (next && next->type == EventType::OnVBoxSVCAvailabilityChanged)
            ComPtr<IEvent>(new AvailabilityEvent(this, next->flag)).CopyTo(event);
    });
}

HRESULT ClientEvents::EventProcessed(IEventListener*, IEvent* event)
{
    return event ? S_OK : E_INVALIDARG; // nobody waits for these
}

} // namespace VBoxSim
