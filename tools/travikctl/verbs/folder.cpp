// The folder in which VirtualBox creates machines.

#include "core/context.h"
#include "core/verbs.h"

using namespace Travik;

namespace {

void get(Context& context)
{
    const std::string folder = toUtf8(context.vbox.getDefaultMachineFolder());
    context.out.answer(folder, {{"folder", folder}});
}

void set(Context& context, const std::string& folder)
{
    const std::wstring path = fullPath(folder);
    context.vbox.setDefaultMachineFolder(path);
    context.out.done("New machines go to " + toUtf8(path) + ".", {{"folder", toUtf8(path)}});
}

} // namespace

void addFolderVerbs(Verbs& verbs)
{
    Verbs::Group group = verbs.group("folder", "The folder in which VirtualBox creates machines");
    group.add("get", "Show it", get).example("folder get");

    auto folder = std::make_shared<std::string>();
    group.add("set", "Change it", [folder](Context& context) { set(context, *folder); })
        .argument("FOLDER", &*folder, "A folder that exists")
        .example("folder set D:\\Machines");
}
