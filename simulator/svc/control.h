#pragma once

#include <functional>

#include "com/object.h"

namespace VBoxSim {

/// The controls for tests.
class Control : public Object<Control, IVBoxSimControl>
{
public:
    Control(Server& server, std::function<void()> stop) : Object(server), stop_(std::move(stop)) {}

    HRESULT STDMETHODCALLTYPE Status(BSTR* json) override;
    HRESULT STDMETHODCALLTYPE Pause(BSTR machine) override;
    HRESULT STDMETHODCALLTYPE RaiseRuntimeError(BSTR machine, BOOL fatal, BSTR errorId, BSTR message) override;
    HRESULT STDMETHODCALLTYPE CrashVM(BSTR machine) override;
    HRESULT STDMETHODCALLTYPE Fail(BSTR call, LONG result, ULONG times, ULONG after, BOOL answerNull) override;
    HRESULT STDMETHODCALLTYPE Delay(BSTR call, ULONG milliseconds) override;
    HRESULT STDMETHODCALLTYPE DieIn(BSTR call) override;
    HRESULT STDMETHODCALLTYPE HoldLock(ULONG milliseconds) override;
    HRESULT STDMETHODCALLTYPE References(BSTR* listing, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE Trace(BOOL on) override;
    HRESULT STDMETHODCALLTYPE GetTrace(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE LoadScenario(BSTR json) override;
    HRESULT STDMETHODCALLTYPE Reset() override;
    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE DieAfter(ULONG milliseconds) override;
    HRESULT STDMETHODCALLTYPE LastFailure(BSTR* text) override;

    const wchar_t* typeName() const override { return L"IVBoxSimControl"; }
    bool isOwn() const override { return true; }

private:
    /// Controls run neither under faults nor in the trace.
    HRESULT run(const std::function<void()>& body);
    Machine& machineNamed(BSTR name) const;

    const std::function<void()> stop_;
    std::wstring lastFailure_; ///< guarded by the host's lock
};

} // namespace VBoxSim
