#pragma once

#include "com/object.h"
#include "host/device_views.h"

namespace VBoxSim {

class NetworkAdapterObject : public Object<NetworkAdapterObject, INetworkAdapter>
{
public:
    NetworkAdapterObject(Server& server, NetworkAdapterView view) : Object(server), view_(std::move(view)) {}

    HRESULT STDMETHODCALLTYPE get_AdapterType(ULONG* type) override;
    HRESULT STDMETHODCALLTYPE put_AdapterType(ULONG type) override;
    HRESULT STDMETHODCALLTYPE get_Slot(ULONG* slot) override;
    HRESULT STDMETHODCALLTYPE get_Enabled(BOOL* enabled) override;
    HRESULT STDMETHODCALLTYPE put_Enabled(BOOL enabled) override;
    HRESULT STDMETHODCALLTYPE get_MACAddress(BSTR* address) override;
    HRESULT STDMETHODCALLTYPE put_MACAddress(BSTR address) override;
    HRESULT STDMETHODCALLTYPE get_AttachmentType(ULONG* type) override;
    HRESULT STDMETHODCALLTYPE put_AttachmentType(ULONG type) override;
    HRESULT STDMETHODCALLTYPE get_CableConnected(BOOL* connected) override;
    HRESULT STDMETHODCALLTYPE put_CableConnected(BOOL connected) override;
    HRESULT STDMETHODCALLTYPE get_NATEngine(INATEngine** engine) override;

    const wchar_t* typeName() const override { return L"INetworkAdapter"; }

private:
    void checkUsable() const override { view_.machine().checkUsable(); }

    const NetworkAdapterView view_;
};

/// The port forwarding of an adapter, whatever the adapter is attached to.
class NatEngineObject : public Object<NatEngineObject, INATEngine>
{
public:
    NatEngineObject(Server& server, NetworkAdapterView view) : Object(server), view_(std::move(view)) {}

    HRESULT STDMETHODCALLTYPE get_Redirects(SAFEARRAY** redirects) override;
    HRESULT STDMETHODCALLTYPE AddRedirect(BSTR name, ULONG protocol, BSTR hostIp, USHORT hostPort, BSTR guestIp,
                                          USHORT guestPort) override;
    HRESULT STDMETHODCALLTYPE RemoveRedirect(BSTR name) override;

    const wchar_t* typeName() const override { return L"INATEngine"; }

private:
    void checkUsable() const override { view_.machine().checkUsable(); }

    const NetworkAdapterView view_;
};

} // namespace VBoxSim
