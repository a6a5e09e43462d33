// Network adapters and port forwarding.
#include <algorithm>

#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

ComPtr<INetworkAdapter> adapterOf(const ComPtr<IMachine>& machine, ULONG slot = 0)
{
    ComPtr<INetworkAdapter> adapter;
    must(machine->GetNetworkAdapter(slot, &adapter));
    return adapter;
}

ComPtr<INATEngine> engineOf(const ComPtr<IMachine>& machine)
{
    return object(adapterOf(machine), &INetworkAdapter::get_NATEngine);
}

HRESULT add(const ComPtr<INATEngine>& engine, const wchar_t* name, ULONG protocol, USHORT hostPort,
            const wchar_t* hostAddress = L"127.0.0.1")
{
    return engine->AddRedirect(Text(name), protocol, Text(hostAddress), hostPort, Text(L""), 22);
}

std::vector<std::wstring> rules(const ComPtr<INATEngine>& engine)
{
    return array(engine, &INATEngine::get_Redirects).texts();
}

/// The only rule, or a word that is none.
std::wstring onlyRule(const ComPtr<INATEngine>& engine)
{
    const std::vector<std::wstring> found = rules(engine);
    return found.size() == 1 ? found[0] : L"another number of rules";
}

Finding form(Lab& lab)
{
    const auto engine = engineOf(lab.create());
    must(add(engine, L"ssh", NATProtocol::TCP, 2222));
    return equal(L"ssh,1,127.0.0.1,2222,,22", onlyRule(engine));
}

Finding datagrams(Lab& lab)
{
    const auto engine = engineOf(lab.create());
    must(add(engine, L"dns", NATProtocol::UDP, 5353, L""));
    return equal(L"dns,0,,5353,,22", onlyRule(engine));
}

Finding generatedName(Lab& lab)
{
    const auto engine = engineOf(lab.create());
    must(add(engine, L"", NATProtocol::TCP, 2222));
    return equal(L"tcp_2222_22,1,127.0.0.1,2222,,22", onlyRule(engine));
}

Finding secondAnswers(Lab& lab, std::uint32_t expected, const wchar_t* name, ULONG protocol, USHORT port)
{
    const auto engine = engineOf(lab.create());
    must(add(engine, L"ssh", NATProtocol::TCP, 2222));
    return answers(expected, add(engine, name, protocol, port));
}

Finding sorted(Lab& lab)
{
    const auto engine = engineOf(lab.create());
    must(add(engine, L"web", NATProtocol::TCP, 8080));
    must(add(engine, L"ssh", NATProtocol::TCP, 2222));
    must(add(engine, L"adb", NATProtocol::TCP, 5555));
    const std::vector<std::wstring> found = rules(engine);
    return yes(found.size() == 3 && std::is_sorted(found.begin(), found.end()));
}

Finding removed(Lab& lab)
{
    const auto engine = engineOf(lab.create());
    must(add(engine, L"ssh", NATProtocol::TCP, 2222));
    must(engine->RemoveRedirect(Text(L"ssh")));
    return all({equal(0, static_cast<std::int64_t>(rules(engine).size())),
                answers(Result::InvalidArg, engine->RemoveRedirect(Text(L"ssh")))});
}

Finding comma(Lab& lab)
{
    return fails(add(engineOf(lab.create()), L"a,b", NATProtocol::TCP, 2222));
}

Finding rulesUnlocked(Lab& lab)
{
    return answers(Result::InvalidVMState, add(engineOf(lab.machine()), L"ssh", NATProtocol::TCP, 2222));
}

Finding rulesSaved(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    must(add(engineOf(lock.machine), L"ssh", NATProtocol::TCP, 2222));
    const std::size_t before = rules(engineOf(machine)).size();
    must(lock.machine->SaveSettings());
    return all(
        {equal(0, static_cast<std::int64_t>(before)), equal(L"ssh,1,127.0.0.1,2222,,22", onlyRule(engineOf(machine)))});
}

Finding everySlot(Lab& lab)
{
    const auto adapter = adapterOf(lab.create(), 7);
    return all({equal(7, read(adapter, &INetworkAdapter::get_Slot)),
                yes(object(adapter, &INetworkAdapter::get_NATEngine) != nullptr)});
}

Finding engineAlways(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    must(adapterOf(machine)->put_AttachmentType(NetworkAttachmentType::Null));
    return yes(engineOf(machine) != nullptr);
}

Finding natMacAddress(Lab& lab)
{
    const std::wstring mac = text(adapterOf(lab.create()), &INetworkAdapter::get_MACAddress);
    return says(mac.size() == 12 && mac.starts_with(L"080027"), "12 digits, 080027 in front", utf8(mac));
}

Finding macGenerated(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    const std::wstring before = text(adapterOf(machine), &INetworkAdapter::get_MACAddress);
    must(adapterOf(machine)->put_MACAddress(Text(L"")));
    const std::wstring after = text(adapterOf(machine), &INetworkAdapter::get_MACAddress);
    return all({equal(12, static_cast<std::int64_t>(after.size())), no(after == before)});
}

Finding macMalformed(Lab& lab)
{
    return answers(Result::InvalidArg, adapterOf(lab.create())->put_MACAddress(Text(L"08-00-27")));
}

Finding cable(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    const BOOL before = read(adapterOf(machine), &INetworkAdapter::get_CableConnected);
    must(adapterOf(machine)->put_CableConnected(FALSE));
    return all({yes(before != FALSE), no(read(adapterOf(machine), &INetworkAdapter::get_CableConnected) != FALSE)});
}

} // namespace

Subject natStatements()
{
    return {
        "nat",
        "Network and port forwarding",
        {
            {"nat.slots", "Every slot has an adapter, enabled or not.", Documented, everySlot},
            {"nat.engine", "Every adapter has a NAT engine, whatever it is attached to.", Documented, engineAlways},
            {"nat.mac", "A MAC address is 12 hexadecimal digits; VirtualBox's own begin with 080027.", Assumed,
             natMacAddress},
            {"nat.mac-empty", "An empty one is made up anew.", Assumed, macGenerated},
            {"nat.mac-malformed", "Another form gives `E_INVALIDARG`.", Assumed, macMalformed},
            {"nat.cable", "The cable is connected unless it is pulled.", Documented, cable},
            {"nat.form", "A rule reads `name,protocol,host address,host port,guest address,guest port`; TCP is 1.",
             Documented, form},
            {"nat.udp", "UDP is 0; empty addresses are empty fields.", Documented, datagrams},
            {"nat.empty-name", "An empty name is made from protocol and ports: `tcp_2222_22`.", Assumed, generatedName},
            {"nat.same-name", "A second rule of a name gives `E_INVALIDARG`.", Documented,
             [](Lab& lab) { return secondAnswers(lab, Result::InvalidArg, L"ssh", NATProtocol::TCP, 2223); }},
            {"nat.same-port", "So does a second rule for a protocol, host address and host port.", Assumed,
             [](Lab& lab) { return secondAnswers(lab, Result::InvalidArg, L"other", NATProtocol::TCP, 2222); }},
            {"nat.other-protocol", "The same port of the other protocol is free.", Assumed,
             [](Lab& lab) { return secondAnswers(lab, Result::Ok, L"other", NATProtocol::UDP, 2222); }},
            {"nat.comma", "A name with a comma is refused.", Assumed, comma},
            {"nat.sorted", "Rules come sorted by name.", Assumed, sorted},
            {"nat.remove", "A rule that was removed is gone; an unknown name gives `E_INVALIDARG`.", Documented,
             removed},
            {"nat.unlocked", "Without a lock there are no new rules: `VBOX_E_INVALID_VM_STATE`.", Documented,
             rulesUnlocked},
            {"nat.saved", "Others see a rule after `SaveSettings`.", Documented, rulesSaved},
        }};
}

} // namespace Probe
