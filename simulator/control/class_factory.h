#pragma once

#include <windows.h>
#include <objbase.h>

namespace VBoxSim {

/// A class object that lives as long as its module. `Derived` has `HRESULT make(REFIID id, void** out)`, which makes an
/// object, and `void keepLoaded(bool)`.
template <class Derived>
class ClassFactory : public IClassFactory
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override
    {
        if (!out)
            return E_POINTER;
        *out = id == IID_IUnknown || id == IID_IClassFactory ? static_cast<IClassFactory*>(this) : nullptr;
        return *out ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** out) override
    {
        if (!out)
            return E_POINTER;
        *out = nullptr;
        return outer ? CLASS_E_NOAGGREGATION : static_cast<Derived*>(this)->make(id, out);
    }

    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override
    {
        static_cast<Derived*>(this)->keepLoaded(lock != FALSE);
        return S_OK;
    }

protected:
    ~ClassFactory() = default;
};

} // namespace VBoxSim
