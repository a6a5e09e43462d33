// The registered machines with their states.
//
// One machine may be inaccessible (its settings file is lost or damaged): every read of it but its UUID fails. A list
// that stops there shows nothing of the others, so listMachines marks it and goes on.

#include "sample.h"

using namespace Travik;

namespace {

void list(const Operations& vbox, const std::vector<std::wstring>&)
{
    // Each entry owns its machine's handle and gives it back by itself.
    const std::vector<MachineEntry> machines = listMachines(vbox);
    for (const MachineEntry& entry : machines) {
        if (entry.accessible)
            print(entry.uuid + L"  " + entry.name + L"  (" + stateName(entry.state) + L")");
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
