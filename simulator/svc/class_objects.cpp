#include "svc/class_objects.h"

#include "com/interface_keeper.h"
#include "com/session_objects.h"
#include "com/virtual_box_object.h"
#include "identity.h"
#include "svc/control.h"

#include <atomic>

namespace VBoxSim {

namespace {

std::atomic<long> locks{0};
std::atomic<ClassObjects*> offering{nullptr};

/// Turns what a session object wrote into a reference to that session.
class SessionUnmarshaler : public IMarshal
{
public:
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
        wchar_t text[40];
        StringFromGUID2(packet.session, text, 40);
        return make<SessionReference>(text, packet.process)->QueryInterface(id, out);
    }
    HRESULT STDMETHODCALLTYPE ReleaseMarshalData(IStream*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE DisconnectObject(DWORD) override { return S_OK; }

    // Marshalling is the client's part.
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
    virtual ~SessionUnmarshaler() = default;
    std::atomic<ULONG> references_{0};
};

/// Makes a new object for each client that asks. Lives as long as the process.
template <class Implementation>
class Factory : public IClassFactory
{
public:
    explicit Factory(const wchar_t* callName) : callName_(callName) {}

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
        HRESULT result = S_OK;
        const auto create = [&](WorldLock&) {
            const ComPtr<Implementation> object(new Implementation);
            result = object->QueryInterface(id, out);
        };
        const HRESULT served = serve(
            callName_, [] { return std::wstring(); }, IID_IClassFactory, create);
        return FAILED(served) ? served : result;
    }

    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override
    {
        locks += lock ? 1 : -1;
        return S_OK;
    }

private:
    const wchar_t* callName_;
};

Factory<VirtualBox> virtualBoxFactory{L"VirtualBox::CreateInstance"};
Factory<SessionService> sessionsFactory{L"SimSessions::CreateInstance"};
Factory<Control> controlFactory{L"VBoxSimControl::CreateInstance"};
Factory<SessionUnmarshaler> referenceFactory{L"SessionReference::CreateInstance"};

} // namespace

long serverLocks()
{
    return locks;
}

ClassObjects::~ClassObjects()
{
    withdraw();
}

HRESULT ClassObjects::offer()
{
    const struct
    {
        const GUID& classId;
        IClassFactory* factory;
        DWORD context;
    } classes[] = {
        {CLSID_VirtualBox, &virtualBoxFactory, CLSCTX_LOCAL_SERVER},
        {sessionsClass, &sessionsFactory, CLSCTX_LOCAL_SERVER},
        {controlClass, &controlFactory, CLSCTX_LOCAL_SERVER},
        {sessionReferenceClass, &referenceFactory, CLSCTX_INPROC_SERVER},
    };
    for (REFIID id : {IID_IUnknown, IID_IDispatch, IID_IClassFactory, IID_ISupportErrorInfo})
        keepRegistered(id);
    for (const auto& offered : classes) {
        DWORD registration = 0;
        const HRESULT result =
            CoRegisterClassObject(offered.classId, offered.factory, offered.context, REGCLS_MULTIPLEUSE, &registration);
        if (FAILED(result))
            return result;
        registrations_.push_back(registration);
    }
    offering = this;
    return S_OK;
}

void ClassObjects::withdraw()
{
    offering = nullptr;
    for (const DWORD registration : registrations_)
        CoRevokeClassObject(registration);
    registrations_.clear();
}

void withdrawClassesBeforeDeath()
{
    if (ClassObjects* const classes = offering)
        classes->withdraw();
}

} // namespace VBoxSim
