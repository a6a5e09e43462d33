// Port forwarding.

#include <algorithm>

#include "core/context.h"
#include "core/verbs.h"

using namespace Travik;

namespace {

struct NatOptions
{
    std::string machine, name;
    std::uint32_t adapter = 0;
    std::uint32_t protocol = NATProtocol::TCP;
    std::string hostAddress, guestAddress;
    std::uint32_t hostPort = 0, guestPort = 0;
};

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts{""};
    for (const char character : text) {
        if (character == separator)
            parts.emplace_back();
        else
            parts.back() += character;
    }
    return parts;
}

ScopedNATEngine engineOf(const Context& context, const ScopedMachine& machine, std::uint32_t slot)
{
    return context.vbox.getNATEngine(context.vbox.getNetworkAdapter(machine, slot));
}

void addRule(Context& context, const NatOptions& options)
{
    context.edit(options.machine, Lock::Shared, [&](const ScopedMachine& machine) {
        context.vbox.addRedirect(engineOf(context, machine, options.adapter), fromUtf8(options.name),
                                 Protocol(options.protocol), fromUtf8(options.hostAddress), options.hostPort,
                                 fromUtf8(options.guestAddress), options.guestPort);
    });
    context.out.done("Forwards host port " + std::to_string(options.hostPort) + " to guest port " +
                         std::to_string(options.guestPort) + ".",
                     {{"machine", options.machine}, {"rule", options.name}});
}

void removeRule(Context& context, const NatOptions& options)
{
    context.edit(options.machine, Lock::Shared, [&](const ScopedMachine& machine) {
        context.vbox.removeRedirect(engineOf(context, machine, options.adapter), fromUtf8(options.name));
    });
    context.out.done("Removed " + options.name + ".", {{"machine", options.machine}, {"rule", options.name}});
}

/// "ssh,1,127.0.0.1,2222,,22" as an object.
Json ruleOf(const std::wstring& text)
{
    std::vector<std::string> parts = split(toUtf8(text), ',');
    parts.resize(6);
    const auto port = [](const std::string& digits) { return std::strtoul(digits.c_str(), nullptr, 10); };
    return {{"name", parts[0]},         {"protocol", parts[1] == "1" ? "tcp" : "udp"},
            {"hostAddress", parts[2]},  {"hostPort", port(parts[3])},
            {"guestAddress", parts[4]}, {"guestPort", port(parts[5])}};
}

void listRules(Context& context, const NatOptions& options)
{
    const ScopedMachine machine = context.machine(options.machine);
    Json rows = Json::array();
    for (const std::wstring& rule : context.vbox.getRedirects(engineOf(context, machine, options.adapter)))
        rows.push_back(ruleOf(rule));
    context.out.table("rules", {"name", "protocol", "hostAddress", "hostPort", "guestAddress", "guestPort"}, rows);
    context.out.note(
        "The interface never hands over the last rule of an adapter, so one more rule may exist. To see all, "
        "add a rule that comes last (VirtualBox sorts by name: 'nat add MACHINE ~last --host-port 65535 "
        "--guest-port 65535'), list, and remove it.");
}

bool isOctet(const std::string& part)
{
    return !part.empty() && part.size() <= 3 && part.find_first_not_of("0123456789") == std::string::npos &&
           std::stoi(part) <= 255;
}

/// VirtualBox takes such an address for none, and forwards from everywhere.
std::string problemOfAddress(const std::string& address)
{
    const std::vector<std::string> parts = split(address, '.');
    const bool good = parts.size() == 4 && std::all_of(parts.begin(), parts.end(), isOctet);
    return good || address.empty() ? "" : "'" + address + "' is not an IPv4 address such as 127.0.0.1";
}

} // namespace

void addNatVerbs(Verbs& verbs)
{
    Verbs::Group group = verbs.group("nat", "Port forwarding of a machine's network adapter in NAT mode");
    const auto add = [&group](const char* word, const char* description, void (*act)(Context&, const NatOptions&)) {
        auto options = std::make_shared<NatOptions>();
        Verb& verb = group.add(word, description, [options, act](Context& context) { act(context, *options); });
        verb.machine(options->machine)
            .option("--adapter", "N", &options->adapter, "Network adapter, the first is 0 (default)");
        return std::pair<Verb&, std::shared_ptr<NatOptions>>(verb, options);
    };

    const auto [adding, added] = add("add", "Forward a host port to the guest", addRule);
    adding.argument("NAME", &added->name, "Name of the rule")
        .option("--protocol", "PROTOCOL", &added->protocol, "tcp (default) or udp")
        .choices({{"udp", NATProtocol::UDP}, {"tcp", NATProtocol::TCP}})
        .option("--host-port", "PORT", &added->hostPort, "Port of the host")
        .required()
        .between(1, 65535)
        .option("--guest-port", "PORT", &added->guestPort, "Port of the guest")
        .required()
        .between(1, 65535)
        .option("--host-address", "ADDRESS", &added->hostAddress, "IPv4 address of the host; every one by default")
        .checked(problemOfAddress)
        .option("--guest-address", "ADDRESS", &added->guestAddress,
                "IPv4 address of the guest; the one it was given by default")
        .checked(problemOfAddress)
        .example("nat add Player adb --host-address 127.0.0.1 --host-port 5555 --guest-port 5555");

    const auto [removing, removed] = add("remove", "Remove a rule", removeRule);
    removing.argument("NAME", &removed->name, "Name of the rule").example("nat remove Player adb");

    add("list", "The rules, all but the last one", listRules).first.example("nat list Player");
}
