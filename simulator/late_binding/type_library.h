#pragma once

#include <windows.h>
#include <oaidl.h>

namespace VBoxSim {

/// Describes an interface for late-bound callers. The description is kept for the life of the process and is not to be
/// released; null and a failure when the type library, which lies in vboxsim-ps.dll beside this module, has none.
HRESULT describeInterface(REFIID id, ITypeInfo** description) noexcept;

} // namespace VBoxSim
