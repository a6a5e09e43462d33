#include "selq6/handle_table.h"

#include <windows.h>

namespace Travik {

bool processIsTerminating()
{
    using ShutdownInProgress = BOOLEAN(NTAPI*)();
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    const auto shutdownInProgress = !ntdll ? nullptr
                                           : reinterpret_cast<ShutdownInProgress>(reinterpret_cast<void*>(
                                                 GetProcAddress(ntdll, "RtlDllShutdownInProgress")));
    return shutdownInProgress && shutdownInProgress();
}

} // namespace Travik
