// set and get.

#include "settings.h"

#include "core/context.h"
#include "core/names.h"
#include "core/verbs.h"

using namespace Travik;

namespace {

bool isEmpty(const Settings& settings)
{
    return !settings.cpus && !settings.memory && !settings.paravirt && settings.extra.empty();
}

struct SetOptions
{
    std::string machine;
    std::optional<std::string> name;
    Settings settings;
};

void set(Context& context, const SetOptions& options)
{
    if (!options.name && isEmpty(options.settings))
        throw CommandError(ExitCode::Usage, "nothing to change",
                           "Name at least one setting; see 'travikctl set --help'.");
    context.edit(options.machine, LockType::Write, [&](VBoxHandle machine) {
        apply(context, machine, options.settings);
        if (options.name)
            context.check(context.vbox.setVmName(machine, fromUtf8(*options.name)));
    });
    context.out.done("Changed " + options.machine + ".", {{"changed", options.machine}});
}

void get(Context& context, const std::string& which, const std::string& what,
         const std::optional<std::string>& extraKey)
{
    const ScopedMachine machine = context.machine(which);
    if (extraKey) {
        context.out.value("value", context.text(&VBoxInstanceImpl::getMachineExtraData, machine, fromUtf8(*extraKey)));
    } else if (what == "name") {
        context.out.value("name", context.text(&VBoxInstanceImpl::getVmName, machine));
    } else if (what == "uuid") {
        context.out.value("uuid", context.text(&VBoxInstanceImpl::getVmUUID, machine));
    } else {
        const auto state = context.ask<std::uint32_t>(&VBoxInstanceImpl::machineGetState, machine);
        context.out.value("state", machineStateName(state));
    }
}

} // namespace

void addSettings(Verb& verb, Settings& settings)
{
    verb.option("--cpus", "N", &settings.cpus, "Number of processors")
        .option("--memory", "MEGABYTES", &settings.memory, "Memory size")
        .option("--paravirt", "PROVIDER", &settings.paravirt,
                "Paravirtualisation: none, default, legacy, minimal, hyperv, kvm")
        .choices({{"none", ParavirtProvider::Null},
                  {"default", ParavirtProvider::Default},
                  {"legacy", ParavirtProvider::Legacy},
                  {"minimal", ParavirtProvider::Minimal},
                  {"hyperv", ParavirtProvider::HyperV},
                  {"kvm", ParavirtProvider::KVM}})
        .option("--extra", "KEY=VALUE", &settings.extra,
                "Extra data, as often as needed; an empty value deletes the key")
        .checked([](const std::string& entry) {
            return entry.find('=') == std::string::npos || entry.front() == '=' ? "KEY=VALUE is needed" : "";
        });
}

void apply(const Context& context, VBoxHandle machine, const Settings& settings)
{
    VBoxInstanceImpl& vbox = context.vbox;
    if (settings.cpus)
        context.check(vbox.setMachineCPUCount(machine, *settings.cpus));
    if (settings.memory)
        context.check(vbox.setMachineMemory(machine, *settings.memory));
    if (settings.paravirt)
        context.check(vbox.setMachineParavirtProvider(machine, *settings.paravirt));
    for (const std::string& entry : settings.extra) {
        const std::size_t split = entry.find('=');
        context.check(
            vbox.setMachineExtraData(machine, fromUtf8(entry.substr(0, split)), fromUtf8(entry.substr(split + 1))));
    }
}

void addSettingsVerbs(Verbs& verbs)
{
    auto change = std::make_shared<SetOptions>();
    addSettings(verbs.add("set", "Change a machine that is off", [change](Context& context) { set(context, *change); })
                    .machine(change->machine)
                    .option("--name", "TEXT", &change->name, "New name; renames the machine's files too"),
                change->settings);

    struct GetOptions
    {
        std::string machine, what = "state";
        std::optional<std::string> extraKey;
    };
    auto query = std::make_shared<GetOptions>();
    verbs
        .add("get", "One value of a machine, alone on a line (the interface reads back no processors and memory)",
             [query](Context& context) { get(context, query->machine, query->what, query->extraKey); })
        .machine(query->machine)
        .argument("WHAT", &query->what, "name, uuid or state (default)")
        .optional()
        .words({"name", "uuid", "state"})
        .option("--extra", "KEY", &query->extraKey, "The extra data under this key")
        .excludes("WHAT");
}
