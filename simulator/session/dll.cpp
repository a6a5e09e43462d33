// The entry points of the session library.
#include <windows.h>

#include "control/class_factory.h"
#include "session/client.h"
#include "session/session_object.h"

namespace VBoxSim {
namespace {

template <class Implementation>
class Factory : public ClassFactory<Factory<Implementation>>
{
public:
    static HRESULT make(REFIID id, void** out) { return makeLocal<Implementation>(id, out); }
    static void keepLoaded(bool keep) { liveObjects += keep ? 1 : -1; }
};

/// Finds the session object that the server passes back.
class SessionReturn : public SessionUnmarshaler
{
    HRESULT sessionOf(const SessionPacket& packet, REFIID id, void** out) override
    {
        const Microsoft::WRL::ComPtr<SessionObject> session = SessionObject::find(packet.session);
        if (!session)
            return CO_E_OBJNOTCONNECTED;
        session->land();
        return session->QueryInterface(id, out);
    }

    const KeepsLoaded keepsLoaded_;
};

Factory<SessionObject> sessionFactory;
Factory<SessionReturn> sessionReturnFactory;
#ifdef TRAVIK_IDENTITY_STOCK61
Factory<Client> clientFactory;
#endif

} // namespace
} // namespace VBoxSim

STDAPI DllGetClassObject(REFCLSID classId, REFIID id, void** out)
{
    if (classId == CLSID_Session)
        return VBoxSim::sessionFactory.QueryInterface(id, out);
    if (classId == VBoxSim::sessionReturnClass)
        return VBoxSim::sessionReturnFactory.QueryInterface(id, out);
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
