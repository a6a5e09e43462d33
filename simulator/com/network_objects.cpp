#include "com/network_objects.h"

#include <utility>

#include "base/text.h"
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

/// Texts go into the settings file.
void NatEngineObject::setText(std::wstring NatSettings::*member, BSTR value) const
{
    std::wstring text = textOf(value);
    if (!isStorable(text))
        throw Failure(Result::invalidArgument, L"The value is not valid text");
    view_.changeNat().*member = std::move(text);
}

HRESULT NatEngineObject::get_Network(BSTR* value)
{
    return get(L"INATEngine::get_Network", value, [&] { return view_.settings().nat.network; });
}

HRESULT NatEngineObject::put_Network(BSTR value)
{
    return call(
        L"INATEngine::put_Network", [&] { setText(&NatSettings::network, value); }, value);
}

HRESULT NatEngineObject::get_HostIP(BSTR* value)
{
    return get(L"INATEngine::get_HostIP", value, [&] { return view_.settings().nat.hostIp; });
}

HRESULT NatEngineObject::put_HostIP(BSTR value)
{
    return call(
        L"INATEngine::put_HostIP", [&] { setText(&NatSettings::hostIp, value); }, value);
}

HRESULT NatEngineObject::get_TFTPPrefix(BSTR* value)
{
    return get(L"INATEngine::get_TFTPPrefix", value, [&] { return view_.settings().nat.tftpPrefix; });
}

HRESULT NatEngineObject::put_TFTPPrefix(BSTR value)
{
    return call(
        L"INATEngine::put_TFTPPrefix", [&] { setText(&NatSettings::tftpPrefix, value); }, value);
}

HRESULT NatEngineObject::get_TFTPBootFile(BSTR* value)
{
    return get(L"INATEngine::get_TFTPBootFile", value, [&] { return view_.settings().nat.tftpBootFile; });
}

HRESULT NatEngineObject::put_TFTPBootFile(BSTR value)
{
    return call(
        L"INATEngine::put_TFTPBootFile", [&] { setText(&NatSettings::tftpBootFile, value); }, value);
}

HRESULT NatEngineObject::get_TFTPNextServer(BSTR* value)
{
    return get(L"INATEngine::get_TFTPNextServer", value, [&] { return view_.settings().nat.tftpNextServer; });
}

HRESULT NatEngineObject::put_TFTPNextServer(BSTR value)
{
    return call(
        L"INATEngine::put_TFTPNextServer", [&] { setText(&NatSettings::tftpNextServer, value); }, value);
}

HRESULT NatEngineObject::get_AliasMode(ULONG* mode)
{
    return get(L"INATEngine::get_AliasMode", mode, [&] { return view_.settings().nat.aliasMode; });
}

HRESULT NatEngineObject::put_AliasMode(ULONG mode)
{
    constexpr ULONG all = 7;
    return call(
        L"INATEngine::put_AliasMode",
        [&] {
            if (mode & ~all)
                throw Failure(Result::invalidArgument, L"Invalid alias mode " + std::to_wstring(mode));
            view_.changeNat().aliasMode = mode;
        },
        mode);
}

HRESULT NatEngineObject::get_DNSPassDomain(BOOL* value)
{
    return get(L"INATEngine::get_DNSPassDomain", value, [&] { return view_.settings().nat.dnsPassDomain; });
}

HRESULT NatEngineObject::put_DNSPassDomain(BOOL value)
{
    return call(
        L"INATEngine::put_DNSPassDomain", [&] { view_.changeNat().dnsPassDomain = value != FALSE; }, value);
}

HRESULT NatEngineObject::get_DNSProxy(BOOL* value)
{
    return get(L"INATEngine::get_DNSProxy", value, [&] { return view_.settings().nat.dnsProxy; });
}

HRESULT NatEngineObject::put_DNSProxy(BOOL value)
{
    return call(
        L"INATEngine::put_DNSProxy", [&] { view_.changeNat().dnsProxy = value != FALSE; }, value);
}

HRESULT NatEngineObject::get_DNSUseHostResolver(BOOL* value)
{
    return get(L"INATEngine::get_DNSUseHostResolver", value, [&] { return view_.settings().nat.dnsUseHostResolver; });
}

HRESULT NatEngineObject::put_DNSUseHostResolver(BOOL value)
{
    return call(
        L"INATEngine::put_DNSUseHostResolver", [&] { view_.changeNat().dnsUseHostResolver = value != FALSE; }, value);
}

HRESULT NatEngineObject::SetNetworkSettings(ULONG mtu, ULONG socketSend, ULONG socketReceive, ULONG tcpWindowSend,
                                            ULONG tcpWindowReceive)
{
    return call(
        L"INATEngine::SetNetworkSettings",
        [&] {
            NatSettings& nat = view_.changeNat();
            nat.mtu = mtu;
            nat.socketSend = socketSend;
            nat.socketReceive = socketReceive;
            nat.tcpWindowSend = tcpWindowSend;
            nat.tcpWindowReceive = tcpWindowReceive;
        },
        mtu, socketSend, socketReceive, tcpWindowSend, tcpWindowReceive);
}

HRESULT NatEngineObject::GetNetworkSettings(ULONG* mtu, ULONG* socketSend, ULONG* socketReceive, ULONG* tcpWindowSend,
                                            ULONG* tcpWindowReceive)
{
    for (ULONG* output : {mtu, socketSend, socketReceive, tcpWindowSend, tcpWindowReceive})
        if (output)
            *output = 0;
    return call(L"INATEngine::GetNetworkSettings", [&] {
        const NatSettings& nat = view_.settings().nat;
        const std::pair<ULONG*, std::uint32_t> results[] = {{mtu, nat.mtu},
                                                            {socketSend, nat.socketSend},
                                                            {socketReceive, nat.socketReceive},
                                                            {tcpWindowSend, nat.tcpWindowSend},
                                                            {tcpWindowReceive, nat.tcpWindowReceive}};
        for (const auto& [output, value] : results)
            require(output);
        for (const auto& [output, value] : results)
            store(output, value);
    });
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
