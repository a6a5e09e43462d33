#include "session/client.h"

#include <objbase.h>

#include "session/session_object.h"

namespace VBoxSim {

HRESULT Client::get_VirtualBox(IVirtualBox** virtualBox)
{
    if (!virtualBox)
        return E_POINTER;
    const HRESULT result = CoCreateInstance(CLSID_VirtualBox, nullptr, CLSCTX_LOCAL_SERVER, IID_IVirtualBox,
                                            reinterpret_cast<void**>(virtualBox));
    if (SUCCEEDED(result))
        noteServer();
    return result;
}

void Client::noteServer()
{
    Microsoft::WRL::ComPtr<ISimSessions> service;
    ULONG process = 0;
    if (SUCCEEDED(CoCreateInstance(sessionsClass, nullptr, CLSCTX_LOCAL_SERVER, IID_ISimSessions,
                                   reinterpret_cast<void**>(service.GetAddressOf()))) &&
        SUCCEEDED(service->GetProcess(&process)))
        events_->serverAnswers(process);
}

HRESULT Client::get_EventSource(IEventSource** source)
{
    if (!source)
        return E_POINTER;
    noteServer();
    return events_.CopyTo<IEventSource>(source);
}

HRESULT Client::get_Session(ISession** session)
{
    if (!session)
        return E_POINTER;
    return makeLocal<SessionObject>(IID_ISession, reinterpret_cast<void**>(session));
}

HRESULT Client::CheckMachineError(IMachine* machine)
{
    if (!machine)
        return E_INVALIDARG;
    BOOL accessible = FALSE;
    const HRESULT result = machine->get_Accessible(&accessible);
    if (FAILED(result) || accessible)
        return result;
    Microsoft::WRL::ComPtr<IVirtualBoxErrorInfo> error;
    LONG code = E_FAIL;
    if (SUCCEEDED(machine->get_AccessError(&error)) && error)
        error->get_ResultCode(&code);
    return FAILED(code) ? code : E_FAIL;
}

} // namespace VBoxSim
