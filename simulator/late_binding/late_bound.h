#pragma once

#include <oleauto.h>

#include <type_traits>

#include "late_binding/late_call.h"
#include "late_binding/type_library.h"
#include "virtualbox_defaults.h"

namespace VBoxSim {

/// The bodies of an interface with those of IDispatch made from the type library, so that scripts can call it. What a
/// script calls is carried out by the same method that any other client calls.
template <class Interface>
class LateBoundDispatch : public Defaults<Interface>
{
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override
    {
        if (!count)
            return E_POINTER;
        *count = 1;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** description) override
    {
        if (!description)
            return E_POINTER;
        *description = nullptr;
        if (index != 0)
            return DISP_E_BADINDEX;
        const HRESULT result = describeInterface(__uuidof(Interface), description);
        if (SUCCEEDED(result))
            (*description)->AddRef();
        return result;
    }

    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override
    {
        ITypeInfo* description = nullptr;
        const HRESULT result = describeInterface(__uuidof(Interface), &description);
        return FAILED(result) ? result : DispGetIDsOfNames(description, names, count, ids);
    }

    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD kind, DISPPARAMS* arguments, VARIANT* result,
                                     EXCEPINFO* exception,
                                     UINT* wrongArgument) override // NOLINT(*-non-const-parameter): IDispatch's
    {
        const LateCall call{member, kind, arguments, result, exception, wrongArgument};
        return carryOut(call, static_cast<Interface*>(this), __uuidof(Interface));
    }
};

/// The same for whatever interface: one without IDispatch has nothing to bind late.
template <class Interface>
using LateBound =
    std::conditional_t<std::is_base_of_v<IDispatch, Interface>, LateBoundDispatch<Interface>, Defaults<Interface>>;

} // namespace VBoxSim
