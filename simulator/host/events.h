#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/monitor.h"
#include "settings/machine_settings.h"
#include "travik/vbox_types.h"

namespace VBoxSim {

namespace EventType = Travik::VBoxEventType;

/// The process of a client.
using ClientId = std::uint32_t;

class EventSource;

/// One event. Which members mean something depends on its type. Guarded by the host's mutex.
struct Event
{
    std::uint32_t type = EventType::Invalid;
    std::wstring machineId = {};
    std::uint32_t state = 0; ///< of the machine or of its session
    bool flag = false;       ///< registered, temporary, fatal, removed, added
    std::wstring errorId = {};
    std::wstring message = {};
    std::wstring key = {}; ///< of extra data; the name of a guest property
    std::wstring value = {};
    std::wstring flags = {}; ///< of a guest property
    std::wstring mediumId = {};
    std::uint32_t kind = 0; ///< the device type of a medium, the scope of a shared folder
    std::uint32_t slot = 0; ///< of a network adapter
    NatRule rule = {};
    std::wstring controller = {};
    AttachmentSettings attachment = {}; ///< to that controller
    std::wstring progressId = {};
    std::uint32_t percent = 0;

    std::shared_ptr<EventSource> source = nullptr;
    /// How many listeners have not marked it processed yet.
    std::size_t unprocessed = 0;
    /// The reasons of those who are for what the event announces, and of those who are against it.
    std::vector<std::wstring> approvals = {};
    std::vector<std::wstring> vetoes = {};

    bool isWaitable() const;
};
using EventPtr = std::shared_ptr<Event>;

/// Whether a listener that registered for these types gets an event of this one.
bool isInteresting(const std::vector<std::int32_t>& types, std::uint32_t event);

/// Distributes events to the listeners that registered for them. Listeners are only told apart, by their addresses.
/// Guarded by the host's mutex.
class EventSource : public std::enable_shared_from_this<EventSource>
{
public:
    using Listener = std::shared_ptr<void>;

    struct Registration
    {
        Listener listener;
        ClientId client = 0;
        std::vector<std::int32_t> types;
        bool active = false; ///< is called instead of asking
        bool removed = false;
        std::deque<EventPtr> queue;
        std::set<EventPtr> handedOut; ///< not yet marked processed
    };
    using RegistrationPtr = std::shared_ptr<Registration>;

    explicit EventSource(Monitor& monitor) : monitor_(monitor) {}

    /// Gives the event as it was sent; null when the source is closed.
    EventPtr fire(Event event);

    /// Throws Failure(invalidArgument) for a listener that is registered already.
    RegistrationPtr add(Listener listener, ClientId client, std::vector<std::int32_t> types, bool active);
    void remove(const void* listener);
    /// The next event of a passive listener; null when none comes in time.
    EventPtr next(HostLock& lock, const void* listener, std::int32_t milliseconds);
    void markProcessed(const void* listener, Event& event);
    void setProcessed(Event& event);
    /// Waits until all listeners have processed the event, and answers whether they have.
    bool waitProcessed(HostLock& lock, const Event& event, std::int32_t milliseconds);

    /// For the one who calls an active listener: waits for its next event; null when it is not registered any more.
    EventPtr nextToDeliver(HostLock& lock, Registration& registration);
    void delivered(Event& event);
    void drop(const RegistrationPtr& registration);

    /// Drops what a process registered that is no more.
    void dropListenersOf(ClientId client);
    /// Its process is gone: from now on every call fails as if the server did.
    void close();
    /// Throws when it is closed.
    void checkOpen() const;

private:
    RegistrationPtr find(const void* listener) const;
    RegistrationPtr demand(const void* listener) const;
    /// Nobody waits for this listener any more.
    void end(Registration& registration);

    Monitor& monitor_;
    std::vector<RegistrationPtr> registrations_;
    bool closed_ = false;
};
using EventSourcePtr = std::shared_ptr<EventSource>;

} // namespace VBoxSim
