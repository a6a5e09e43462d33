// Machines that come and go: name, create, register, clone, delete, import.

#include <set>

#include "core/context.h"
#include "core/names.h"
#include "core/verbs.h"
#include "settings.h"

using namespace Travik;

namespace {

Json identity(const Context& context, const ScopedMachine& machine)
{
    return {{"name", toUtf8(context.vbox.getVmName(machine))}, {"uuid", toUtf8(context.vbox.getVmUUID(machine))}};
}

void freeName(Context& context, const std::string& prefix)
{
    const std::wstring name = context.vbox.createVmName(fromUtf8(prefix));
    context.out.fields("free", {{"name", toUtf8(name)}, {"file", toUtf8(context.vbox.composeMachineFilename(name))}});
}

void fileOf(Context& context, const std::string& name)
{
    const std::string file = toUtf8(context.vbox.composeMachineFilename(fromUtf8(name)));
    context.out.answer(file, {{"free", {{"name", nullptr}, {"file", file}}}});
}

/// The machine of a settings file. VirtualBox opens only those that it does not have already.
ScopedMachine machineOf(const Operations& vbox, const std::wstring& file)
{
    try {
        return vbox.findMachine(file);
    } catch (const SdkError&) {
        return vbox.openMachine(file);
    }
}

struct CreateOptions
{
    std::string name, file, from;
    Settings settings;
};

void create(Context& context, const CreateOptions& options)
{
    const Operations& vbox = context.vbox;
    const std::wstring file = options.file.empty() ? std::wstring() : fullPath(options.file);
    // Another machine's file is read before anything is made.
    const ScopedMachine model = options.from.empty() ? ScopedMachine() : machineOf(vbox, fullPath(options.from));
    const ScopedMachine machine = vbox.createMachine(file, fromUtf8(options.name));
    if (model)
        vbox.cloneToMachine(model, machine);
    apply(vbox, machine, options.settings);
    vbox.saveSettings(machine);
    vbox.registerMachine(machine);
    context.out.done("Created " + options.name + ".", {{"machine", identity(context, machine)}});
}

void registerFile(Context& context, const std::string& file)
{
    const ScopedMachine machine = context.vbox.openMachine(fullPath(file));
    context.vbox.registerMachine(machine);
    const Json facts = identity(context, machine);
    context.out.done("Registered " + plain(facts["name"]) + ".", {{"machine", facts}});
}

void clone(Context& context, const std::string& source, const std::string& name)
{
    const ScopedMachine original = context.machine(source);
    const ScopedMachine copy = context.vbox.createMachine(L"", fromUtf8(name));
    context.vbox.cloneToMachine(original, copy);
    context.vbox.registerMachine(copy);
    context.out.done("Cloned " + source + " to " + name + ".", {{"machine", identity(context, copy)}});
}

void remove(Context& context, const std::vector<std::string>& machines)
{
    context.forEach("machine", machines, [&](const std::string& which) -> Json {
        const ScopedMachine machine = context.machine(which);
        // Of an inaccessible machine only the UUID can be read, and it can be removed all the same.
        const std::string uuid = toUtf8(context.vbox.getVmUUID(machine));
        deleteMachine(context.vbox, machine, context.lockDeadline(), context.onWait());
        context.out.done("Deleted " + which + " with its disks.", Json::object());
        return {{"uuid", uuid}};
    });
}

std::set<std::wstring> knownUuids(const Context& context)
{
    std::set<std::wstring> uuids;
    for (const MachineEntry& entry : listMachines(context.vbox))
        uuids.insert(entry.uuid);
    return uuids;
}

/// The library hands no machine out: what is new in the list came from the appliance.
Json import(const Context& context, const std::string& file)
{
    const std::set<std::wstring> before = knownUuids(context);
    context.vbox.importOva(fullPath(file));
    Json machines = Json::array();
    for (const MachineEntry& entry : listMachines(context.vbox)) {
        if (before.contains(entry.uuid))
            continue;
        machines.push_back({{"name", toUtf8(entry.name)}, {"uuid", toUtf8(entry.uuid)}});
        context.out.done("Imported " + toUtf8(entry.name) + " (" + toUtf8(entry.uuid) + ").", Json::object());
    }
    return {{"machines", machines}};
}

Json importName(const Context& context, const std::string& file)
{
    const std::string name = toUtf8(context.vbox.getImportOvaVmName(fullPath(file)));
    context.out.answer(name, Json::object());
    return {{"machines", {{{"name", name}, {"uuid", nullptr}}}}};
}

void addNameVerb(Verbs& verbs)
{
    struct Options
    {
        std::string prefix;
        std::optional<std::string> fileOf;
    };
    auto options = std::make_shared<Options>();
    verbs
        .add("name", "A free machine name: PREFIX_1 to PREFIX_99",
             [options](Context& context) {
                 options->fileOf ? fileOf(context, *options->fileOf) : freeName(context, options->prefix);
             })
        .argument("PREFIX", &options->prefix, "Beginning of the name")
        .optional()
        .option("--file", "NAME", &options->fileOf,
                "Only tell where the settings file of a machine of this name would be")
        .excludes("PREFIX")
        .example("name Player")
        .example("name --file Player");
}

void addCreateVerb(Verbs& verbs)
{
    auto options = std::make_shared<CreateOptions>();
    addSettings(verbs
                    .add("create", "Create a machine and register it",
                         [options](Context& context) { create(context, *options); })
                    .waitingLong()
                    .failingInTheLog()
                    .argument("NAME", &options->name, "Name of the new machine")
                    .option("--file", "FILE", &options->file, "Settings file in place of the usual one")
                    .option("--from", "SETTINGS", &options->from,
                            "Settings file of a machine to begin with: controllers, adapters, and copies of its disks")
                    .example("create Player --cpus 4 --memory 4096")
                    .example("create Player --from D:\\models\\android.vbox"),
                options->settings);
}

void addRegisterVerb(Verbs& verbs)
{
    auto file = std::make_shared<std::string>();
    verbs
        .add("register", "Register the machine of a settings file",
             [file](Context& context) { registerFile(context, *file); })
        .argument("FILE", &*file, "Settings file")
        .example("register D:\\Machines\\Player\\Player.vbox");
}

void addCloneVerb(Verbs& verbs)
{
    struct Options
    {
        std::string source, name;
    };
    auto options = std::make_shared<Options>();
    verbs
        .add("clone", "Copy a machine with its disks and all its states, and register the copy",
             [options](Context& context) { clone(context, options->source, options->name); })
        .waitingLong()
        .failingInTheLog()
        .machine(options->source)
        .argument("NAME", &options->name, "Name of the copy")
        .example("clone Player \"Player for tests\"");
}

void addDeleteVerb(Verbs& verbs)
{
    struct Options
    {
        std::vector<std::string> machines;
        bool sure = false;
    };
    auto options = std::make_shared<Options>();
    verbs
        .add("delete", "Unregister machines and delete their settings and hard disks",
             [options](Context& context) { remove(context, options->machines); })
        .waitingLong()
        .failingInTheLog()
        .machines(options->machines)
        .flag("--yes", options->sure, "Confirms that the disks are to be deleted too")
        .required()
        .example("delete Player --yes");
}

void addImportVerb(Verbs& verbs)
{
    struct Options
    {
        std::vector<std::string> files;
        bool nameOnly = false;
    };
    auto options = std::make_shared<Options>();
    verbs
        .add("import", "Import appliances (.ova, .ovf), their disks as VDI",
             [options](Context& context) {
                 context.forEach("file", options->files, [&](const std::string& file) {
                     return options->nameOnly ? importName(context, file) : import(context, file);
                 });
             })
        .waitingLong()
        .failingInTheLog()
        .argument("FILE", &options->files, "Appliance files")
        .flag("--name-only", options->nameOnly, "Import nothing, tell the machine name that an import would give")
        .example("import player.ova worker.ova");
}

} // namespace

void addCreateVerbs(Verbs& verbs)
{
    addNameVerb(verbs);
    addCreateVerb(verbs);
    addRegisterVerb(verbs);
    addCloneVerb(verbs);
    addDeleteVerb(verbs);
    addImportVerb(verbs);
}
