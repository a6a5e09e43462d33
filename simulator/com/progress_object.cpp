#include "com/progress_object.h"

#include "base/text.h"
#include "com/error_info.h"
#include "host/scheduler.h"

#include <algorithm>

namespace VBoxSim {

Failure canceledFailure()
{
    return Failure(Result::fail, L"The operation was canceled");
}

bool waitUntil(WorldLock& lock, LONG milliseconds, const std::function<bool()>& condition)
{
    if (milliseconds < 0) {
        worldChanged().wait(lock, condition);
        return true;
    }
    return worldChanged().wait_for(lock, std::chrono::milliseconds(milliseconds), condition);
}

ProgressData::ProgressData(std::wstring call, std::wstring description, bool cancelable,
                           std::vector<Operation> operations)
    : id_(newUuid()),
      call_(std::move(call)),
      description_(std::move(description)),
      cancelable_(cancelable),
      operations_(std::move(operations))
{}

void ProgressData::advance(std::size_t operation, std::uint32_t percentOfOperation)
{
    operation_ = std::min(operation, operations_.size() - 1);
    operationPercent_ = std::min<std::uint32_t>(percentOfOperation, 100);
    worldChanged().notify_all();
}

void ProgressData::advanceTo(double partOfAll)
{
    const double place = std::clamp(partOfAll, 0.0, 1.0) * static_cast<double>(operations_.size());
    const std::size_t operation = std::min(static_cast<std::size_t>(place), operations_.size() - 1);
    advance(operation, static_cast<std::uint32_t>((place - static_cast<double>(operation)) * 100));
}

void ProgressData::complete(ResultCode result)
{
    completed_ = true;
    result_ = result;
    worldChanged().notify_all();
}

std::optional<Failure> ProgressData::orderedFailure() const
{
    const CallFault fault = faults().take(call_ + L".progress");
    if (!fault.fails)
        return std::nullopt;
    return Failure(fault.result, L"Failure ordered by a test");
}

void ProgressData::succeed()
{
    if (completed_)
        return;
    operation_ = operations_.size() - 1;
    operationPercent_ = 100;
    complete(Result::ok);
}

void ProgressData::fail(const Failure& failure)
{
    if (completed_)
        return;
    failure_ = failure;
    complete(failure.code());
}

std::uint32_t ProgressData::percent() const
{
    if (completed_)
        return 100;
    std::uint64_t all = 0, done = 0;
    for (std::size_t i = 0; i < operations_.size(); ++i) {
        all += operations_[i].weight * 100ull;
        done += operations_[i].weight * (i < operation_ ? 100ull : i == operation_ ? operationPercent_ : 0ull);
    }
    return std::min<std::uint32_t>(99, static_cast<std::uint32_t>(all ? done * 100 / all : 0));
}

HRESULT Progress::get_Id(BSTR* id)
{
    return get(L"IProgress::get_Id", id, [&] { return data_->id_; });
}

HRESULT Progress::get_Description(BSTR* description)
{
    return get(L"IProgress::get_Description", description, [&] { return data_->description_; });
}

HRESULT Progress::get_Initiator(IUnknown** initiator)
{
    return get(L"IProgress::get_Initiator", initiator, [] { return nullptr; });
}

HRESULT Progress::get_Cancelable(BOOL* cancelable)
{
    return get(L"IProgress::get_Cancelable", cancelable, [&] { return data_->cancelable_; });
}

HRESULT Progress::get_Percent(ULONG* percent)
{
    return get(L"IProgress::get_Percent", percent, [&] { return data_->percent(); });
}

HRESULT Progress::get_TimeRemaining(LONG* seconds)
{
    return get(L"IProgress::get_TimeRemaining", seconds, [&] { return data_->completed_ ? 0 : -1; });
}

HRESULT Progress::get_Completed(BOOL* completed)
{
    return get(L"IProgress::get_Completed", completed, [&] { return data_->completed_; });
}

HRESULT Progress::get_Canceled(BOOL* canceled)
{
    return get(L"IProgress::get_Canceled", canceled, [&] { return data_->canceled_; });
}

HRESULT Progress::get_ResultCode(LONG* result)
{
    return get(L"IProgress::get_ResultCode", result, [&] {
        if (!data_->completed_)
            throw Failure(Result::fail, L"Result code is not available, operation is still in progress");
        return data_->result_;
    });
}

HRESULT Progress::get_ErrorInfo(IVirtualBoxErrorInfo** error)
{
    return get(L"IProgress::get_ErrorInfo", error, [&]() -> ComPtr<ErrorInfo> {
        if (!data_->completed_)
            throw Failure(Result::fail, L"Error info is not available, operation is still in progress");
        if (!data_->failure_)
            return nullptr;
        return make<ErrorInfo>(*data_->failure_, componentOf(data_->call_), IID_IProgress);
    });
}

HRESULT Progress::get_OperationCount(ULONG* count)
{
    return get(L"IProgress::get_OperationCount", count, [&] { return data_->operations_.size(); });
}

HRESULT Progress::get_Operation(ULONG* operation)
{
    return get(L"IProgress::get_Operation", operation, [&] { return data_->operation_; });
}

HRESULT Progress::get_OperationDescription(BSTR* description)
{
    return get(L"IProgress::get_OperationDescription", description,
               [&] { return data_->operations_[data_->operation_].description; });
}

HRESULT Progress::get_OperationPercent(ULONG* percent)
{
    return get(L"IProgress::get_OperationPercent", percent, [&] { return data_->operationPercent_; });
}

HRESULT Progress::get_OperationWeight(ULONG* weight)
{
    return get(L"IProgress::get_OperationWeight", weight, [&] { return data_->operations_[data_->operation_].weight; });
}

HRESULT Progress::get_Timeout(ULONG* milliseconds)
{
    return get(L"IProgress::get_Timeout", milliseconds, [&] { return data_->timeout_; });
}

HRESULT Progress::put_Timeout(ULONG milliseconds)
{
    return call(
        L"IProgress::put_Timeout", [&] { data_->timeout_ = milliseconds; }, milliseconds);
}

HRESULT Progress::WaitForCompletion(LONG timeout)
{
    return call(
        L"IProgress::WaitForCompletion",
        [&](WorldLock& lock) { waitUntil(lock, timeout, [&] { return data_->completed_; }); }, timeout);
}

HRESULT Progress::WaitForOperationCompletion(ULONG operation, LONG timeout)
{
    return call(
        L"IProgress::WaitForOperationCompletion",
        [&](WorldLock& lock) {
            if (operation >= data_->operations_.size())
                throw Failure(Result::fail, L"The operation number is too large");
            waitUntil(lock, timeout, [&] { return data_->completed_ || data_->operation_ > operation; });
        },
        operation, timeout);
}

HRESULT Progress::Cancel()
{
    return call(L"IProgress::Cancel", [&] {
        if (!data_->cancelable_)
            throw Failure(Result::invalidObjectState, L"Operation cannot be canceled");
        if (!data_->completed_)
            data_->canceled_ = true;
        worldChanged().notify_all();
    });
}

} // namespace VBoxSim
