#include "late_binding/late_call.h"

#include <oleauto.h>

#include <new>

#include "late_binding/script_arrays.h"
#include "late_binding/type_library.h"

namespace VBoxSim {

HRESULT carryOut(const LateCall& call, void* object, REFIID interfaceId) noexcept
{
    ITypeInfo* description = nullptr;
    const HRESULT found = describeInterface(interfaceId, &description);
    if (FAILED(found))
        return found;
    try {
        SetErrorInfo(0, nullptr); // an old error must not pass for this call's
        ScriptArguments typed(description, call.member, call.kind, call.arguments);
        const HRESULT answer = DispInvoke(object, description, call.member, call.kind, typed.get(), call.result,
                                          call.exception, call.wrongArgument);
        return SUCCEEDED(answer) ? readableByScripts(call.result) : answer;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

} // namespace VBoxSim
