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

/// The NAT engine of an adapter, whatever the adapter is attached to.
class NatEngineObject : public Object<NatEngineObject, INATEngine>
{
public:
    NatEngineObject(Server& server, NetworkAdapterView view) : Object(server), view_(std::move(view)) {}

    HRESULT STDMETHODCALLTYPE get_Network(BSTR* value) override;
    HRESULT STDMETHODCALLTYPE put_Network(BSTR value) override;
    HRESULT STDMETHODCALLTYPE get_HostIP(BSTR* value) override;
    HRESULT STDMETHODCALLTYPE put_HostIP(BSTR value) override;
    HRESULT STDMETHODCALLTYPE get_TFTPPrefix(BSTR* value) override;
    HRESULT STDMETHODCALLTYPE put_TFTPPrefix(BSTR value) override;
    HRESULT STDMETHODCALLTYPE get_TFTPBootFile(BSTR* value) override;
    HRESULT STDMETHODCALLTYPE put_TFTPBootFile(BSTR value) override;
    HRESULT STDMETHODCALLTYPE get_TFTPNextServer(BSTR* value) override;
    HRESULT STDMETHODCALLTYPE put_TFTPNextServer(BSTR value) override;
    HRESULT STDMETHODCALLTYPE get_AliasMode(ULONG* mode) override;
    HRESULT STDMETHODCALLTYPE put_AliasMode(ULONG mode) override;
    HRESULT STDMETHODCALLTYPE get_DNSPassDomain(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE put_DNSPassDomain(BOOL value) override;
    HRESULT STDMETHODCALLTYPE get_DNSProxy(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE put_DNSProxy(BOOL value) override;
    HRESULT STDMETHODCALLTYPE get_DNSUseHostResolver(BOOL* value) override;
    HRESULT STDMETHODCALLTYPE put_DNSUseHostResolver(BOOL value) override;
    HRESULT STDMETHODCALLTYPE SetNetworkSettings(ULONG mtu, ULONG socketSend, ULONG socketReceive, ULONG tcpWindowSend,
                                                 ULONG tcpWindowReceive) override;
    HRESULT STDMETHODCALLTYPE GetNetworkSettings(ULONG* mtu, ULONG* socketSend, ULONG* socketReceive,
                                                 ULONG* tcpWindowSend, ULONG* tcpWindowReceive) override;
    HRESULT STDMETHODCALLTYPE get_Redirects(SAFEARRAY** redirects) override;
    HRESULT STDMETHODCALLTYPE AddRedirect(BSTR name, ULONG protocol, BSTR hostIp, USHORT hostPort, BSTR guestIp,
                                          USHORT guestPort) override;
    HRESULT STDMETHODCALLTYPE RemoveRedirect(BSTR name) override;

    const wchar_t* typeName() const override { return L"INATEngine"; }

private:
    void checkUsable() const override { view_.machine().checkUsable(); }

    void setText(std::wstring NatSettings::*member, BSTR value) const;

    const NetworkAdapterView view_;
};

} // namespace VBoxSim
