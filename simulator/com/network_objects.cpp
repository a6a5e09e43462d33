#include "com/network_objects.h"

#include "settings/nat_rules.h"

namespace VBoxSim {

HRESULT NetworkAdapterObject::get_AdapterType(ULONG* type)
{
    return get(L"INetworkAdapter::get_AdapterType", type, [&] { return view_.settings().type; });
}

HRESULT NetworkAdapterObject::put_AdapterType(ULONG type)
{
    return call(
        L"INetworkAdapter::put_AdapterType", [&] { view_.setType(type); }, type);
}

HRESULT NetworkAdapterObject::get_Slot(ULONG* slot)
{
    return get(L"INetworkAdapter::get_Slot", slot, [&] { return view_.slot(); });
}

HRESULT NetworkAdapterObject::get_Enabled(BOOL* enabled)
{
    return get(L"INetworkAdapter::get_Enabled", enabled, [&] { return view_.settings().enabled; });
}

HRESULT NetworkAdapterObject::put_Enabled(BOOL enabled)
{
    return call(
        L"INetworkAdapter::put_Enabled", [&] { view_.setEnabled(enabled != FALSE); }, enabled);
}

HRESULT NetworkAdapterObject::get_MACAddress(BSTR* address)
{
    return get(L"INetworkAdapter::get_MACAddress", address, [&] { return view_.settings().mac; });
}

HRESULT NetworkAdapterObject::put_MACAddress(BSTR address)
{
    return call(
        L"INetworkAdapter::put_MACAddress", [&] { view_.setMacAddress(textOf(address)); }, address);
}

HRESULT NetworkAdapterObject::get_AttachmentType(ULONG* type)
{
    return get(L"INetworkAdapter::get_AttachmentType", type, [&] { return view_.settings().attachment; });
}

HRESULT NetworkAdapterObject::put_AttachmentType(ULONG type)
{
    return call(
        L"INetworkAdapter::put_AttachmentType", [&] { view_.setAttachment(type); }, type);
}

HRESULT NetworkAdapterObject::get_CableConnected(BOOL* connected)
{
    return get(L"INetworkAdapter::get_CableConnected", connected, [&] { return view_.settings().cableConnected; });
}

HRESULT NetworkAdapterObject::put_CableConnected(BOOL connected)
{
    return call(
        L"INetworkAdapter::put_CableConnected", [&] { view_.setCableConnected(connected != FALSE); }, connected);
}

HRESULT NetworkAdapterObject::get_NATEngine(INATEngine** engine)
{
    return get(L"INetworkAdapter::get_NATEngine", engine, [&] { return make<NatEngineObject>(server(), view_); });
}

HRESULT NatEngineObject::get_Redirects(SAFEARRAY** redirects)
{
    return get(L"INATEngine::get_Redirects", redirects, [&] { return redirectTexts(view_.settings().rules); });
}

HRESULT NatEngineObject::AddRedirect(BSTR name, ULONG protocol, BSTR hostIp, USHORT hostPort, BSTR guestIp,
                                     USHORT guestPort)
{
    return call(
        L"INATEngine::AddRedirect",
        [&] {
            view_.addRule({textOf(name), protocol, textOf(hostIp), hostPort, textOf(guestIp), guestPort});
        },
        name, protocol, hostIp, hostPort, guestIp, guestPort);
}

HRESULT NatEngineObject::RemoveRedirect(BSTR name)
{
    return call(
        L"INATEngine::RemoveRedirect", [&] { view_.removeRule(textOf(name)); }, name);
}

} // namespace VBoxSim
