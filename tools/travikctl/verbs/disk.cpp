// Disk images, alone and in a machine's controllers.

#include "core/context.h"
#include "core/names.h"
#include "core/verbs.h"

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
    Verbs::Group group = verbs.group("disk", "Disk images and where they are attached");
    using Options = std::shared_ptr<DiskOptions>;
    const auto add = [&group](const char* word, const char* description, void (*act)(Context&, const DiskOptions&)) {
        Options options = std::make_shared<DiskOptions>();
        Verb& verb = group.add(word, description, [options, act](Context& context) { act(context, *options); });
        return std::pair<Verb&, Options>(verb, options);
    };
    const auto addFile = [](Verb& verb, const Options& options) {
        verb.argument("FILE", &options->file, "Image file");
    };
    const auto addController = [](Verb& verb, const Options& options) {
        verb.argument("CONTROLLER", &options->controller, "Name of the storage controller, such as SATA");
    };
    const auto addPlace = [&](Verb& verb, const Options& options) {
        addController(verb, options);
        verb.option("--port", "N", &options->port, "Port of the controller (0)");
        verb.option("--device", "N", &options->device, "Device on the port (0)");
    };
    const auto addNewUuid = [](Verb& verb, const Options& options) {
        verb.flag("--new-uuid", options->newUuid, "Give the image a new UUID, for a copied one");
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
        verb.machine(options->machine);
        addFile(verb, options);
        addPlace(verb, options);
        addNewUuid(verb, options);
    }
    {
        const auto [verb, options] = add("detach", "Take an image off a machine", detach);
        verb.machine(options->machine);
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
        verb.withoutVirtualBox();
        addFile(verb, options);
        verb.argument("TARGET", &options->target, "New path; nothing is overwritten");
    }
    {
        const auto [verb, options] = add("ports", "How many ports a storage controller has", ports);
        verb.machine(options->machine);
        addController(verb, options);
    }
    {
        const auto [verb, options] = add("current", "The image at a place", current);
        verb.machine(options->machine);
        addPlace(verb, options);
    }
}
