#pragma once

#include "com/object.h"
#include "control/session_marshal.h"
#include "identity.h"

namespace VBoxSim {

/// What a session object of a client became on its way into the server: its identifier and its process. Passed back, as
/// the variables of scripts are, it becomes the client's object again.
class SessionReference : public Object<SessionReference, ISession>, public SessionMarshal
{
public:
    static constexpr GUID implementationId{
        0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x21}};

    SessionReference(Server& server, const SessionPacket& packet) : Object(server), packet_(packet) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override { return Object::QueryInterface(id, out); }
    ULONG STDMETHODCALLTYPE AddRef() override { return Object::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return Object::Release(); }

    HRESULT STDMETHODCALLTYPE GetUnmarshalClass(REFIID id, void* object, DWORD context, void* reserved, DWORD flags,
                                                CLSID* unmarshaler) override;
    HRESULT STDMETHODCALLTYPE GetMarshalSizeMax(REFIID id, void* object, DWORD context, void* reserved, DWORD flags,
                                                DWORD* size) override;
    HRESULT STDMETHODCALLTYPE MarshalInterface(IStream* stream, REFIID id, void* object, DWORD context, void* reserved,
                                               DWORD flags) override;

    std::wstring session() const;
    DWORD process() const { return packet_.process; }
    const wchar_t* typeName() const override { return L"ISession"; }
    bool isOwn() const override { return true; }

private:
    void* interfaceOf(REFIID id) override;

    SessionPacket packet_;
};

/// What the session class in the clients' processes asks.
class SessionService : public Object<SessionService, ISimSessions>
{
public:
    explicit SessionService(Server& server) : Object(server) {}

    HRESULT STDMETHODCALLTYPE GetState(BSTR session, ULONG* state) override;
    HRESULT STDMETHODCALLTYPE GetType(BSTR session, ULONG* type) override;
    HRESULT STDMETHODCALLTYPE GetName(BSTR session, BSTR* name) override;
    HRESULT STDMETHODCALLTYPE SetName(BSTR session, BSTR name) override;
    HRESULT STDMETHODCALLTYPE GetMachine(BSTR session, IMachine** machine) override;
    HRESULT STDMETHODCALLTYPE GetConsole(BSTR session, IConsole** console) override;
    HRESULT STDMETHODCALLTYPE Unlock(BSTR session) override;
    HRESULT STDMETHODCALLTYPE Close(BSTR session) override;
    HRESULT STDMETHODCALLTYPE GetProcess(ULONG* process) override;

    const wchar_t* typeName() const override { return L"ISimSessions"; }
    bool isOwn() const override { return true; }

private:
    /// The session that holds a machine; throws Failure(unexpected) for any other.
    SessionPtr locked(BSTR session) const;
};

} // namespace VBoxSim
