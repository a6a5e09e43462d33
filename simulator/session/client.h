#pragma once

#include "session/client_events.h"

namespace VBoxSim {

/// The client class of VirtualBox 6.1: hands out the root object and session objects.
class Client : public LocalObject<IVirtualBoxClient>
{
public:
    HRESULT STDMETHODCALLTYPE get_VirtualBox(IVirtualBox** virtualBox) override;
    HRESULT STDMETHODCALLTYPE get_Session(ISession** session) override;
    HRESULT STDMETHODCALLTYPE get_EventSource(IEventSource** source) override;
    HRESULT STDMETHODCALLTYPE CheckMachineError(IMachine* machine) override;

private:
    /// Tells the event source which server answers.
    void noteServer();

    const Microsoft::WRL::ComPtr<ClientEvents> events_{new ClientEvents};
};

} // namespace VBoxSim
