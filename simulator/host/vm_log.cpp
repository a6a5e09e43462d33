#include "host/vm_log.h"

#include "base/files.h"
#include "base/text.h"
#include "base/time.h"
#include "host/host.h"

namespace VBoxSim {

void writeVmLog(Host& host, const Machine& machine)
{
    const std::wstring folder = Files::join(Files::folderOf(machine.file), L"Logs");
    const auto log = [&](int age) {
        return Files::join(folder, age ? L"VBox.log." + std::to_wstring(age) : L"VBox.log");
    };
    constexpr int kept = 3;
    host.disk().remove(log(kept));
    for (int age = kept - 1; age >= 0; --age)
        host.disk().move(log(age), log(age + 1));
    std::wstring text = L"vboxsim: no guest runs here\nmachine: " + machine.saved.name + L"\nfront end: " +
                        machine.vm()->frontEnd + L"\nstarted: " + Time::toIso(host.clock().milliseconds()) + L"\n";
    for (const std::wstring& change : machine.vm()->environment)
        text += L"environment: " + change + L"\n";
    try {
        host.disk().writeAtomically(log(0), toUtf8(text));
    } catch (const Failure&) {
        // A machine starts also where no log can be written.
    }
}

} // namespace VBoxSim
