#pragma once

#include <wrl/client.h>

#include <atomic>

#include "control/com_object.h"
#include "late_binding/late_bound.h"

namespace VBoxSim {

/// How many objects of this library live, and locks of its class objects; it stays loaded as long.
extern std::atomic<long> liveObjects;

/// A member of each object of this library.
struct KeepsLoaded
{
    KeepsLoaded() { ++liveObjects; }
    ~KeepsLoaded() { --liveObjects; }
    KeepsLoaded(const KeepsLoaded&) = delete;
    KeepsLoaded& operator=(const KeepsLoaded&) = delete;
};

/// Base of objects of the client's process that have one interface.
template <class Interface, class... Bases>
class LocalObject : public ComObject<LateBound<Interface>>
{
protected:
    void* interfaceOf(REFIID id) override
    {
        return id == IID_IUnknown || isIdOf<Interface, Bases...>(id) ? static_cast<Interface*>(this) : nullptr;
    }

private:
    const KeepsLoaded keepsLoaded_;
};

/// Makes an object of this library and hands out its interface.
template <class Implementation>
HRESULT makeLocal(REFIID id, void** out)
{
    try {
        return Microsoft::WRL::ComPtr<Implementation>(new Implementation)->QueryInterface(id, out);
    } catch (...) {
        return E_OUTOFMEMORY; // nothing else is thrown there
    }
}

} // namespace VBoxSim
