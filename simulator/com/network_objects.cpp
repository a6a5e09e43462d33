#include "com/network_objects.h"

#include "base/text.h"
#include "settings/nat_rules.h"

#include <algorithm>

namespace VBoxSim {

namespace {
/// A machine that lost adapters with its chipset keeps no objects for them alive.
template <class Settings>
auto& adapterAt(Settings& settings, ULONG slot)
{
    if (slot >= settings.adapters.size())
        throw Failure(Result::accessDenied, L"The network adapter is not there any more");
    return settings.adapters[slot];
}
} // namespace

const NetworkAdapterSettings& NetworkAdapter::shown() const
{
    return adapterAt(machine_->settings(), slot_);
}

NetworkAdapterSettings& NetworkAdapter::changed(Allowed allowed)
{
    return adapterAt(machine_->change(allowed), slot_);
}

HRESULT NetworkAdapter::get_AdapterType(ULONG* type)
{
    return get(L"INetworkAdapter::get_AdapterType", type, [&] { return shown().type; });
}

HRESULT NetworkAdapter::put_AdapterType(ULONG type)
{
    return call(
        L"INetworkAdapter::put_AdapterType",
        [&] {
            if (type < 1 || type > 8)
                throw Failure(Result::invalidArgument, L"Invalid network adapter type " + std::to_wstring(type));
            changed(Allowed::Off).type = type;
        },
        type);
}

HRESULT NetworkAdapter::get_Slot(ULONG* slot)
{
    return get(L"INetworkAdapter::get_Slot", slot, [&] { return slot_; });
}

HRESULT NetworkAdapter::get_Enabled(BOOL* enabled)
{
    return get(L"INetworkAdapter::get_Enabled", enabled, [&] { return shown().enabled; });
}

HRESULT NetworkAdapter::put_Enabled(BOOL enabled)
{
    return call(
        L"INetworkAdapter::put_Enabled", [&] { changed(Allowed::Off).enabled = enabled != FALSE; }, enabled);
}

HRESULT NetworkAdapter::get_MACAddress(BSTR* address)
{
    return get(L"INetworkAdapter::get_MACAddress", address, [&] { return shown().mac; });
}

HRESULT NetworkAdapter::put_MACAddress(BSTR address)
{
    return call(
        L"INetworkAdapter::put_MACAddress",
        [&] {
            const std::wstring text = textOf(address);
            if (!text.empty() && (text.size() != 12 || text.find_first_not_of(L"0123456789ABCDEFabcdef") != text.npos))
                throw Failure(Result::invalidArgument, L"Invalid MAC address format");
            changed(Allowed::Off).mac = text.empty() ? newMacAddress() : text;
        },
        address);
}

HRESULT NetworkAdapter::get_AttachmentType(ULONG* type)
{
    return get(L"INetworkAdapter::get_AttachmentType", type, [&] { return shown().attachment; });
}

HRESULT NetworkAdapter::put_AttachmentType(ULONG type)
{
    return call(
        L"INetworkAdapter::put_AttachmentType",
        [&] {
            constexpr ULONG natNetwork = 6;
            if (type > natNetwork)
                throw Failure(Result::invalidArgument, L"Invalid attachment type " + std::to_wstring(type));
            changed(Allowed::OffOrRunning).attachment = type;
        },
        type);
}

HRESULT NetworkAdapter::get_CableConnected(BOOL* connected)
{
    return get(L"INetworkAdapter::get_CableConnected", connected, [&] { return shown().cableConnected; });
}

HRESULT NetworkAdapter::put_CableConnected(BOOL connected)
{
    return call(
        L"INetworkAdapter::put_CableConnected",
        [&] { changed(Allowed::OffOrRunning).cableConnected = connected != FALSE; }, connected);
}

HRESULT NetworkAdapter::get_NATEngine(INATEngine** engine)
{
    return get(L"INetworkAdapter::get_NATEngine", engine, [&] { return make<NatEngine>(machine_, slot_); });
}

const std::vector<NatRule>& NatEngine::shown() const
{
    return adapterAt(machine_->settings(), slot_).rules;
}

std::vector<NatRule>& NatEngine::changed()
{
    return adapterAt(machine_->change(Allowed::OffOrRunning), slot_).rules;
}

void NatEngine::fireRedirect() const
{
    EventData event;
    event.type = EventType::OnNATRedirect;
    event.machineId = machine_->data()->id;
    World::instance().fire(std::move(event));
}

HRESULT NatEngine::get_Redirects(SAFEARRAY** redirects)
{
    return get(L"INATEngine::get_Redirects", redirects, [&] { return redirectTexts(shown()); });
}

HRESULT NatEngine::AddRedirect(BSTR name, ULONG protocol, BSTR hostIp, USHORT hostPort, BSTR guestIp, USHORT guestPort)
{
    return call(
        L"INATEngine::AddRedirect",
        [&] {
            addRedirect(changed(), {textOf(name), protocol, textOf(hostIp), hostPort, textOf(guestIp), guestPort});
            fireRedirect();
        },
        name, protocol, hostIp, hostPort, guestIp, guestPort);
}

HRESULT NatEngine::RemoveRedirect(BSTR name)
{
    return call(
        L"INATEngine::RemoveRedirect",
        [&] {
            removeRedirect(changed(), textOf(name));
            fireRedirect();
        },
        name);
}

} // namespace VBoxSim
