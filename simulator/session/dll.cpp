// The entry points of the session library.
#include <windows.h>

#include <new>

#include "control/class_factory.h"
#include "session/client.h"
#include "session/session.h"

namespace VBoxSim {
namespace {

template <class Implementation>
class Factory : public ClassFactory<Factory<Implementation>>
{
public:
    static HRESULT make(REFIID id, void** out)
    {
        auto* object = new (std::nothrow) Implementation;
        if (!object)
            return E_OUTOFMEMORY;
        object->AddRef();
        const HRESULT result = object->QueryInterface(id, out);
        object->Release();
        return result;
    }
    static void keepLoaded(bool keep) { liveObjects += keep ? 1 : -1; }
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
