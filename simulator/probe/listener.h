#pragma once

#include "com.h"

namespace Probe {

/// A passive listener that is registered with an event source as long as it lives.
class Listener
{
public:
    Listener(const ComPtr<IEventSource>& source, const std::vector<LONG>& types);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// The next event, acknowledged; null when none comes in that time.
    ComPtr<IEvent> next(LONG milliseconds);
    /// The next event of that type that is about this machine; null when none comes within some seconds.
    ComPtr<IMachineEvent> about(const std::wstring& machineId, ULONG type);

    const ComPtr<IEventListener>& object() const { return listener_; }

private:
    ComPtr<IEventSource> source_;
    ComPtr<IEventListener> listener_;
};

} // namespace Probe
