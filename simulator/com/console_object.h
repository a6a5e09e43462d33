#pragma once

#include "com/object.h"
#include "host/device_views.h"

namespace VBoxSim {

class ConsoleObject : public Object<ConsoleObject, IConsole>
{
public:
    ConsoleObject(Server& server, ConsoleView view) : Object(server), view_(std::move(view)) {}

    HRESULT STDMETHODCALLTYPE get_Machine(IMachine** machine) override;
    HRESULT STDMETHODCALLTYPE get_State(ULONG* state) override;
    HRESULT STDMETHODCALLTYPE get_SharedFolders(SAFEARRAY** folders) override;
    HRESULT STDMETHODCALLTYPE get_EventSource(IEventSource** source) override;
    HRESULT STDMETHODCALLTYPE Reset() override;
    HRESULT STDMETHODCALLTYPE PowerButton() override;
    HRESULT STDMETHODCALLTYPE SleepButton() override;
    HRESULT STDMETHODCALLTYPE GetPowerButtonHandled(BOOL* handled) override;
    HRESULT STDMETHODCALLTYPE GetGuestEnteredACPIMode(BOOL* entered) override;
    HRESULT STDMETHODCALLTYPE PowerDown(IProgress** progress) override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Resume() override;
    HRESULT STDMETHODCALLTYPE CreateSharedFolder(BSTR name, BSTR hostPath, BOOL writable, BOOL autoMount,
                                                 BSTR mountPoint) override;
    HRESULT STDMETHODCALLTYPE RemoveSharedFolder(BSTR name) override;

    const wchar_t* typeName() const override { return L"IConsole"; }

private:
    void checkUsable() const override { view_.checkUsable(); }

    const ConsoleView view_;
};

} // namespace VBoxSim
