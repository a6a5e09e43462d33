#pragma once

#include "com/machine_object.h"

namespace VBoxSim {

class NetworkAdapter : public Object<NetworkAdapter, INetworkAdapter>
{
public:
    NetworkAdapter(ComPtr<Machine> machine, ULONG slot) : machine_(std::move(machine)), slot_(slot) {}

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
    void checkUsable() const override { machine_->checkUsable(); }
    const NetworkAdapterSettings& shown() const;
    NetworkAdapterSettings& changed(Allowed allowed);

    const ComPtr<Machine> machine_;
    const ULONG slot_;
};

/// The port forwarding of an adapter, whatever the adapter is attached to.
class NatEngine : public Object<NatEngine, INATEngine>
{
public:
    NatEngine(ComPtr<Machine> machine, ULONG slot) : machine_(std::move(machine)), slot_(slot) {}

    HRESULT STDMETHODCALLTYPE get_Redirects(SAFEARRAY** redirects) override;
    HRESULT STDMETHODCALLTYPE AddRedirect(BSTR name, ULONG protocol, BSTR hostIp, USHORT hostPort, BSTR guestIp,
                                          USHORT guestPort) override;
    HRESULT STDMETHODCALLTYPE RemoveRedirect(BSTR name) override;

    const wchar_t* typeName() const override { return L"INATEngine"; }

private:
    void checkUsable() const override { machine_->checkUsable(); }
    const std::vector<NatRule>& shown() const;
    std::vector<NatRule>& changed();
    void fireRedirect() const;

    const ComPtr<Machine> machine_;
    const ULONG slot_;
};

} // namespace VBoxSim
