#pragma once

#include "com/object.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VBoxSim {

/// A long operation. Guarded by the world's mutex.
class ProgressData
{
public:
    struct Operation
    {
        std::wstring description;
        std::uint32_t weight = 1;
    };

    /// `call` names the call that started it; a failure ordered for "<call>.progress" is for its end.
    ProgressData(std::wstring call, std::wstring description, bool cancelable, std::vector<Operation> operations);

    /// Moves on; a later operation completes the earlier ones.
    void advance(std::size_t operation, std::uint32_t percentOfOperation);
    /// The same by the part done of everything, when the operations are equal in kind.
    void advanceTo(double partOfAll);
    /// The failure that a test ordered for the end, if any; counts it as used.
    std::optional<Failure> orderedFailure() const;
    void succeed();
    void fail(const Failure& failure);

    bool isCompleted() const { return completed_; }
    /// The client asked to stop; the one who works must fail it soon.
    bool isCanceled() const { return canceled_; }
    void forbidCancel() { cancelable_ = false; }

private:
    friend class Progress;

    void complete(ResultCode result);
    std::uint32_t percent() const;

    const std::wstring id_;
    const std::wstring call_;
    const std::wstring description_;
    bool cancelable_;
    std::vector<Operation> operations_;
    std::size_t operation_ = 0;
    std::uint32_t operationPercent_ = 0;
    bool completed_ = false;
    bool canceled_ = false;
    std::optional<Failure> failure_;
    ResultCode result_ = Result::ok;
    std::uint32_t timeout_ = 0;
};
using ProgressPtr = std::shared_ptr<ProgressData>;

/// What a failed or canceled operation ends with.
Failure canceledFailure();

class Progress : public Object<Progress, IProgress>
{
public:
    explicit Progress(ProgressPtr data) : data_(std::move(data)) {}

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
    HRESULT STDMETHODCALLTYPE WaitForCompletion(LONG timeout) override;
    HRESULT STDMETHODCALLTYPE WaitForOperationCompletion(ULONG operation, LONG timeout) override;
    HRESULT STDMETHODCALLTYPE Cancel() override;

    const wchar_t* typeName() const override { return L"IProgress"; }

private:
    const ProgressPtr data_;
};

/// Waits with the world's lock given back. A negative time waits for ever; answers whether the condition came true.
bool waitUntil(WorldLock& lock, LONG milliseconds, const std::function<bool()>& condition);

} // namespace VBoxSim
