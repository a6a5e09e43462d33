#pragma once

#include <atomic>

#include "session/client_events.h"

namespace VBoxSim {

/// The client class of VirtualBox 6.1: hands out the root object and session objects.
class Client : public LateBound<IVirtualBoxClient>
{
public:
    Client();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE get_VirtualBox(IVirtualBox** virtualBox) override;
    HRESULT STDMETHODCALLTYPE get_Session(ISession** session) override;
    HRESULT STDMETHODCALLTYPE get_EventSource(IEventSource** source) override;
    HRESULT STDMETHODCALLTYPE CheckMachineError(IMachine* machine) override;

private:
    virtual ~Client();

    /// Tells the event source which server answers.
    void noteServer();

    std::atomic<ULONG> references_{0};
    const Microsoft::WRL::ComPtr<ClientEvents> events_;
};

} // namespace VBoxSim
