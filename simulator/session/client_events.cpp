#include "session/client_events.h"

#include <new>
#include <type_traits>

#include "base/failure.h"

namespace VBoxSim {

namespace {

using Microsoft::WRL::ComPtr;

class AvailabilityEvent : public LocalObject<AvailabilityEvent, IVBoxSVCAvailabilityChangedEvent, IEvent>
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
class PassiveListener : public LocalObject<PassiveListener, IEventListener>
{
public:
    HRESULT STDMETHODCALLTYPE HandleEvent(IEvent*) override { return S_OK; }
};

/// A listener as the source tells it from others; released with the last copy.
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

std::vector<std::int32_t> numbersOf(SAFEARRAY* array)
{
    if (!array || SafeArrayGetDim(array) != 1 || SafeArrayGetElemsize(array) != sizeof(LONG) || !array->pvData)
        return {};
    const auto* first = static_cast<const LONG*>(array->pvData);
    return {first, first + array->rgsabound[0].cElements};
}

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
    *listener = new (std::nothrow) PassiveListener;
    if (!*listener)
        return E_OUTOFMEMORY;
    (*listener)->AddRef();
    return S_OK;
}

HRESULT ClientEvents::RegisterListener(IEventListener* listener, SAFEARRAY* types, BOOL active)
{
    if (active)
        return E_NOTIMPL; // the client would be called on a thread that it does not know
    return answer(monitor_, [&](HostLock&) {
        source_->add(listenerOf(listener), GetCurrentProcessId(), numbersOf(types), false);
    });
}

HRESULT ClientEvents::UnregisterListener(IEventListener* listener)
{
    return answer(monitor_, [&](HostLock&) { source_->remove(listenerOf(listener).get()); });
}

HRESULT ClientEvents::GetEvent(IEventListener* listener, LONG timeout, IEvent** event)
{
    if (!event)
        return E_POINTER;
    *event = nullptr;
    return answer(monitor_, [&](HostLock& lock) {
        const EventPtr next = source_->next(lock, listenerOf(listener).get(), timeout);
        if (next && next->type == EventType::OnVBoxSVCAvailabilityChanged)
            ComPtr<IEvent>(new AvailabilityEvent(this, next->flag)).CopyTo(event);
    });
}

HRESULT ClientEvents::EventProcessed(IEventListener*, IEvent* event)
{
    return event ? S_OK : E_INVALIDARG; // nobody waits for these
}

} // namespace VBoxSim
