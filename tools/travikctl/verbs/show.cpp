// list, show.

#include <algorithm>
#include <cwctype>

#include "core/context.h"
#include "core/names.h"
#include "core/verbs.h"

using namespace Travik;

namespace {

struct ListOptions
{
    std::optional<std::string> name, state;
    bool namesOnly = false;
};

Json rowOf(const MachineEntry& entry)
{
    Json row{{"name", toUtf8(entry.name)}, {"uuid", toUtf8(entry.uuid)}};
    if (entry.accessible) {
        row.update(stateFacts(entry.state));
    } else {
        row["name"] = nullptr;
        row.update({{"state", "Inaccessible"}, {"stateText", "inaccessible"}});
    }
    row["accessible"] = entry.accessible;
    row["problem"] = entry.accessible ? Json() : Json(toUtf8(entry.problem));
    return row;
}

std::wstring inLowerCase(std::wstring text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](wchar_t letter) { return std::towlower(letter); });
    return text;
}

bool fits(const MachineEntry& entry, const Json& row, const ListOptions& options)
{
    if (options.state && row["state"] != *options.state)
        return false;
    return !options.name || inLowerCase(entry.name).find(inLowerCase(fromUtf8(*options.name))) != std::wstring::npos;
}

void list(Context& context, const ListOptions& options)
{
    Json rows = Json::array();
    std::string names;
    bool allAccessible = true;
    for (const MachineEntry& entry : listMachines(context.vbox)) {
        const Json row = rowOf(entry);
        if (!fits(entry, row, options))
            continue;
        rows.push_back(row);
        allAccessible = allAccessible && entry.accessible;
        if (entry.accessible)
            names += (names.empty() ? "" : "\n") + toUtf8(entry.name);
    }
    if (options.namesOnly && !context.out.json()) {
        if (!names.empty())
            context.out.answer(names, Json::object());
        return;
    }
    context.out.table("machines", {"name", "uuid", "state"}, rows);
    if (!allAccessible)
        context.out.note(
            "VirtualBox cannot read the settings file of an inaccessible machine; it is missing or damaged.");
}

void show(Context& context, const std::string& which)
{
    const ScopedMachine machine = context.machine(which);
    Json facts{{"name", toUtf8(context.vbox.getVmName(machine))}, {"uuid", toUtf8(context.vbox.getVmUUID(machine))}};
    facts.update(stateFacts(context.vbox.machineGetState(machine)));
    context.out.fields("machine", facts);
}

} // namespace

void addShowVerbs(Verbs& verbs)
{
    std::vector<std::string> states = stateIdentifiers();
    states.emplace_back("Inaccessible");
    auto options = std::make_shared<ListOptions>();
    verbs.add("list", "The registered machines", [options](Context& context) { list(context, *options); })
        .option("--name", "TEXT", &options->name, "Only those whose name holds this; case does not matter")
        .option("--state", "STATE", &options->state, "Only those in this state, such as Running or PoweredOff")
        .words(states)
        .flag("--names", options->namesOnly, "Print the names alone, one a line")
        .example("list --state Running")
        .example("list --name player --json");

    auto which = std::make_shared<std::string>();
    verbs.add("show", "One machine", [which](Context& context) { show(context, *which); })
        .machine(*which)
        .example("show Player");
}
