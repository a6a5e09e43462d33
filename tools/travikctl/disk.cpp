// Disk images, alone and in a machine's controllers.

#include "names.h"
#include "verbs.h"

using namespace Travik;

namespace {

struct DiskOptions
{
    std::string file, target, machine, controller;
    std::int32_t port = 0, device = 0;
    bool newUuid = false;
};

ScopedMedium open(const Context& context, const std::string& file, bool newUuid = false)
{
    return context.ask<ScopedMedium>(&VBoxInstanceImpl::openMedium, fullPath(file), newUuid);
}

void print(Context& context, VBoxHandle medium)
{
    const auto state = context.ask<std::uint32_t>(&VBoxInstanceImpl::getMediumState, medium);
    Json facts{{"location", context.text(&VBoxInstanceImpl::getMediumLocation, medium)},
               {"uuid", context.text(&VBoxInstanceImpl::getMediumUUID, medium)},
               {"state", mediumStateName(state)}};
    if (const std::string problem = context.text(&VBoxInstanceImpl::getMediumLastAccessError, medium); !problem.empty())
        facts["problem"] = problem;
    context.out.fields("disk", facts);
}

void openAndPrint(Context& context, const DiskOptions& options)
{
    print(context, open(context, options.file, options.newUuid));
}

void attach(Context& context, const DiskOptions& options)
{
    const ScopedMedium medium = open(context, options.file, options.newUuid);
    context.edit(options.machine, LockType::Write, [&](VBoxHandle machine) {
        context.check(
            context.vbox.attachMedium(machine, medium, fromUtf8(options.controller), options.port, options.device));
    });
    context.out.done("Attached " + options.file + " to " + options.machine + ".", {{"attached", options.file}});
}

void detach(Context& context, const DiskOptions& options)
{
    context.edit(options.machine, LockType::Write, [&](VBoxHandle machine) {
        context.check(context.vbox.detachMedium(machine, fromUtf8(options.controller), options.port, options.device));
    });
    context.out.done(
        "Detached the disk.",
        {{"detached", {{"controller", options.controller}, {"port", options.port}, {"device", options.device}}}});
}

void close(Context& context, const DiskOptions& options)
{
    context.check(context.vbox.closeMedium(open(context, options.file)));
    context.out.done("VirtualBox has forgotten " + options.file + ".", {{"closed", options.file}});
}

void remove(Context& context, const DiskOptions& options)
{
    // VirtualBox refuses to close an image that a machine uses, whereas the removal below only looks at the file.
    context.check(context.vbox.closeMedium(open(context, options.file)));
    // A closed medium no longer tells its place: the removal needs a fresh one, which is then closed in its turn.
    const ScopedMedium medium = open(context, options.file);
    context.check(context.vbox.deleteMedium(medium));
    context.check(context.vbox.closeMedium(medium));
    context.out.done("Deleted " + options.file + ".", {{"deleted", options.file}});
}

void rename(Context& context, const DiskOptions& options)
{
    context.check(context.vbox.renameVmDisk(fullPath(options.file), fullPath(options.target)));
    context.out.done("Renamed " + options.file + " to " + options.target + ".",
                     {{"renamed", {{"from", options.file}, {"to", options.target}}}});
}

void ports(Context& context, const DiskOptions& options)
{
    const ScopedMachine machine = context.machine(options.machine);
    context.out.value("ports", context.ask<std::uint32_t>(&VBoxInstanceImpl::getMachineStorageControllerPortCount,
                                                          machine, fromUtf8(options.controller)));
}

void current(Context& context, const DiskOptions& options)
{
    const ScopedMachine machine = context.machine(options.machine);
    const auto medium = context.ask<ScopedMedium>(&VBoxInstanceImpl::getCurrentMedium, machine,
                                                  fromUtf8(options.controller), options.port, options.device);
    if (medium == 0)
        throw CommandError(ExitCode::NotFound, "the drive is empty", "Other places have other --port and --device.");
    print(context, medium);
}

} // namespace

void addDiskVerbs(Verbs& verbs)
{
    CLI::App& group = verbs.group("disk", "Disk images and where they are attached");
    using Options = std::shared_ptr<DiskOptions>;
    const auto add = [&](const char* name, const char* description, void (*action)(Context&, const DiskOptions&)) {
        Options options = std::make_shared<DiskOptions>();
        CLI::App& verb =
            verbs.add(group, name, description, [options, action](Context& context) { action(context, *options); });
        return std::pair<CLI::App&, Options>(verb, options);
    };
    const auto addFile = [](CLI::App& verb, const Options& options) {
        addArgument(verb, "FILE", options->file, "Image file");
    };
    const auto addController = [](CLI::App& verb, const Options& options) {
        addArgument(verb, "CONTROLLER", options->controller, "Name of the storage controller, such as SATA");
    };
    const auto addPlace = [&](CLI::App& verb, const Options& options) {
        addController(verb, options);
        verb.add_option("--port", options->port, "Port of the controller (0)")->type_name("N");
        verb.add_option("--device", options->device, "Device on the port (0)")->type_name("N");
    };
    const auto addNewUuid = [](CLI::App& verb, const Options& options) {
        verb.add_flag("--new-uuid", options->newUuid, "Give the image a new UUID, for a copied one");
    };

    {
        const auto [verb, options] = add("open", "Make an image known to VirtualBox and describe it", openAndPrint);
        addFile(verb, options);
        addNewUuid(verb, options);
    }
    {
        const auto [verb, options] = add("info", "An image's place, UUID and state", openAndPrint);
        addFile(verb, options);
    }
    {
        const auto [verb, options] = add("attach", "Attach an image to a machine, as a solid-state disk", attach);
        addMachine(verb, options->machine);
        addFile(verb, options);
        addPlace(verb, options);
        addNewUuid(verb, options);
    }
    {
        const auto [verb, options] = add("detach", "Take an image off a machine", detach);
        addMachine(verb, options->machine);
        addPlace(verb, options);
    }
    {
        const auto [verb, options] = add("close", "Make VirtualBox forget an image; the file stays", close);
        addFile(verb, options);
    }
    {
        const auto [verb, options] = add("delete", "Delete an image that no machine uses", remove);
        addFile(verb, options);
    }
    {
        const auto [verb, options] = add("rename", "Move an image file; detach and close it before", rename);
        verbs.withoutVirtualBox();
        addFile(verb, options);
        addArgument(verb, "TARGET", options->target, "New path; nothing is overwritten");
    }
    {
        const auto [verb, options] = add("ports", "How many ports a storage controller has", ports);
        addMachine(verb, options->machine);
        addController(verb, options);
    }
    {
        const auto [verb, options] = add("current", "The image at a place", current);
        addMachine(verb, options->machine);
        addPlace(verb, options);
    }
}
