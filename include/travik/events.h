#ifndef TRAVIK_EVENTS_H
#define TRAVIK_EVENTS_H

// Part of the helper (scoped_handle.h): events of a running machine, one after the other.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "operations.h"
#include "session.h"

namespace Travik {

/// What an event says. The fields beyond the type belong to the two types that the library reads.
struct EventData
{
    EventType type{};
    State state = State::Null; ///< StateChanged: the new state
    bool fatal = false;        ///< RuntimeError: the machine has been paused and cannot go on
    std::wstring id;           ///< RuntimeError
    std::wstring message;      ///< RuntimeError; may be empty
};

[[nodiscard]] inline EventData readEvent(VBoxInstanceImpl& vbox, const ScopedEvent& event)
{
    const Operations operations(vbox);
    EventData data;
    data.type = operations.eventSourceEventGetType(event);
    if (data.type == EventType::StateChanged) {
        const auto typed = operations.getEventSourceStateChangedEvent(event);
        data.state = operations.eventSourceStateChangedEventGetState(typed);
    } else if (data.type == EventType::RuntimeError) {
        const auto typed = operations.getEventSourceRuntimeErrorEvent(event);
        data.fatal = operations.eventSourceRuntimeErrorEventGetFatal(typed);
        data.id = operations.eventSourceRuntimeErrorEventGetId(typed);
        data.message = operations.eventSourceRuntimeErrorEventGetMessage(typed);
    }
    return data;
}

/// The event source of a running machine, whose lock is free again when it returns; empty when the machine does not
/// run.
[[nodiscard]] inline ScopedEventSource eventSourceOf(VBoxInstanceImpl& vbox, const ScopedMachine& machine,
                                                     Deadline deadline, const OnWait& onWait = OnWait())
{
    const LockedSession session(vbox, machine, Lock::Shared, deadline, onWait);
    const ScopedConsole console = session.console();
    return console ? Operations(vbox).getEventSource(console) : ScopedEventSource(vbox);
}

/// A registered listener. VirtualBox drops a listener whose events are not fetched for long: the loop then registers
/// another one and says so, because events were lost.
class EventLoop
{
public:
    enum class Step
    {
        Quiet,   ///< no event came in time
        Handled, ///< the handler has seen an event
        Resync,  ///< events were lost: ask for the state anew
        Woken,   ///< wake was called
        Ended    ///< the machine's process is gone, as after every power-off: there will be no more events
    };

    /// Listens to a source.
    EventLoop(VBoxInstanceImpl& vbox, ScopedEventSource source, std::vector<EventType> types)
        : vbox_(vbox), source_(std::move(source)), types_(std::move(types))
    {
        registerListener();
    }
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    ~EventLoop()
    {
        try {
            if (!ended_ && listener_)
                vbox_.eventSourceUnregisterListener(source_, listener_);
        } catch (...) { // the owners give both back
        }
    }

    /// Waits up to timeout for one event and hands its EventData to the handler. The event is marked as processed in
    /// any case, also when the handler throws. Throws ServerGone when the server itself does not answer.
    template <class Handler>
    Step next(std::chrono::milliseconds timeout, Handler&& handler)
    {
        constexpr std::chrono::milliseconds slice(100); // how long wake may take
        for (auto left = timeout;; left -= slice) {
            if (woken_.exchange(false))
                return Step::Woken;
            const Step step = take(std::min(left, slice), handler);
            if (step != Step::Quiet || left <= slice)
                return step;
        }
    }

    /// Ends the wait of next, or else the next one. From any thread.
    void wake() noexcept { woken_ = true; }

private:
    struct Pending
    {
        explicit Pending(EventLoop& owner) : loop(owner) {}
        Pending(const Pending&) = delete;
        Pending& operator=(const Pending&) = delete;
        ~Pending()
        {
            if (!event)
                return;
            VBoxInstanceImpl& vbox = loop.vbox_;
            try {
                // A failure here shows again in the next wait for an event.
                vbox.eventSourceEventProcessed(loop.source_.get(), loop.listener_.get(), event.get());
                if (vbox.eventSourceReleaseEvent(event.get()) == 0)
                    event.detach();
            } catch (...) {
            }
        }

        EventLoop& loop;
        ScopedEvent event;
    };

    template <class Handler>
    Step take(std::chrono::milliseconds timeout, Handler& handler)
    {
        if (ended_)
            return Step::Ended;
        Pending pending(*this);
        EventData data;
        try {
            const Step step = fetch(timeout, pending.event, data);
            if (step != Step::Handled)
                return step;
        } catch (const MachineGone&) {
            ended_ = true;
            return Step::Ended;
        }
        handler(std::as_const(data));
        return Step::Handled;
    }

    Step fetch(std::chrono::milliseconds timeout, ScopedEvent& event, EventData& data)
    {
        if (!listener_ || isDropped(timeout, event)) {
            listener_.reset();
            registerListener();
            return Step::Resync;
        }
        if (!event)
            return Step::Quiet;
        data = readEvent(vbox_, event);
        return Step::Handled;
    }

    bool isDropped(std::chrono::milliseconds timeout, ScopedEvent& event)
    {
        try {
            event = vbox_.eventSourceGetEvent(source_, listener_, timeout);
            return false;
        } catch (const SdkError& failure) {
            if (failure.code() == EventSourceGetEventFail && failure.result() == 0x80BB0001)
                return true;
            throw;
        }
    }

    void registerListener()
    {
        ScopedEventListener listener = vbox_.eventSourceCreateListener(source_);
        vbox_.eventSourceRegisterListener(source_, listener, types_);
        listener_ = std::move(listener);
    }

    Operations vbox_;
    ScopedEventSource source_;
    ScopedEventListener listener_;
    std::vector<EventType> types_;
    std::atomic<bool> woken_{false};
    bool ended_ = false;
};

} // namespace Travik

#endif
