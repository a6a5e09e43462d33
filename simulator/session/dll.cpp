// The entry points of the session library.
#include "session/client.h"
#include "session/session.h"

#include <windows.h>

#include <new>

namespace VBoxSim {
namespace {

/// The class objects live as long as the library.
template <class Implementation>
class Factory : public IClassFactory
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
        if (outer)
            return CLASS_E_NOAGGREGATION;
        auto* object = new (std::nothrow) Implementation;
        if (!object)
            return E_OUTOFMEMORY;
        object->AddRef();
        const HRESULT result = object->QueryInterface(id, out);
        object->Release();
        return result;
    }

    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override
    {
        liveObjects += lock ? 1 : -1;
        return S_OK;
    }
};

Factory<Session> sessionFactory;
#ifdef TRAVIK_IDENTITY_STOCK61
Factory<Client> clientFactory;
#endif

} // namespace
} // namespace VBoxSim

STDAPI DllGetClassObject(REFCLSID classId, REFIID id, void** out)
{
    if (classId == CLSID_Session)
        return VBoxSim::sessionFactory.QueryInterface(id, out);
#ifdef TRAVIK_IDENTITY_STOCK61
    if (classId == CLSID_VirtualBoxClient)
        return VBoxSim::clientFactory.QueryInterface(id, out);
#endif
    return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow()
{
    return VBoxSim::liveObjects == 0 ? S_OK : S_FALSE;
}
