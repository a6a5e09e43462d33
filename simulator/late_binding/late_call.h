#pragma once

#include <windows.h>
#include <oaidl.h>

namespace VBoxSim {

/// What IDispatch::Invoke is given.
struct LateCall
{
    DISPID member;
    WORD kind;
    DISPPARAMS* arguments;
    VARIANT* result;
    EXCEPINFO* exception;
    UINT* wrongArgument;
};

/// Calls the method of `object`, which is of that interface, that the type library names.
HRESULT carryOut(const LateCall& call, void* object, REFIID interfaceId) noexcept;

} // namespace VBoxSim
