#include "com/session_objects.h"

#include "com/console_object.h"
#include "com/machine_object.h"
#include "host/vm_life.h"
#include "host/world.h"

namespace VBoxSim {

namespace {

/// The session that holds a machine; throws Failure(unexpected) for any other.
SessionPtr locked(BSTR id)
{
    const SessionPtr session = World::instance().knownSession(textOf(id));
    const std::uint32_t state = session ? session->state : static_cast<std::uint32_t>(SessionState::Unlocked);
    if (state != SessionState::Locked)
        throw Failure(Result::unexpected,
                      L"The session is not locked (session state: " + sessionStateName(state) + L")");
    return session;
}

} // namespace

HRESULT SessionService::GetState(BSTR session, ULONG* state)
{
    return get(
        L"ISession::get_State", state,
        [&]() -> ULONG {
            const SessionPtr known = World::instance().knownSession(textOf(session));
            return known ? known->state : static_cast<std::uint32_t>(SessionState::Unlocked);
        },
        session);
}

HRESULT SessionService::GetType(BSTR session, ULONG* type)
{
    return get(
        L"ISession::get_Type", type, [&] { return locked(session)->type; }, session);
}

HRESULT SessionService::GetName(BSTR session, BSTR* name)
{
    return get(
        L"ISession::get_Name", name,
        [&] {
            const SessionPtr known = World::instance().knownSession(textOf(session));
            return known ? known->name : std::wstring();
        },
        session);
}

HRESULT SessionService::SetName(BSTR session, BSTR name)
{
    return call(
        L"ISession::put_Name",
        [&] {
            const SessionPtr known = World::instance().session(textOf(session), Clients::caller());
            if (known->state != SessionState::Unlocked)
                throw Failure(Result::invalidObjectState, L"The session's name can only be set while it is unlocked");
            known->name = textOf(name);
        },
        session, name);
}

HRESULT SessionService::GetMachine(BSTR session, IMachine** machine)
{
    return get(
        L"ISession::get_Machine", machine,
        [&] {
            const SessionPtr holder = locked(session);
            return make<Machine>(holder->machine, holder->lock);
        },
        session);
}

HRESULT SessionService::GetConsole(BSTR session, IConsole** console)
{
    return get(
        L"ISession::get_Console", console,
        [&]() -> ComPtr<Console> {
            const SessionPtr holder = locked(session);
            return holder->lock->vm ? make<Console>(holder->machine, holder->lock) : nullptr;
        },
        session);
}

HRESULT SessionService::Unlock(BSTR session)
{
    return call(
        L"ISession::UnlockMachine", [&] { unlockSession(locked(session)); }, session);
}

HRESULT SessionService::Close(BSTR session)
{
    return call(
        L"ISession::Release",
        [&] {
            if (const SessionPtr known = World::instance().knownSession(textOf(session)))
                dropSession(known);
        },
        session);
}

} // namespace VBoxSim
