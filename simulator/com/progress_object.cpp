#include "com/progress_object.h"

#include "com/error_info.h"
#include "com/event_objects.h"

namespace VBoxSim {

HRESULT ProgressObject::get_Id(BSTR* id)
{
    return get(L"IProgress::get_Id", id, [&] { return progress_->id(); });
}

HRESULT ProgressObject::get_Description(BSTR* description)
{
    return get(L"IProgress::get_Description", description, [&] { return progress_->description(); });
}

HRESULT ProgressObject::get_Initiator(IUnknown** initiator)
{
    return get(L"IProgress::get_Initiator", initiator, [&] { return initiator_; });
}

HRESULT ProgressObject::get_Cancelable(BOOL* cancelable)
{
    return get(L"IProgress::get_Cancelable", cancelable, [&] { return progress_->isCancelable(); });
}

HRESULT ProgressObject::get_Percent(ULONG* percent)
{
    return get(L"IProgress::get_Percent", percent, [&] { return progress_->percent(); });
}

HRESULT ProgressObject::get_TimeRemaining(LONG* seconds)
{
    return get(L"IProgress::get_TimeRemaining", seconds, [&] { return progress_->isCompleted() ? 0 : -1; });
}

HRESULT ProgressObject::get_Completed(BOOL* completed)
{
    return get(L"IProgress::get_Completed", completed, [&] { return progress_->isCompleted(); });
}

HRESULT ProgressObject::get_Canceled(BOOL* canceled)
{
    return get(L"IProgress::get_Canceled", canceled, [&] { return progress_->isCanceled(); });
}

HRESULT ProgressObject::get_ResultCode(LONG* result)
{
    return get(L"IProgress::get_ResultCode", result, [&] { return progress_->result(); });
}

HRESULT ProgressObject::get_ErrorInfo(IVirtualBoxErrorInfo** error)
{
    return get(L"IProgress::get_ErrorInfo", error, [&] {
        const auto& failure = progress_->failure();
        return failure ? make<ErrorInfo>(server(), *failure, componentOf(progress_->call()), IID_IProgress) : nullptr;
    });
}

HRESULT ProgressObject::get_OperationCount(ULONG* count)
{
    return get(L"IProgress::get_OperationCount", count, [&] { return progress_->operationCount(); });
}

HRESULT ProgressObject::get_Operation(ULONG* operation)
{
    return get(L"IProgress::get_Operation", operation, [&] { return progress_->operationNumber(); });
}

HRESULT ProgressObject::get_OperationDescription(BSTR* description)
{
    return get(L"IProgress::get_OperationDescription", description, [&] { return progress_->operation().description; });
}

HRESULT ProgressObject::get_OperationPercent(ULONG* percent)
{
    return get(L"IProgress::get_OperationPercent", percent, [&] { return progress_->operationPercent(); });
}

HRESULT ProgressObject::get_OperationWeight(ULONG* weight)
{
    return get(L"IProgress::get_OperationWeight", weight, [&] { return progress_->operation().weight; });
}

HRESULT ProgressObject::get_Timeout(ULONG* milliseconds)
{
    return get(L"IProgress::get_Timeout", milliseconds, [&] { return progress_->timeout(); });
}

HRESULT ProgressObject::put_Timeout(ULONG milliseconds)
{
    return call(
        L"IProgress::put_Timeout", [&] { progress_->setTimeout(milliseconds); }, milliseconds);
}

HRESULT ProgressObject::get_EventSource(IEventSource** source)
{
    return get(L"IProgress::get_EventSource", source,
               [&] { return make<EventSourceObject>(server(), progress_->events()); });
}

HRESULT ProgressObject::WaitForCompletion(LONG timeout)
{
    return call(
        L"IProgress::WaitForCompletion", [&](HostLock& lock) { progress_->wait(lock, timeout); }, timeout);
}

HRESULT ProgressObject::WaitForOperationCompletion(ULONG operation, LONG timeout)
{
    return call(
        L"IProgress::WaitForOperationCompletion",
        [&](HostLock& lock) { progress_->waitForOperation(lock, operation, timeout); }, operation, timeout);
}

HRESULT ProgressObject::Cancel()
{
    return call(L"IProgress::Cancel", [&] { progress_->cancel(); });
}

} // namespace VBoxSim
