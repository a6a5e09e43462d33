// Port forwarding.

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

ScopedNATEngine engineOf(const Context& context, VBoxHandle machine, std::uint32_t slot)
{
    const auto adapter = context.ask<ScopedNetworkAdapter>(&VBoxInstanceImpl::getNetworkAdapter, machine, slot);
    return context.ask<ScopedNATEngine>(&VBoxInstanceImpl::getNATEngine, adapter);
}

void addRule(Context& context, const NatOptions& options)
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

void removeRule(Context& context, const NatOptions& options)
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
        .option("--host-address", "TEXT", &added->hostAddress, "Address of the host; every one by default")
        .option("--guest-address", "TEXT", &added->guestAddress,
                "Address of the guest; the one it was given by default");

    const auto [removing, removed] = add("remove", "Remove a rule", removeRule);
    removing.argument("NAME", &removed->name, "Name of the rule");

    add("list", "The rules, all but the last one", listRules);
}
