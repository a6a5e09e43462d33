// Shared folders.

#include "core/context.h"
#include "core/verbs.h"

using namespace Travik;

namespace {

struct ShareOptions
{
    std::string machine, name, path;
    bool writable = false, automount = false, transient = false;
};

void addShare(Context& context, const ShareOptions& options)
{
    const std::wstring name = fromUtf8(options.name);
    const std::wstring path = fullPath(options.path);
    if (options.transient) {
        context.withConsole(options.machine, [&](const ScopedConsole& console) {
            context.vbox.consoleCreateSharedFolder(console, name, path, options.writable, options.automount);
        });
    } else {
        context.edit(options.machine, Lock::Shared, [&](const ScopedMachine& machine) {
            context.vbox.machineCreateSharedFolder(machine, name, path, options.writable, options.automount);
        });
    }
    context.out.done("Shared " + toUtf8(path) + " as " + options.name + ".",
                     {{"machine", options.machine},
                      {"share", {{"name", options.name}, {"path", toUtf8(path)}, {"transient", options.transient}}}});
}

void removeShare(Context& context, const ShareOptions& options)
{
    const std::wstring name = fromUtf8(options.name);
    if (options.transient) {
        context.withConsole(options.machine, [&](const ScopedConsole& console) {
            context.vbox.consoleRemoveSharedFolder(console, name);
        });
    } else {
        context.edit(options.machine, Lock::Shared,
                     [&](const ScopedMachine& machine) { context.vbox.machineRemoveSharedFolder(machine, name); });
    }
    context.out.done(
        "Removed " + options.name + ".",
        {{"machine", options.machine}, {"share", {{"name", options.name}, {"transient", options.transient}}}});
}

} // namespace

void addShareVerbs(Verbs& verbs)
{
    Verbs::Group group = verbs.group("share", "Folders of the host that a machine sees");
    const auto add = [&group](const char* word, const char* description, void (*act)(Context&, const ShareOptions&)) {
        auto options = std::make_shared<ShareOptions>();
        Verb& verb = group.add(word, description, [options, act](Context& context) { act(context, *options); });
        verb.machine(options->machine)
            .argument("NAME", &options->name, "Name of the share")
            .flag("--transient", options->transient, "Of the running machine only; gone when it stops");
        return std::pair<Verb&, std::shared_ptr<ShareOptions>>(verb, options);
    };

    const auto [adding, added] = add("add", "Share a folder", addShare);
    adding.argument("FOLDER", &added->path, "Folder of the host")
        .flag("--writable", added->writable, "The guest may write")
        .flag("--automount", added->automount, "The guest mounts it by itself")
        .example("share add Player exchange C:\\Exchange --writable");

    add("remove", "Take a share away", removeShare).first.example("share remove Player exchange");
}
