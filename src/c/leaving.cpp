#include "slim_lock.h"

namespace Travik::Flat {

bool processIsLeaving() noexcept
{
    using Asked = BOOLEAN(NTAPI*)();
    static const auto asked = reinterpret_cast<Asked>(
        reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));
    return asked && asked();
}

} // namespace Travik::Flat
