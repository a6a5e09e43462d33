#pragma once

#include "com/object.h"
#include "host/progress.h"

namespace VBoxSim {

class ProgressObject : public Object<ProgressObject, IProgress>
{
public:
    /// The initiator is the object that started the operation, where VirtualBox tells it.
    ProgressObject(Server& server, ProgressPtr progress, ComPtr<IUnknown> initiator = nullptr)
        : Object(server), progress_(std::move(progress)), initiator_(std::move(initiator))
    {}

    HRESULT STDMETHODCALLTYPE get_Id(BSTR* id) override;
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* description) override;
    HRESULT STDMETHODCALLTYPE get_Initiator(IUnknown** initiator) override;
    HRESULT STDMETHODCALLTYPE get_Cancelable(BOOL* cancelable) override;
    HRESULT STDMETHODCALLTYPE get_Percent(ULONG* percent) override;
    HRESULT STDMETHODCALLTYPE get_TimeRemaining(LONG* seconds) override;
    HRESULT STDMETHODCALLTYPE get_Completed(BOOL* completed) override;
    HRESULT STDMETHODCALLTYPE get_Canceled(BOOL* canceled) override;
    HRESULT STDMETHODCALLTYPE get_ResultCode(LONG* result) override;
    HRESULT STDMETHODCALLTYPE get_ErrorInfo(IVirtualBoxErrorInfo** error) override;
    HRESULT STDMETHODCALLTYPE get_OperationCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE get_Operation(ULONG* operation) override;
    HRESULT STDMETHODCALLTYPE get_OperationDescription(BSTR* description) override;
    HRESULT STDMETHODCALLTYPE get_OperationPercent(ULONG* percent) override;
    HRESULT STDMETHODCALLTYPE get_OperationWeight(ULONG* weight) override;
    HRESULT STDMETHODCALLTYPE get_Timeout(ULONG* milliseconds) override;
    HRESULT STDMETHODCALLTYPE put_Timeout(ULONG milliseconds) override;
    HRESULT STDMETHODCALLTYPE get_EventSource(IEventSource** source) override;
    HRESULT STDMETHODCALLTYPE WaitForCompletion(LONG timeout) override;
    HRESULT STDMETHODCALLTYPE WaitForOperationCompletion(ULONG operation, LONG timeout) override;
    HRESULT STDMETHODCALLTYPE Cancel() override;

    const wchar_t* typeName() const override { return L"IProgress"; }

private:
    const ProgressPtr progress_;
    const ComPtr<IUnknown> initiator_;
};

} // namespace VBoxSim
