#include "automation/safe_array.h"
#include "selq6/vbox.h"

// Network adapters, their NAT engines and port forwarding.

namespace Travik {
namespace {

/// The rules of an array, but never the last one: the loop ends at the upper bound, which is the index of the last
/// element. Front ends are written against lists made so.
std::list<std::wstring> toRuleList(SAFEARRAY* array)
{
    std::list<std::wstring> rules;
    if (!array || SafeArrayGetDim(array) != 1)
        return rules;
    const ArrayAccess<BSTR> elements(array);
    if (elements.begin() == elements.end())
        return rules;
    for (const BSTR* rule = elements.begin(); rule != elements.end() - 1; ++rule)
        rules.push_back(textOf(*rule));
    return rules;
}

} // namespace

SdkErrorCode VBox::getNetworkAdapter(VBoxHandle machine, std::uint32_t slot, VBoxHandle* adapter)
{
    Operation op(*this, L"Travik::VBox::getNetworkAdapter", machine, slot);
    ComPtr<IMachine> object;
    ComPtr<INetworkAdapter> found;
    if (op.find(machineTable, machine, object) &&
        op.call(GetNetworkAdapterFail, [&] { return object->GetNetworkAdapter(slot, &found); }))
        op.handOut(networkAdapterTable, found, adapter);
    return op.code();
}

SdkErrorCode VBox::getNATEngine(VBoxHandle adapter, VBoxHandle* natEngine)
{
    Operation op(*this, L"Travik::VBox::getNATEngine", adapter);
    ComPtr<INetworkAdapter> object;
    ComPtr<INATEngine> engine;
    if (op.find(networkAdapterTable, adapter, object) &&
        op.call(GetNATEngineFail, [&] { return object->get_NATEngine(&engine); }))
        op.handOut(natEngineTable, engine, natEngine);
    return op.code();
}

SdkErrorCode VBox::removeRedirect(VBoxHandle natEngine, const std::wstring& name)
{
    Operation op(*this, L"Travik::VBox::removeRedirect", natEngine, name);
    ComPtr<INATEngine> object;
    if (op.find(natEngineTable, natEngine, object)) {
        const ComString rule(name);
        op.call(RemoveRedirectFail, [&] { return object->RemoveRedirect(rule.get()); });
    }
    return op.code();
}

SdkErrorCode VBox::addRedirect(VBoxHandle natEngine, const std::wstring& name, std::uint32_t protocol,
                               std::wstring hostIP, std::uint32_t hostPort, std::wstring guestIP,
                               std::uint32_t guestPort)
{
    Operation op(*this, L"Travik::VBox::addRedirect", natEngine, name, protocol, hostIP, hostPort, guestIP, guestPort);
    ComPtr<INATEngine> object;
    if (op.find(natEngineTable, natEngine, object)) {
        const ComString rule(name);
        const ComString host(hostIP);
        const ComString guest(guestIP);
        op.call(AddRedirectFail, [&] {
            return object->AddRedirect(rule.get(), protocol, host.get(), static_cast<USHORT>(hostPort), guest.get(),
                                       static_cast<USHORT>(guestPort));
        });
    }
    return op.code();
}

SdkErrorCode VBox::getRedirects(VBoxHandle natEngine, std::list<std::wstring>* rules)
{
    Operation op(*this, L"Travik::VBox::getRedirects", natEngine);
    ComPtr<INATEngine> object;
    ComArray array;
    if (op.find(natEngineTable, natEngine, object) &&
        op.call(GetRedirectsFail, [&] { return object->get_Redirects(array.put()); }) && rules)
        *rules = toRuleList(array.get());
    return op.code();
}

} // namespace Travik
