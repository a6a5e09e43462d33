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

/// Finds the session object that the server passes back.
class SessionReturn : public IMarshal
{
public:
    SessionReturn() { ++liveObjects; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override
    {
        if (!out)
            return E_POINTER;
        *out = id == IID_IUnknown || id == IID_IMarshal ? static_cast<IMarshal*>(this) : nullptr;
        if (!*out)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --references_;
        if (left == 0)
            delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE UnmarshalInterface(IStream* stream, REFIID id, void** out) override
    {
        SessionPacket packet{};
        ULONG got = 0;
        const HRESULT result = stream->Read(&packet, sizeof packet, &got);
        if (FAILED(result) || got != sizeof packet)
            return FAILED(result) ? result : E_INVALIDARG;
        const Microsoft::WRL::ComPtr<Session> session = Session::find(packet.session);
        if (!session)
            return CO_E_OBJNOTCONNECTED;
        session->land();
        return session->QueryInterface(id, out);
    }
    HRESULT STDMETHODCALLTYPE ReleaseMarshalData(IStream*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE DisconnectObject(DWORD) override { return S_OK; }

    // Marshalling is the server's part.
    HRESULT STDMETHODCALLTYPE GetUnmarshalClass(REFIID, void*, DWORD, void*, DWORD, CLSID*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetMarshalSizeMax(REFIID, void*, DWORD, void*, DWORD, DWORD*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE MarshalInterface(IStream*, REFIID, void*, DWORD, void*, DWORD) override
    {
        return E_NOTIMPL;
    }

private:
    virtual ~SessionReturn() { --liveObjects; }
    std::atomic<ULONG> references_{0};
};

Factory<Session> sessionFactory;
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
