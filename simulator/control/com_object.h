#pragma once

#include <windows.h>
#include <oaidl.h>

#include <atomic>
#include <type_traits>

namespace VBoxSim {

/// Whether that is the identifier of an interface or of one that it derives from: `Bases`, and IDispatch.
template <class Interface, class... Bases>
bool isIdOf(REFIID id)
{
    return id == __uuidof(Interface) || ((id == __uuidof(Bases)) || ...) ||
           (std::is_base_of_v<IDispatch, Interface> && id == IID_IDispatch);
}

/// The reference count of a COM object, which its last reference deletes, and its interfaces by their identifiers.
template <class... Interfaces>
class ComObject : public Interfaces...
{
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override
    {
        if (!out)
            return E_POINTER;
        *out = interfaceOf(id);
        if (!*out)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --references_;
        if (left == 0) {
            finalRelease();
            delete this;
        }
        return left;
    }

protected:
    ComObject() = default;
    virtual ~ComObject() = default;

    /// The interface of that identifier, IID_IUnknown included; null when the object has none.
    virtual void* interfaceOf(REFIID id) = 0;

    /// Called before the destructor begins.
    virtual void finalRelease() {}

    /// Takes a reference unless the last one is gone already.
    bool addReferenceToLiving()
    {
        ULONG count = references_;
        while (count != 0 && !references_.compare_exchange_weak(count, count + 1)) {
        }
        return count != 0;
    }

private:
    std::atomic<ULONG> references_{0};
};

} // namespace VBoxSim
