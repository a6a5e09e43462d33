// Shared folders.

#include "verbs.h"

using namespace Travik;

namespace {

struct ShareOptions
{
    std::string machine, name, path;
    bool writable = false, automount = false, transient = false;
};

void add(Context& context, const ShareOptions& options)
{
    const std::wstring name = fromUtf8(options.name);
    const std::wstring path = fullPath(options.path);
    if (options.transient) {
        context.withConsole(options.machine, [&](VBoxHandle console) {
            context.check(
                context.vbox.consoleCreateSharedFolder(console, name, path, options.writable, options.automount));
        });
    } else {
        context.edit(options.machine, LockType::Shared, [&](VBoxHandle machine) {
            context.check(
                context.vbox.machineCreateSharedFolder(machine, name, path, options.writable, options.automount));
        });
    }
    context.out.done("Shared " + toUtf8(path) + " as " + options.name + ".",
                     {{"added", {{"name", options.name}, {"path", toUtf8(path)}, {"transient", options.transient}}}});
}

void remove(Context& context, const ShareOptions& options)
{
    const std::wstring name = fromUtf8(options.name);
    if (options.transient) {
        context.withConsole(options.machine, [&](VBoxHandle console) {
            context.check(context.vbox.consoleRemoveSharedFolder(console, name));
        });
    } else {
        context.edit(options.machine, LockType::Shared,
                     [&](VBoxHandle machine) { context.check(context.vbox.machineRemoveSharedFolder(machine, name)); });
    }
    context.out.done("Removed " + options.name + ".", {{"removed", options.name}});
}

} // namespace

void addShareVerbs(Verbs& verbs)
{
    CLI::App& group = verbs.group("share", "Folders of the host that a machine sees");
    const auto common = [](CLI::App& verb, ShareOptions& options) {
        addMachine(verb, options.machine);
        addArgument(verb, "NAME", options.name, "Name of the share");
        verb.add_flag("--transient", options.transient, "Of the running machine only; gone when it stops");
    };

    auto added = std::make_shared<ShareOptions>();
    CLI::App& addVerb = verbs.add(group, "add", "Share a folder", [added](Context& context) { add(context, *added); });
    common(addVerb, *added);
    addArgument(addVerb, "FOLDER", added->path, "Folder of the host");
    addVerb.add_flag("--writable", added->writable, "The guest may write");
    addVerb.add_flag("--automount", added->automount, "The guest mounts it by itself");

    auto removed = std::make_shared<ShareOptions>();
    CLI::App& removeVerb =
        verbs.add(group, "remove", "Take a share away", [removed](Context& context) { remove(context, *removed); });
    common(removeVerb, *removed);
}
