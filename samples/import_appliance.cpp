// Imports an appliance (.ova) and finds the machine that came out of it.
//
// The import blocks until the disks are converted, which takes minutes for large ones, and hands no machine out. Its
// name is asked for before: VirtualBox suggests one that no registered machine has. A front end that wants to stay
// alive lets a worker do it and shows meanwhile that it works.

#include "sample.h"

using namespace Travik;

namespace {

/// A job of the worker: everything that touches the library, on one thread.
std::wstring importAppliance(const Operations& vbox, const std::wstring& file)
{
    const std::wstring name = vbox.getImportOvaVmName(file);
    vbox.importOva(file);
    return L"imported " + name + L", " + vbox.getVmUUID(vbox.findMachine(name));
}

} // namespace

int wmain(int count, wchar_t** values)
{
    if (count != 2) {
        print(L"usage: sample_import_appliance FILE.ova");
        return 2;
    }
    GetVBoxInstance()->setLogPath(L"NUL");
    Worker worker;
    auto result =
        worker.run([file = std::wstring(values[1])](Operations& vbox) { return importAppliance(vbox, file); });
    for (int second = 1; result.wait_for(std::chrono::seconds(1)) != std::future_status::ready; ++second)
        print(L"importing ... " + std::to_wstring(second) + L" s");
    try {
        print(result.get());
        return 0;
    } catch (const std::exception& error) { // SdkError, or what the file system refused
        std::printf("failed: %s\n", error.what());
        return 1;
    }
}
