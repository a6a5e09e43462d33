// Port forwarding.

#include "verbs.h"

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

ScopedNATEngine engineOf(const Context& context, VBoxHandle machine, std::uint32_t slot)
{
    const auto adapter = context.ask<ScopedNetworkAdapter>(&VBoxInstanceImpl::getNetworkAdapter, machine, slot);
    return context.ask<ScopedNATEngine>(&VBoxInstanceImpl::getNATEngine, adapter);
}

void add(Context& context, const NatOptions& options)
{
    context.edit(options.machine, LockType::Shared, [&](VBoxHandle machine) {
        const ScopedNATEngine engine = engineOf(context, machine, options.adapter);
        context.check(context.vbox.addRedirect(engine, fromUtf8(options.name), options.protocol,
                                               fromUtf8(options.hostAddress), options.hostPort,
                                               fromUtf8(options.guestAddress), options.guestPort));
    });
    context.out.done("Forwards host port " + std::to_string(options.hostPort) + " to guest port " +
                         std::to_string(options.guestPort) + ".",
                     {{"added", options.name}});
}

void remove(Context& context, const NatOptions& options)
{
    context.edit(options.machine, LockType::Shared, [&](VBoxHandle machine) {
        const ScopedNATEngine engine = engineOf(context, machine, options.adapter);
        context.check(context.vbox.removeRedirect(engine, fromUtf8(options.name)));
    });
    context.out.done("Removed " + options.name + ".", {{"removed", options.name}});
}

/// "ssh,1,127.0.0.1,2222,,22" as an object.
Json ruleOf(const std::wstring& text)
{
    std::vector<std::string> parts{""};
    for (char character : toUtf8(text)) {
        if (character == ',')
            parts.emplace_back();
        else
            parts.back() += character;
    }
    parts.resize(6);
    return {{"name", parts[0]},         {"protocol", parts[1] == "1" ? "tcp" : "udp"},
            {"hostAddress", parts[2]},  {"hostPort", parts[3]},
            {"guestAddress", parts[4]}, {"guestPort", parts[5]}};
}

void listRules(Context& context, const NatOptions& options)
{
    const ScopedMachine machine = context.machine(options.machine);
    const ScopedNATEngine engine = engineOf(context, machine, options.adapter);
    Json rows = Json::array();
    for (const std::wstring& rule : context.ask<std::list<std::wstring>>(&VBoxInstanceImpl::getRedirects, engine))
        rows.push_back(ruleOf(rule));
    context.out.table("rules", {"name", "protocol", "hostAddress", "hostPort", "guestAddress", "guestPort"}, rows);
    context.out.note(
        "The interface never hands over the last rule of an adapter, so one more rule may exist. To see all, "
        "add a rule that comes last (VirtualBox sorts by name: 'nat add MACHINE ~last --host-port 65535 "
        "--guest-port 65535'), list, and remove it.");
}

} // namespace

void addNatVerbs(Verbs& verbs)
{
    CLI::App& group = verbs.group("nat", "Port forwarding of a machine's network adapter in NAT mode");
    const auto common = [](CLI::App& verb, NatOptions& options) {
        addMachine(verb, options.machine);
        verb.add_option("--adapter", options.adapter, "Network adapter, the first is 0 (default)")->type_name("N");
    };

    auto added = std::make_shared<NatOptions>();
    CLI::App& addVerb = verbs.add(group, "add", "Forward a host port to the guest",
                                  [added](Context& context) { add(context, *added); });
    common(addVerb, *added);
    addArgument(addVerb, "NAME", added->name, "Name of the rule");
    const std::map<std::string, std::uint32_t> protocols{{"udp", NATProtocol::UDP}, {"tcp", NATProtocol::TCP}};
    addVerb.add_option("--protocol", added->protocol, "tcp (default) or udp")
        ->type_name("PROTOCOL")
        ->transform(CLI::CheckedTransformer(protocols, CLI::ignore_case).description(""));
    addVerb.add_option("--host-port", added->hostPort, "Port of the host")
        ->type_name("PORT")
        ->required()
        ->check(CLI::Range(1, 65535).description(""));
    addVerb.add_option("--guest-port", added->guestPort, "Port of the guest")
        ->type_name("PORT")
        ->required()
        ->check(CLI::Range(1, 65535).description(""));
    addVerb.add_option("--host-address", added->hostAddress, "Address of the host; every one by default");
    addVerb.add_option("--guest-address", added->guestAddress, "Address of the guest; the one it was given by default");

    auto removed = std::make_shared<NatOptions>();
    CLI::App& removeVerb =
        verbs.add(group, "remove", "Remove a rule", [removed](Context& context) { remove(context, *removed); });
    common(removeVerb, *removed);
    addArgument(removeVerb, "NAME", removed->name, "Name of the rule");

    auto listed = std::make_shared<NatOptions>();
    CLI::App& listVerb = verbs.add(group, "list", "The rules, all but the last one",
                                   [listed](Context& context) { listRules(context, *listed); });
    common(listVerb, *listed);
}
