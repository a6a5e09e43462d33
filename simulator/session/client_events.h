#pragma once

#include <wrl/client.h>

#include "host/events.h"
#include "session/local_object.h"

namespace VBoxSim {

/// The event source of the client class. It lives in the client's process and tells when the server is gone, and when
/// the class has reached one again.
class ClientEvents : public LocalObject<IEventSource>
{
public:
    /// The server that answers now; an event tells when it came after another one had gone.
    void serverAnswers(DWORD process);

    HRESULT STDMETHODCALLTYPE CreateListener(IEventListener** listener) override;
    HRESULT STDMETHODCALLTYPE RegisterListener(IEventListener* listener, SAFEARRAY* types, BOOL active) override;
    HRESULT STDMETHODCALLTYPE UnregisterListener(IEventListener* listener) override;
    HRESULT STDMETHODCALLTYPE GetEvent(IEventListener* listener, LONG timeout, IEvent** event) override;
    HRESULT STDMETHODCALLTYPE EventProcessed(IEventListener* listener, IEvent* event) override;

private:
    ~ClientEvents() override;

    static void CALLBACK serverGone(void* self, BOOLEAN);
    void tell(bool available);
    void stopWatching();

    Monitor monitor_;
    const EventSourcePtr source_ = std::make_shared<EventSource>(monitor_);
    bool lost_ = false; ///< guarded by the monitor's mutex, as the source is

    std::mutex watchMutex_; ///< guards what follows
    DWORD process_ = 0;
    HANDLE server_ = nullptr;
    HANDLE wait_ = nullptr;
};

} // namespace VBoxSim
