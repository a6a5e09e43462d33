#pragma once

#include "com/object.h"
#include "host/world.h"

namespace VBoxSim {

/// A running machine. With its process it goes away: calls then fail as if a server had died.
class Console : public Object<Console, IConsole>
{
public:
    Console(MachinePtr machine, LockPtr lock) : machine_(std::move(machine)), lock_(std::move(lock)) {}

    HRESULT STDMETHODCALLTYPE get_Machine(IMachine** machine) override;
    HRESULT STDMETHODCALLTYPE get_State(ULONG* state) override;
    HRESULT STDMETHODCALLTYPE get_SharedFolders(SAFEARRAY** folders) override;
    HRESULT STDMETHODCALLTYPE get_EventSource(IEventSource** source) override;
    HRESULT STDMETHODCALLTYPE PowerDown(IProgress** progress) override;
    HRESULT STDMETHODCALLTYPE Pause() override;
    HRESULT STDMETHODCALLTYPE Resume() override;
    HRESULT STDMETHODCALLTYPE CreateSharedFolder(BSTR name, BSTR hostPath, BOOL writable, BOOL autoMount,
                                                 BSTR mountPoint) override;
    HRESULT STDMETHODCALLTYPE RemoveSharedFolder(BSTR name) override;

    const wchar_t* typeName() const override { return L"IConsole"; }

private:
    void checkUsable() const override;
    void requireSteady() const;
    void fireSharedFolderChanged();

    const MachinePtr machine_;
    const LockPtr lock_;
};

} // namespace VBoxSim
