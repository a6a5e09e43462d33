#include "com/session_objects.h"

#include "com/console_object.h"
#include "com/machine_object.h"
#include "host/vm_life.h"

namespace VBoxSim {

SessionPtr SessionService::locked(BSTR session) const
{
    return host().sessions().demandLocked(textOf(session));
}

void* SessionReference::interfaceOf(REFIID id)
{
    return id == IID_IMarshal ? static_cast<IMarshal*>(this) : Object::interfaceOf(id);
}

std::wstring SessionReference::session() const
{
    wchar_t text[40];
    StringFromGUID2(packet_.session, text, 40);
    return text;
}

HRESULT SessionReference::GetUnmarshalClass(REFIID, void*, DWORD, void*, DWORD, CLSID* unmarshaler)
{
    *unmarshaler = sessionReturnClass;
    return S_OK;
}

HRESULT SessionReference::GetMarshalSizeMax(REFIID, void*, DWORD, void*, DWORD, DWORD* size)
{
    *size = sizeof packet_;
    return S_OK;
}

HRESULT SessionReference::MarshalInterface(IStream* stream, REFIID, void*, DWORD, void*, DWORD)
{
    return stream->Write(&packet_, sizeof packet_, nullptr);
}

HRESULT SessionService::GetState(BSTR session, ULONG* state)
{
    return get(
        L"ISession::get_State", state, [&] { return host().sessions().stateOf(textOf(session)); }, session);
}

HRESULT SessionService::GetType(BSTR session, ULONG* type)
{
    return get(
        L"ISession::get_Type", type, [&] { return locked(session)->type; }, session);
}

HRESULT SessionService::GetName(BSTR session, BSTR* name)
{
    return get(
        L"ISession::get_Name", name, [&] { return host().sessions().nameOf(textOf(session)); }, session);
}

HRESULT SessionService::SetName(BSTR session, BSTR name)
{
    return call(
        L"ISession::put_Name", [&] { host().sessions().setName(textOf(session), Clients::caller(), textOf(name)); },
        session, name);
}

HRESULT SessionService::GetMachine(BSTR session, IMachine** machine)
{
    return get(
        L"ISession::get_Machine", machine,
        [&] {
            const SessionPtr holder = locked(session);
            return make<MachineObject>(server(), MachineView(host(), holder->machine, holder->lock));
        },
        session);
}

HRESULT SessionService::GetConsole(BSTR session, IConsole** console)
{
    return get(
        L"ISession::get_Console", console,
        [&] {
            const SessionPtr holder = locked(session);
            return holder->lock->vm ? make<ConsoleObject>(server(), ConsoleView(host(), holder->machine, holder->lock))
                                    : nullptr;
        },
        session);
}

HRESULT SessionService::Unlock(BSTR session)
{
    return call(
        L"ISession::UnlockMachine", [&] { unlockSession(host(), locked(session)); }, session);
}

HRESULT SessionService::GetProcess(ULONG* process)
{
    return get(L"ISimSessions::GetProcess", process, [] { return GetCurrentProcessId(); });
}

HRESULT SessionService::Close(BSTR session)
{
    return call(
        L"ISession::Release", [&] { host().sessions().drop(textOf(session)); }, session);
}

} // namespace VBoxSim
