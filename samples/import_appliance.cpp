// Imports an appliance (.ova) and finds the machine that came out of it.
//
// The import blocks until the disks are converted, which takes minutes for large ones, and hands no machine out. Its
// name is asked for before: VirtualBox suggests one that no registered machine has. A front end that wants to stay
// alive runs the import on a thread of its own and shows that it works; the operations must then all be called on that
// thread.

#include <atomic>
#include <thread>

#include "sample.h"

using namespace Travik;

namespace {

/// Everything that touches the library, on one thread.
void importOnThisThread(const std::wstring& file, std::wstring& result)
{
    VBoxInstanceImpl& vbox = *GetVBoxInstance();
    try {
        const auto name = ask<std::wstring>(vbox, &VBoxInstanceImpl::getImportOvaVmName, file);
        check(vbox, vbox.importOva(file));
        const auto machine = ask<ScopedMachine>(vbox, &VBoxInstanceImpl::findMachine, name);
        result = L"imported " + name + L", " + ask<std::wstring>(vbox, &VBoxInstanceImpl::getVmUUID, machine);
    } catch (const SdkError& error) {
        result = L"failed: " + error.text();
    }
    vbox.releaseRC();
}

} // namespace

int wmain(int count, wchar_t** values)
{
    if (count != 2) {
        print(L"usage: sample_import_appliance FILE.ova");
        return 2;
    }
    GetVBoxInstance()->setLogPath(L"NUL");
    std::wstring result;
    std::atomic<bool> done = false;
    std::thread worker([&] {
        importOnThisThread(values[1], result);
        done = true;
    });
    for (int tenths = 0; !done; ++tenths) {
        if (tenths % 10 == 9)
            print(L"importing ... " + std::to_wstring(tenths / 10 + 1) + L" s");
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    worker.join();
    print(result);
    return result.rfind(L"failed", 0) == 0 ? 1 : 0;
}
