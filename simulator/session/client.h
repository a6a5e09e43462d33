#pragma once

#include <atomic>

#include "virtualbox_defaults.h"

namespace VBoxSim {

/// The client class of VirtualBox 6.1: hands out the root object and session objects.
class Client : public Defaults<IVirtualBoxClient>
{
public:
    Client();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE get_VirtualBox(IVirtualBox** virtualBox) override;
    HRESULT STDMETHODCALLTYPE get_Session(ISession** session) override;
    HRESULT STDMETHODCALLTYPE CheckMachineError(IMachine* machine) override;

private:
    virtual ~Client();

    std::atomic<ULONG> references_{0};
};

} // namespace VBoxSim
