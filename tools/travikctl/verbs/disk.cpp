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
    bool newUuid = false, sure = false;
};

ScopedMedium open(const Context& context, const std::string& file, bool newUuid = false)
{
    return context.vbox.openMedium(fullPath(file), newUuid);
}

void print(Context& context, const ScopedMedium& medium)
{
    const ImageState state = context.vbox.getMediumState(medium);
    Json facts{{"location", toUtf8(context.vbox.getMediumLocation(medium))},
               {"uuid", toUtf8(context.vbox.getMediumUUID(medium))}};
    facts.update(stateFacts(state));
    if (const std::wstring problem = context.vbox.getMediumLastAccessError(medium); !problem.empty())
        facts["problem"] = toUtf8(problem);
    context.out.fields("disk", facts);
}

Json placeOf(const DiskOptions& options)
{
    return {{"machine", options.machine},
            {"controller", options.controller},
            {"port", options.port},
            {"device", options.device}};
}

void openAndPrint(Context& context, const DiskOptions& options)
{
    print(context, open(context, options.file, options.newUuid));
}

void attach(Context& context, const DiskOptions& options)
{
    const ScopedMedium medium = open(context, options.file, options.newUuid);
    context.edit(options.machine, Lock::Write, [&](const ScopedMachine& machine) {
        context.vbox.attachMedium(machine, medium, fromUtf8(options.controller), options.port, options.device);
    });
    context.out.done("Attached " + options.file + " to " + options.machine + ".",
                     {{"file", options.file}, {"place", placeOf(options)}});
}

void detach(Context& context, const DiskOptions& options)
{
    context.edit(options.machine, Lock::Write, [&](const ScopedMachine& machine) {
        context.vbox.detachMedium(machine, fromUtf8(options.controller), options.port, options.device);
    });
    context.out.done("Detached the disk.", {{"place", placeOf(options)}});
}

void close(Context& context, const DiskOptions& options)
{
    context.vbox.closeMedium(open(context, options.file));
    context.out.done("VirtualBox has forgotten " + options.file + ".", {{"file", options.file}});
}

void remove(Context& context, const DiskOptions& options)
{
    // VirtualBox refuses to close an image that a machine uses, whereas the removal below only looks at the file.
    context.vbox.closeMedium(open(context, options.file));
    // A closed medium no longer tells its place: the removal needs a fresh one, which is then closed in its turn.
    const ScopedMedium medium = open(context, options.file);
    context.vbox.deleteMedium(medium);
    context.vbox.closeMedium(medium);
    context.out.done("Deleted " + options.file + ".", {{"file", options.file}});
}

void rename(Context& context, const DiskOptions& options)
{
    context.vbox.renameVmDisk(fullPath(options.file), fullPath(options.target));
    context.out.done("Renamed " + options.file + " to " + options.target + ".",
                     {{"file", options.file}, {"target", options.target}});
}

void ports(Context& context, const DiskOptions& options)
{
    const std::uint32_t count = context.vbox.getMachineStorageControllerPortCount(context.machine(options.machine),
                                                                                  fromUtf8(options.controller));
    context.out.answer(std::to_string(count), {{"ports", count}});
}

void current(Context& context, const DiskOptions& options)
{
    const ScopedMedium medium = context.vbox.getCurrentMedium(
        context.machine(options.machine), fromUtf8(options.controller), options.port, options.device);
    if (!medium)
        throw CommandError(ExitCode::NotFound, "the drive is empty", "Other places have other --port and --device.");
    print(context, medium);
}

/// A verb with what the disk verbs have in common.
class DiskVerb
{
public:
    DiskVerb(Verbs::Group& group, const char* word, const char* description, void (*act)(Context&, const DiskOptions&))
        : options_(std::make_shared<DiskOptions>()),
          verb_(group.add(word, description, [options = options_, act](Context& context) { act(context, *options); }))
    {}

    DiskVerb& file()
    {
        verb_.argument("FILE", &options_->file, "Image file");
        return *this;
    }
    DiskVerb& controller()
    {
        verb_.machine(options_->machine)
            .argument("CONTROLLER", &options_->controller, "Name of the storage controller, such as SATA");
        return *this;
    }
    DiskVerb& place()
    {
        controller();
        verb_.option("--port", "N", &options_->port, "Port of the controller (0)")
            .option("--device", "N", &options_->device, "Device on the port (0)");
        return *this;
    }
    DiskVerb& newUuid()
    {
        verb_.flag("--new-uuid", options_->newUuid, "Give the image a new UUID, for a copied one");
        return *this;
    }
    DiskVerb& example(const char* commandLine)
    {
        verb_.example(commandLine);
        return *this;
    }

    Verb& verb() { return verb_; }
    DiskOptions& options() { return *options_; }

private:
    std::shared_ptr<DiskOptions> options_;
    Verb& verb_;
};

void addImageVerbs(Verbs::Group& group)
{
    DiskVerb(group, "open", "Make an image known to VirtualBox and describe it", openAndPrint)
        .file()
        .newUuid()
        .example("disk open D:\\data.vdi");
    DiskVerb(group, "info", "An image's place, UUID and state", openAndPrint).file().example("disk info D:\\data.vdi");
    DiskVerb(group, "close", "Make VirtualBox forget an image; the file stays", close)
        .file()
        .example("disk close D:\\data.vdi");

    DiskVerb removing(group, "delete", "Delete an image that no machine uses", remove);
    removing.file().example("disk delete D:\\data.vdi --yes");
    removing.verb().flag("--yes", removing.options().sure, "Confirms that the file is to be deleted").required();

    DiskVerb renaming(group, "rename", "Move an image file; detach and close it before", rename);
    renaming.file().example("disk rename D:\\data.vdi E:\\data.vdi");
    renaming.verb()
        .argument("TARGET", &renaming.options().target, "New path; nothing is overwritten")
        .withoutVirtualBox();
}

void addPlaceVerbs(Verbs::Group& group)
{
    DiskVerb(group, "attach", "Attach an image to a machine, as a solid-state disk", attach)
        .place()
        .file()
        .newUuid()
        .example("disk attach Player SATA D:\\data.vdi --port 1");
    DiskVerb(group, "detach", "Take an image off a machine", detach)
        .place()
        .example("disk detach Player SATA --port 1");
    DiskVerb(group, "current", "The image at a place", current).place().example("disk current Player SATA --port 1");
    DiskVerb(group, "ports", "How many ports a storage controller has", ports)
        .controller()
        .example("disk ports Player SATA");
}

} // namespace

void addDiskVerbs(Verbs& verbs)
{
    Verbs::Group group = verbs.group("disk", "Disk images and where they are attached");
    addImageVerbs(group);
    addPlaceVerbs(group);
}
