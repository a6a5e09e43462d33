#pragma once

#include "com/object.h"

#include "travik/vbox_types.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace VBoxSim {

namespace EventType = Travik::VBoxEventType;

class EventSourceData;

/// One event. Which members mean something depends on its type. Guarded by the world's mutex.
struct EventData
{
    std::uint32_t type = EventType::Invalid;
    std::wstring machineId;
    std::uint32_t state = 0; ///< of the machine or of its session
    bool flag = false;       ///< registered, temporary, fatal
    std::wstring errorId;
    std::wstring message;

    std::shared_ptr<EventSourceData> source;
    /// How many listeners have not marked it processed yet.
    std::size_t unprocessed = 0;

    bool isWaitable() const;
};
using EventPtr = std::shared_ptr<EventData>;

/// Distributes events to the listeners that registered for them. Guarded by the world's mutex.
class EventSourceData : public std::enable_shared_from_this<EventSourceData>
{
public:
    void fire(EventData event);

    void add(IUnknown* listener, const std::vector<LONG>& types, bool active);
    void remove(IUnknown* listener);
    /// The next event; null when none comes in time.
    EventPtr next(IUnknown* listener, LONG timeout, WorldLock& lock);
    void markProcessed(IUnknown* listener, EventData& event);

    /// Drops what a process registered that is no more.
    void dropListenersOf(DWORD process);
    /// Its process is gone: from now on every call fails as if the server did.
    void close();
    /// Throws when it is closed.
    void checkOpen() const;

private:
    struct Registration
    {
        ComPtr<IUnknown> listener; ///< its identity
        DWORD client = 0;
        std::vector<LONG> types;
        bool active = false;
        bool removed = false;
        std::deque<EventPtr> queue;
        std::set<EventData*> handedOut; ///< not yet marked processed
    };
    using RegistrationPtr = std::shared_ptr<Registration>;

    RegistrationPtr find(IUnknown* listener) const;
    void drop(const RegistrationPtr& registration);
    void fireSourceChanged();
    void callBack(const RegistrationPtr& registration);

    std::vector<RegistrationPtr> registrations_;
    bool closed_ = false;
};
using EventSourcePtr = std::shared_ptr<EventSourceData>;

class EventSource : public Object<EventSource, IEventSource>
{
public:
    explicit EventSource(EventSourcePtr data) : data_(std::move(data)) {}

    HRESULT STDMETHODCALLTYPE CreateListener(IEventListener** listener) override;
    HRESULT STDMETHODCALLTYPE RegisterListener(IEventListener* listener, SAFEARRAY* types, BOOL active) override;
    HRESULT STDMETHODCALLTYPE UnregisterListener(IEventListener* listener) override;
    HRESULT STDMETHODCALLTYPE GetEvent(IEventListener* listener, LONG timeout, IEvent** event) override;
    HRESULT STDMETHODCALLTYPE EventProcessed(IEventListener* listener, IEvent* event) override;

    const wchar_t* typeName() const override { return L"IEventSource"; }

private:
    void checkUsable() const override { data_->checkOpen(); }

    const EventSourcePtr data_;
};

/// Whether a listener that registered for these types gets an event of this one.
bool isInteresting(const std::vector<LONG>& types, std::uint32_t event);

} // namespace VBoxSim
