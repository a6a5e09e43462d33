#pragma once

#include "com/object.h"

namespace VBoxSim {

/// What a session object of a client became on its way into the server: its identifier and its process.
class SessionReference : public Object<SessionReference, ISession>
{
public:
    static constexpr GUID implementationId{
        0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x21}};

    SessionReference(Server& server, std::wstring session, DWORD process)
        : Object(server), session_(std::move(session)), process_(process)
    {}

    const std::wstring& session() const { return session_; }
    DWORD process() const { return process_; }
    const wchar_t* typeName() const override { return L"ISession"; }
    bool isOwn() const override { return true; }

private:
    std::wstring session_;
    DWORD process_;
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

    const wchar_t* typeName() const override { return L"ISimSessions"; }
    bool isOwn() const override { return true; }

private:
    /// The session that holds a machine; throws Failure(unexpected) for any other.
    SessionPtr locked(BSTR session) const;
};

} // namespace VBoxSim
