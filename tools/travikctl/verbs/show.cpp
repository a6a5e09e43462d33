#include "core/context.h"
#include "core/names.h"
#include "core/verbs.h"

using namespace Travik;

namespace {

void list(Context& context)
{
    Json rows = Json::array();
    bool allAccessible = true;
    for (const MachineEntry& entry : listMachines(context.vbox)) {
        Json row{{"name", toUtf8(entry.name)}, {"uuid", toUtf8(entry.uuid)}};
        row["state"] = entry.accessible ? machineStateName(entry.state) : "inaccessible";
        row["accessible"] = entry.accessible;
        if (!entry.accessible) {
            row["name"] = nullptr;
            row["problem"] = toUtf8(entry.problem);
            allAccessible = false;
        }
        rows.push_back(row);
    }
    context.out.table("machines", {"name", "uuid", "state"}, rows);
    if (!allAccessible)
        context.out.note(
            "VirtualBox cannot read the settings file of an inaccessible machine; it is missing or damaged.");
}

void show(Context& context, const std::string& which)
{
    const ScopedMachine machine = context.machine(which);
    const auto state = context.ask<std::uint32_t>(&VBoxInstanceImpl::machineGetState, machine);
    context.out.fields("machine", {{"name", context.text(&VBoxInstanceImpl::getVmName, machine)},
                                   {"uuid", context.text(&VBoxInstanceImpl::getVmUUID, machine)},
                                   {"state", machineStateName(state)}});
}

} // namespace

void addShowVerbs(Verbs& verbs)
{
    verbs.add("list", "The registered machines", list);

    auto which = std::make_shared<std::string>();
    verbs.add("show", "One machine", [which](Context& context) { show(context, *which); }).machine(*which);
}
