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
    context.edit(options.machine, Lock::Write, [&](const ScopedMachine& machine) {
        apply(context.vbox, machine, options.settings);
        if (options.name)
            context.vbox.setVmName(machine, fromUtf8(*options.name));
    });
    context.out.done("Changed " + options.machine + ".", {{"machine", options.machine}});
}

void get(Context& context, const std::string& which, const std::string& what,
         const std::optional<std::string>& extraKey)
{
    const ScopedMachine machine = context.machine(which);
    const auto answer = [&](const std::string& text, const Json& value) {
        context.out.answer(text, {{"what", extraKey ? "extra" : what}, {"value", value}});
    };
    const auto answerText = [&](const std::wstring& text) { answer(toUtf8(text), toUtf8(text)); };
    if (extraKey) {
        answerText(context.vbox.getMachineExtraData(machine, fromUtf8(*extraKey)));
    } else if (what == "name") {
        answerText(context.vbox.getVmName(machine));
    } else if (what == "uuid") {
        answerText(context.vbox.getVmUUID(machine));
    } else {
        const State state = context.vbox.machineGetState(machine);
        answer(stateText(state), stateFacts(state)["state"]);
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

void apply(const Operations& vbox, const ScopedMachine& machine, const Settings& settings)
{
    if (settings.cpus)
        vbox.setMachineCPUCount(machine, *settings.cpus);
    if (settings.memory)
        vbox.setMachineMemory(machine, *settings.memory);
    if (settings.paravirt)
        vbox.setMachineParavirtProvider(machine, Paravirtualisation(*settings.paravirt));
    for (const std::string& entry : settings.extra) {
        const std::size_t split = entry.find('=');
        vbox.setMachineExtraData(machine, fromUtf8(entry.substr(0, split)), fromUtf8(entry.substr(split + 1)));
    }
}

void addSettingsVerbs(Verbs& verbs)
{
    auto change = std::make_shared<SetOptions>();
    addSettings(verbs.add("set", "Change a machine that is off", [change](Context& context) { set(context, *change); })
                    .machine(change->machine)
                    .option("--name", "TEXT", &change->name, "New name; renames the machine's files too")
                    .example("set Player --cpus 4 --memory 4096")
                    .example("set Player --extra ctl/owner=Kengo"),
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
        .excludes("WHAT")
        .example("get Player uuid")
        .example("get Player --extra ctl/owner");
}
