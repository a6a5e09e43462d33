// The registered machines with their states.
//
// One machine may be inaccessible (its settings file is lost or damaged): every read of it but its UUID fails. A list
// that stops there shows nothing of the others, so listMachines marks it and goes on.

#include "sample.h"

using namespace Travik;

namespace {

std::wstring stateOf(const MachineEntry& entry)
{
    switch (entry.state) {
    case MachineState::PoweredOff:
        return L"powered off";
    case MachineState::Saved:
        return L"saved";
    case MachineState::Aborted:
        return L"aborted";
    case MachineState::Running:
        return L"running";
    case MachineState::Paused:
        return L"paused";
    default:
        return L"state " + std::to_wstring(entry.state);
    }
}

void list(VBoxInstanceImpl& vbox, const std::vector<std::wstring>&)
{
    // Each entry owns its machine's handle and gives it back by itself.
    const std::vector<MachineEntry> machines = listMachines(vbox);
    for (const MachineEntry& entry : machines) {
        if (entry.accessible)
            print(entry.uuid + L"  " + entry.name + L"  (" + stateOf(entry) + L")");
        else
            print(entry.uuid + L"  inaccessible: " + entry.problem);
    }
    print(std::to_wstring(machines.size()) + L" machines");
}

} // namespace

int wmain(int count, wchar_t** values)
{
    return runSample(count, values, 0, L"sample_list_machines", list);
}
