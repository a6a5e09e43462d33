#include "session/session_object.h"

#include <objbase.h>
#include <oleauto.h>
#include <winternl.h>

#include <memory>
#include <vector>

using Microsoft::WRL::ComPtr;

namespace VBoxSim {

std::atomic<long> liveObjects{0};

namespace {

/// Names the apartment of the calling thread: 0 for the multithreaded one.
DWORD currentApartment()
{
    APTTYPE type = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
    const bool multithreaded = SUCCEEDED(CoGetApartmentType(&type, &qualifier)) && type == APTTYPE_MTA;
    return multithreaded ? 0 : GetCurrentThreadId();
}

bool serverIsGone(HRESULT result)
{
    return result == HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE) || result == HRESULT_FROM_WIN32(RPC_S_CALL_FAILED) ||
           result == RPC_E_DISCONNECTED;
}

/// COM's threads are dead by then, and a call would never return.
bool processIsEnding()
{
    using Query = BOOLEAN(NTAPI*)();
    static const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));
    return query && query();
}

GUID newId()
{
    GUID id{};
    CoCreateGuid(&id);
    return id;
}

std::wstring textOf(const GUID& id)
{
    wchar_t text[40];
    return {text, text + StringFromGUID2(id, text, 40) - 1}; // without the zero that it counts
}

/// The session objects of this process. Never destroyed: objects may outlive the library's statics.
struct Living
{
    std::mutex mutex;
    std::vector<SessionObject*> sessions;
};

Living& living()
{
    static Living* const all = new Living;
    return *all;
}

} // namespace

SessionObject::SessionObject() : id_(newId()), idText_(textOf(id_))
{
    const std::lock_guard guard(living().mutex);
    living().sessions.push_back(this);
}

ComPtr<SessionObject> SessionObject::find(const GUID& id)
{
    const std::lock_guard guard(living().mutex);
    for (SessionObject* session : living().sessions)
        if (session->id_ == id && session->addReferenceToLiving()) {
            const ComPtr<SessionObject> found(session);
            session->Release(); // not by Attach, which takes a reference of its own in MinGW's header
            return found;
        }
    return nullptr;
}

void SessionObject::land()
{
    if (inFlight_.exchange(false))
        Release();
}

SessionObject::~SessionObject()
{
    {
        const std::lock_guard guard(living().mutex);
        std::erase(living().sessions, this);
    }
    if (known_ && !processIsEnding())
        ask([](ISimSessions* service, BSTR id) { return service->Close(id); });
}

void* SessionObject::interfaceOf(REFIID id)
{
    if (id == IID_IUnknown || isIdOf<ISession>(id))
        return static_cast<ISession*>(this);
    if (id == IID_IMarshal)
        return static_cast<IMarshal*>(this);
    return id == IID_ISupportErrorInfo ? static_cast<ISupportErrorInfo*>(this) : nullptr;
}

HRESULT SessionObject::findService(ComPtr<ISimSessions>& service)
{
    const DWORD apartment = currentApartment();
    {
        const std::lock_guard guard(mutex_);
        if (service_ && serviceApartment_ == apartment)
            service = service_;
    }
    if (service)
        return S_OK;
    const HRESULT result = CoCreateInstance(sessionsClass, nullptr, CLSCTX_LOCAL_SERVER, IID_ISimSessions,
                                            reinterpret_cast<void**>(service.GetAddressOf()));
    if (SUCCEEDED(result)) {
        const std::lock_guard guard(mutex_);
        if (!service_) {
            service_ = service;
            serviceApartment_ = apartment;
        }
    }
    return result;
}

template <class Question>
HRESULT SessionObject::ask(Question&& question)
{
    land();
    ComPtr<ISimSessions> service;
    HRESULT result = findService(service);
    if (FAILED(result))
        return result;
    result = question(service.Get(), idText_.get());
    if (serverIsGone(result)) {
        // A restarted server is found anew; it does not know the session, which then reads as unlocked.
        const std::lock_guard guard(mutex_);
        service_.Reset();
    }
    return result;
}

HRESULT SessionObject::get_State(ULONG* state)
{
    return ask([&](ISimSessions* service, BSTR id) { return service->GetState(id, state); });
}

HRESULT SessionObject::get_Type(ULONG* type)
{
    return ask([&](ISimSessions* service, BSTR id) { return service->GetType(id, type); });
}

HRESULT SessionObject::get_Name(BSTR* name)
{
    return ask([&](ISimSessions* service, BSTR id) { return service->GetName(id, name); });
}

HRESULT SessionObject::put_Name(BSTR name)
{
    known_ = true;
    return ask([&](ISimSessions* service, BSTR id) { return service->SetName(id, name); });
}

HRESULT SessionObject::get_Machine(IMachine** machine)
{
    return ask([&](ISimSessions* service, BSTR id) { return service->GetMachine(id, machine); });
}

HRESULT SessionObject::get_Console(IConsole** console)
{
    return ask([&](ISimSessions* service, BSTR id) { return service->GetConsole(id, console); });
}

HRESULT SessionObject::UnlockMachine()
{
    return ask([&](ISimSessions* service, BSTR id) { return service->Unlock(id); });
}

HRESULT SessionObject::freeThreaded(ComPtr<IMarshal>& marshaler)
{
    const std::lock_guard guard(mutex_);
    if (!freeThreadedMarshaler_) {
        const HRESULT result = CoCreateFreeThreadedMarshaler(nullptr, &freeThreadedMarshaler_);
        if (FAILED(result))
            return result;
    }
    return freeThreadedMarshaler_.As(&marshaler);
}

HRESULT SessionObject::GetUnmarshalClass(REFIID id, void* object, DWORD context, void* reserved, DWORD flags,
                                         CLSID* unmarshaler)
{
    if (context != MSHCTX_INPROC) {
        *unmarshaler = sessionReferenceClass;
        return S_OK;
    }
    ComPtr<IMarshal> inner;
    const HRESULT result = freeThreaded(inner);
    return FAILED(result) ? result : inner->GetUnmarshalClass(id, object, context, reserved, flags, unmarshaler);
}

HRESULT SessionObject::GetMarshalSizeMax(REFIID id, void* object, DWORD context, void* reserved, DWORD flags,
                                         DWORD* size)
{
    if (context != MSHCTX_INPROC) {
        *size = sizeof(SessionPacket);
        return S_OK;
    }
    ComPtr<IMarshal> inner;
    const HRESULT result = freeThreaded(inner);
    return FAILED(result) ? result : inner->GetMarshalSizeMax(id, object, context, reserved, flags, size);
}

HRESULT SessionObject::MarshalInterface(IStream* stream, REFIID id, void* object, DWORD context, void* reserved,
                                        DWORD flags)
{
    if (context != MSHCTX_INPROC) {
        known_ = true;
        if (id == IID_IDispatch && !inFlight_.exchange(true))
            AddRef();
        const SessionPacket packet{id_, GetCurrentProcessId()};
        return stream->Write(&packet, sizeof packet, nullptr);
    }
    ComPtr<IMarshal> inner;
    const HRESULT result = freeThreaded(inner);
    return FAILED(result) ? result : inner->MarshalInterface(stream, id, object, context, reserved, flags);
}

HRESULT SessionObject::InterfaceSupportsErrorInfo(REFIID id)
{
    return isIdOf<ISession>(id) || id == IID_IMarshal ? S_OK : S_FALSE;
}

} // namespace VBoxSim
