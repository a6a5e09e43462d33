#pragma once

#include <windows.h>
#include <unknwn.h>

#include <functional>

namespace TravikTest {

/// A COM object that tells how many references are held on it; it never goes away by itself. Base is an interface, or
/// a class with bodies for the slots of one.
template <class Base>
class CountingObject : public Base
{
public:
    virtual ~CountingObject() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }

    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }

    ULONG STDMETHODCALLTYPE Release() override
    {
        --references;
        if (onRelease)
            onRelease();
        return static_cast<ULONG>(references);
    }

    long references = 0;
    std::function<void()> onRelease;
};

using CountingUnknown = CountingObject<IUnknown>;

} // namespace TravikTest
