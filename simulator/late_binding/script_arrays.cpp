#include "late_binding/script_arrays.h"

#include <oleauto.h>

namespace VBoxSim {

namespace {

bool underWine()
{
    static const bool wine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    return wine;
}

/// What a variable stands for: scripts pass their variables by reference.
const VARIANT& valueOf(const VARIANT& given)
{
    const VARIANT* value = &given;
    while (V_VT(value) == (VT_BYREF | VT_VARIANT))
        value = V_VARIANTREF(value);
    return *value;
}

bool isNothing(const VARIANT& value)
{
    return V_VT(&value) == VT_EMPTY || V_VT(&value) == VT_NULL ||
           (V_VT(&value) == VT_DISPATCH && V_DISPATCH(&value) == nullptr);
}

SAFEARRAY* arrayOf(const VARIANT& value)
{
    return V_VT(&value) & VT_BYREF ? *V_ARRAYREF(&value) : V_ARRAY(&value);
}

/// How the elements of an array are kept that a parameter of this type takes.
VARTYPE elementType(const TYPEDESC& element)
{
    return element.vt == VT_PTR || element.vt == VT_USERDEFINED ? VARTYPE(VT_DISPATCH) : element.vt;
}

/// A copy of an array of variants with elements of one type; null when an element has another one.
SAFEARRAY* copyAs(VARTYPE type, SAFEARRAY* variants)
{
    const ULONG count = variants && SafeArrayGetDim(variants) == 1 ? variants->rgsabound[0].cElements : 0;
    Travik::ComArray copy(SafeArrayCreateVector(type, 0, count));
    const auto* from = count ? static_cast<const VARIANT*>(variants->pvData) : nullptr;
    for (LONG i = 0; !copy.isNull() && i < static_cast<LONG>(count); ++i) {
        VARIANT element;
        VariantInit(&element);
        HRESULT result = VariantChangeType(&element, const_cast<VARIANT*>(&valueOf(from[i])), 0, type);
        if (SUCCEEDED(result)) {
            const bool isPointer = type == VT_BSTR || type == VT_DISPATCH;
            result = SafeArrayPutElement(copy.get(), &i,
                                         isPointer ? static_cast<void*>(V_DISPATCH(&element)) : &V_I8(&element));
        }
        VariantClear(&element);
        if (FAILED(result))
            return nullptr;
    }
    return copy.detach();
}

/// The description of the method or property that is called; null when there is none.
FUNCDESC* findMethod(ITypeInfo* description, DISPID member, WORD kind)
{
    FUNCDESC* method = nullptr;
    for (UINT i = 0; SUCCEEDED(description->GetFuncDesc(i, &method)); ++i) {
        if (method->memid == member && method->invkind & kind)
            return method;
        description->ReleaseFuncDesc(method);
    }
    return nullptr;
}

} // namespace

ScriptArguments::ScriptArguments(ITypeInfo* description, DISPID member, WORD kind, DISPPARAMS* given)
    : all_(given ? *given : DISPPARAMS{})
{
    if (all_.cArgs == 0)
        return;
    values_.assign(all_.rgvarg, all_.rgvarg + all_.cArgs);
    if (FUNCDESC* method = findMethod(description, member, kind)) {
        convert(*method);
        description->ReleaseFuncDesc(method);
    }
    all_.rgvarg = values_.data();
}

void ScriptArguments::convert(const FUNCDESC& method)
{
    for (std::size_t i = 0; i < values_.size() && i < static_cast<std::size_t>(method.cParams); ++i) {
        const TYPEDESC& type = method.lprgelemdescParam[i].tdesc;
        VARIANT& argument = values_[values_.size() - 1 - i];
        const VARIANT& value = valueOf(argument);
        const bool isScriptArray = (V_VT(&value) & ~VT_BYREF) == (VT_ARRAY | VT_VARIANT);
        if (type.vt != VT_SAFEARRAY || !(isScriptArray || isNothing(value)))
            continue;
        const VARTYPE element = elementType(*type.lptdesc);
        SAFEARRAY* made = copyAs(element, isScriptArray ? arrayOf(value) : nullptr);
        if (!made)
            continue; // the call is refused for its type
        made_.emplace_back(made);
        V_VT(&argument) = VT_ARRAY | element;
        V_ARRAY(&argument) = made;
    }
}

HRESULT readableByScripts(VARIANT* result)
{
    if (!result || !underWine() || !(V_VT(result) & VT_ARRAY) || V_VT(result) & VT_BYREF || !V_ARRAY(result))
        return S_OK;
    SAFEARRAY* array = V_ARRAY(result);
    const VARTYPE type = V_VT(result) & VT_TYPEMASK;
    const ULONG count = array->rgsabound[0].cElements;
    SAFEARRAY* variants = SafeArrayCreateVector(VT_VARIANT, 0, count);
    if (!variants)
        return E_OUTOFMEMORY;
    auto* to = static_cast<VARIANT*>(variants->pvData);
    HRESULT copied = S_OK;
    for (LONG i = 0; SUCCEEDED(copied) && i < static_cast<LONG>(count); ++i) {
        V_VT(&to[i]) = type;
        copied = SafeArrayGetElement(array, &i, &V_I8(&to[i]));
    }
    VariantClear(result);
    V_VT(result) = VT_ARRAY | VT_VARIANT;
    V_ARRAY(result) = variants;
    return copied;
}

} // namespace VBoxSim
