#include "library.h"

#include <stdexcept>
#include <string>

#include "scratch.h"

namespace TravikTest {

Library::Library() : module_(LoadLibraryW((productFolder() / L"TravikSDK-selq6.dll").c_str())), instance_(nullptr)
{
    if (!module_)
        throw std::runtime_error("the DLL cannot be loaded");
    const auto getInstance = reinterpret_cast<decltype(&GetVBoxInstance)>(
        reinterpret_cast<void*>(GetProcAddress(module_, "GetVBoxInstance")));
    if (!getInstance)
        throw std::runtime_error("the DLL does not export GetVBoxInstance");
    instance_ = getInstance();
    // Standard output belongs to the test.
    instance_->setLogPath((scratchFolder() / (L"log-" + std::to_wstring(GetCurrentProcessId()) + L".txt")).wstring());
}

void Library::unload()
{
    instance_ = nullptr;
    if (!FreeLibrary(module_))
        throw std::runtime_error("the DLL cannot be unloaded");
}

Travik::VBoxInstanceImpl& library()
{
    static const Library loaded;
    return loaded.instance();
}

} // namespace TravikTest
