#pragma once

#include <windows.h>

#include <atomic>

#include "late_binding/late_bound.h"
#include "session/session.h"

namespace VBoxSim {

/// Base of objects of the client's process that are no session: reference count, identity, keeping the library loaded.
template <class Derived, class Interface, class... Bases>
class LocalObject : public LateBound<Interface>
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override
    {
        if (!out)
            return E_POINTER;
        const bool known =
            id == IID_IUnknown || id == IID_IDispatch || id == __uuidof(Interface) || ((id == __uuidof(Bases)) || ...);
        *out = known ? static_cast<Interface*>(this) : nullptr;
        if (!known)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --references_;
        if (left == 0)
            delete static_cast<Derived*>(this);
        return left;
    }

protected:
    LocalObject() { ++liveObjects; }
    virtual ~LocalObject() { --liveObjects; }

private:
    std::atomic<ULONG> references_{0};
};

} // namespace VBoxSim
