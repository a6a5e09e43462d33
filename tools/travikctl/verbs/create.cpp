// Machines that come and go: name, create, register, clone, delete, import.

#include <set>

#include "core/context.h"
#include "core/names.h"
#include "core/verbs.h"
#include "settings.h"

using namespace Travik;

namespace {

Json identity(Context& context, VBoxHandle machine)
{
    return {{"name", context.text(&VBoxInstanceImpl::getVmName, machine)},
            {"uuid", context.text(&VBoxInstanceImpl::getVmUUID, machine)}};
}

void freeName(Context& context, const std::string& prefix)
{
    const std::wstring name = context.ask<std::wstring>(&VBoxInstanceImpl::createVmName, fromUtf8(prefix));
    context.out.fields(
        "free", {{"name", toUtf8(name)}, {"file", context.text(&VBoxInstanceImpl::composeMachineFilename, name)}});
}

void fileOf(Context& context, const std::string& name)
{
    context.out.value("file", context.text(&VBoxInstanceImpl::composeMachineFilename, fromUtf8(name)));
}

void create(Context& context, const std::string& name, const std::string& file, const Settings& settings)
{
    const std::wstring path = file.empty() ? std::wstring() : fullPath(file);
    const auto machine = context.ask<ScopedMachine>(&VBoxInstanceImpl::createMachine, path, fromUtf8(name));
    apply(context, machine, settings);
    context.check(context.vbox.saveSettings(machine));
    context.check(context.vbox.registerMachine(machine));
    context.out.done("Created " + name + ".", {{"created", identity(context, machine)}});
}

void registerFile(Context& context, const std::string& file)
{
    const auto machine = context.ask<ScopedMachine>(&VBoxInstanceImpl::openMachine, fullPath(file));
    context.check(context.vbox.registerMachine(machine));
    const Json facts = identity(context, machine);
    context.out.done("Registered " + plain(facts["name"]) + ".", {{"registered", facts}});
}

void clone(Context& context, const std::string& source, const std::string& name)
{
    const ScopedMachine original = context.machine(source);
    const auto copy = context.ask<ScopedMachine>(&VBoxInstanceImpl::createMachine, std::wstring(), fromUtf8(name));
    context.check(context.vbox.cloneToMachine(original, copy));
    context.check(context.vbox.registerMachine(copy));
    context.out.done("Cloned " + source + " to " + name + ".", {{"cloned", identity(context, copy)}});
}

void remove(Context& context, const std::string& which)
{
    const ScopedMachine machine = context.machine(which);
    // Of an inaccessible machine only the UUID can be read, and it can be removed all the same.
    const std::string uuid = context.text(&VBoxInstanceImpl::getVmUUID, machine);
    retryWhileLocked(
        context.vbox, Deadline(context.lockWait), [&] { return context.vbox.deleteMachine(machine); },
        context.onWait());
    context.out.done("Deleted " + which + " with its disks.", {{"deleted", {{"machine", which}, {"uuid", uuid}}}});
}

std::set<std::wstring> knownUuids(Context& context)
{
    std::set<std::wstring> uuids;
    for (const MachineEntry& entry : listMachines(context.vbox))
        uuids.insert(entry.uuid);
    return uuids;
}

void import(Context& context, const std::string& file)
{
    const std::set<std::wstring> before = knownUuids(context);
    context.check(context.vbox.importOva(fullPath(file)));
    // The library hands no machine out: what is new in the list came from the appliance.
    Json machines = Json::array();
    for (const MachineEntry& entry : listMachines(context.vbox)) {
        if (!before.contains(entry.uuid))
            machines.push_back({{"name", toUtf8(entry.name)}, {"uuid", toUtf8(entry.uuid)}});
    }
    context.out.table("imported", {"name", "uuid"}, machines);
}

void importName(Context& context, const std::string& file)
{
    context.out.value("name", context.text(&VBoxInstanceImpl::getImportOvaVmName, fullPath(file)));
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
        .excludes("PREFIX");
}

void addCreateVerb(Verbs& verbs)
{
    struct Options
    {
        std::string name, file;
        Settings settings;
    };
    auto options = std::make_shared<Options>();
    addSettings(
        verbs
            .add("create", "Create a machine and register it",
                 [options](Context& context) { create(context, options->name, options->file, options->settings); })
            .argument("NAME", &options->name, "Name of the new machine")
            .option("--file", "FILE", &options->file, "Settings file in place of the usual one"),
        options->settings);
}

void addRegisterVerb(Verbs& verbs)
{
    auto file = std::make_shared<std::string>();
    verbs
        .add("register", "Register the machine of a settings file",
             [file](Context& context) { registerFile(context, *file); })
        .argument("FILE", &*file, "Settings file");
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
        .machine(options->source)
        .argument("NAME", &options->name, "Name of the copy");
}

void addDeleteVerb(Verbs& verbs)
{
    struct Options
    {
        std::string machine;
        bool sure = false;
    };
    auto options = std::make_shared<Options>();
    verbs
        .add("delete", "Unregister a machine and delete its settings and hard disks",
             [options](Context& context) { remove(context, options->machine); })
        .waitingLong()
        .machine(options->machine)
        .flag("--yes", options->sure, "Confirms that the disks are to be deleted too")
        .required();
}

void addImportVerb(Verbs& verbs)
{
    struct Options
    {
        std::string file;
        bool nameOnly = false;
    };
    auto options = std::make_shared<Options>();
    verbs
        .add("import", "Import an appliance (.ova, .ovf), its disks as VDI",
             [options](Context& context) {
                 options->nameOnly ? importName(context, options->file) : import(context, options->file);
             })
        .waitingLong()
        .argument("FILE", &options->file, "Appliance file")
        .flag("--name-only", options->nameOnly, "Import nothing, tell the machine name that an import would give");
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
