#include "host/events.h"

#include <algorithm>
#include <utility>

#include "base/failure.h"

namespace VBoxSim {

namespace {

/// A listener with more unread events than this is dropped.
constexpr std::size_t mostPending = 500;

[[noreturn]] void neverRegistered()
{
    throw Failure(Result::objectNotFound, L"Listener was never registered");
}

Event sourceChanged(bool added)
{
    Event event;
    event.type = EventType::OnEventSourceChanged;
    event.flag = added;
    return event;
}

} // namespace

bool Event::isWaitable() const
{
    return type == EventType::OnEventSourceChanged || type == EventType::OnExtraDataCanChange ||
           type == EventType::OnCanShowWindow || type == EventType::OnShowWindow;
}

bool isInteresting(const std::vector<std::int32_t>& types, std::uint32_t event)
{
    const auto wants = [&](std::uint32_t type) {
        return std::find(types.begin(), types.end(), static_cast<std::int32_t>(type)) != types.end();
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

EventPtr EventSource::fire(Event fired)
{
    if (closed_)
        return nullptr;
    fired.source = shared_from_this();
    const auto event = std::make_shared<Event>(std::move(fired));
    const std::vector<RegistrationPtr> listeners = registrations_;
    for (const RegistrationPtr& registration : listeners) {
        if (!isInteresting(registration->types, event->type))
            continue;
        registration->queue.push_back(event);
        ++event->unprocessed;
        if (registration->queue.size() > mostPending)
            drop(registration);
    }
    if (event->unprocessed > 0)
        monitor_.notify();
    return event;
}

EventSource::RegistrationPtr EventSource::find(const void* listener) const
{
    for (const RegistrationPtr& registration : registrations_)
        if (registration->listener.get() == listener)
            return registration;
    return nullptr;
}

EventSource::RegistrationPtr EventSource::demand(const void* listener) const
{
    if (RegistrationPtr registration = find(listener))
        return registration;
    neverRegistered();
}

EventSource::RegistrationPtr EventSource::add(Listener listener, ClientId client, std::vector<std::int32_t> types,
                                              bool active)
{
    if (!listener)
        throw Failure(Result::invalidArgument, L"No listener is given");
    if (find(listener.get()))
        throw Failure(Result::invalidArgument, L"This listener is already registered");
    const auto registration = std::make_shared<Registration>();
    registration->listener = std::move(listener);
    registration->client = client;
    registration->types = std::move(types);
    registration->active = active;
    fire(sourceChanged(true)); // the new one does not see it
    registrations_.push_back(registration);
    return registration;
}

void EventSource::end(Registration& registration)
{
    registration.removed = true;
    for (const EventPtr& event : std::exchange(registration.queue, {}))
        delivered(*event);
    for (const EventPtr& event : std::exchange(registration.handedOut, {}))
        delivered(*event);
}

void EventSource::drop(const RegistrationPtr& registration)
{
    end(*registration);
    std::erase(registrations_, registration);
    monitor_.notify();
}

void EventSource::remove(const void* listener)
{
    drop(demand(listener));
    fire(sourceChanged(false));
}

EventPtr EventSource::next(HostLock& lock, const void* listener, std::int32_t milliseconds)
{
    const RegistrationPtr registration = demand(listener);
    if (registration->active)
        throw Failure(Result::invalidArgument, L"Events of an active listener are not fetched");
    monitor_.wait(lock, milliseconds, [&] { return !registration->queue.empty() || registration->removed || closed_; });
    if (closed_)
        throw Failure(Result::callFailed, L"The machine's process has ended");
    if (registration->removed)
        neverRegistered();
    if (registration->queue.empty())
        return nullptr;
    EventPtr event = registration->queue.front();
    registration->queue.pop_front();
    if (event->isWaitable())
        registration->handedOut.insert(event);
    return event;
}

void EventSource::markProcessed(const void* listener, Event& event)
{
    const RegistrationPtr registration = demand(listener);
    if (std::erase_if(registration->handedOut, [&](const EventPtr& given) { return given.get() == &event; }))
        delivered(event);
}

void EventSource::setProcessed(Event& event)
{
    event.unprocessed = 0;
    monitor_.notify();
}

bool EventSource::waitProcessed(HostLock& lock, const Event& event, std::int32_t milliseconds)
{
    return !event.isWaitable() || monitor_.wait(lock, milliseconds, [&] { return event.unprocessed == 0; });
}

EventPtr EventSource::nextToDeliver(HostLock& lock, Registration& registration)
{
    monitor_.wait(lock, -1, [&] { return registration.removed || !registration.queue.empty(); });
    if (registration.removed)
        return nullptr;
    EventPtr event = registration.queue.front();
    registration.queue.pop_front();
    return event;
}

void EventSource::delivered(Event& event)
{
    if (event.unprocessed > 0)
        --event.unprocessed;
    monitor_.notify();
}

void EventSource::dropListenersOf(ClientId client)
{
    const std::vector<RegistrationPtr> listeners = registrations_;
    for (const RegistrationPtr& registration : listeners)
        if (registration->client == client)
            drop(registration);
}

void EventSource::close()
{
    closed_ = true;
    const std::vector<RegistrationPtr> listeners = std::move(registrations_);
    registrations_.clear();
    for (const RegistrationPtr& registration : listeners)
        end(*registration);
    monitor_.notify();
}

void EventSource::checkOpen() const
{
    if (closed_)
        throw Failure(Result::serverUnavailable, L"The machine's process has ended");
}

} // namespace VBoxSim
