#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/failure.h"
#include "host/events.h"
#include "host/fault_table.h"
#include "host/monitor.h"

namespace VBoxSim {

/// How far a long operation is. Guarded by the host's mutex.
class Progress
{
public:
    struct Operation
    {
        std::wstring description;
        std::uint32_t weight = 1;
    };
    /// What is to be done, as the caller sees it.
    struct Plan
    {
        std::wstring call; ///< that started it; a failure ordered for "<call>.progress" is for its end
        std::wstring description;
        bool cancelable = false;
        std::vector<Operation> operations;
    };

    Progress(Monitor& monitor, FaultTable& faults, Plan plan);

    const std::wstring& id() const { return id_; }
    const std::wstring& call() const { return plan_.call; }
    const std::wstring& description() const { return plan_.description; }
    std::uint32_t percent() const;
    bool isCancelable() const { return plan_.cancelable; }
    bool isCompleted() const { return completed_; }
    /// The client asked to stop; the one who works must fail it soon.
    bool isCanceled() const { return canceled_; }
    std::size_t operationCount() const { return plan_.operations.size(); }
    std::size_t operationNumber() const { return operation_; }
    const Operation& operation() const { return plan_.operations[operation_]; }
    std::uint32_t operationPercent() const { return operationPercent_; }
    /// Both throw Failure(fail) before the end.
    ResultCode result() const;
    const std::optional<Failure>& failure() const;
    std::uint32_t timeout() const { return timeout_; }
    void setTimeout(std::uint32_t milliseconds) { timeout_ = milliseconds; }
    /// Tells how far it is and that it has ended.
    const EventSourcePtr& events() const { return events_; }

    /// Throws Failure(invalidObjectState) when it cannot be canceled (any more).
    void cancel();
    void forbidCancel() { plan_.cancelable = false; }
    void wait(HostLock& lock, std::int32_t milliseconds) const;
    void waitForOperation(HostLock& lock, std::uint32_t operation, std::int32_t milliseconds) const;

    /// Moves on; a later operation completes the earlier ones.
    void advance(std::size_t operation, std::uint32_t percentOfOperation);
    /// The failure that a test ordered for the end, if any; counts it as used.
    std::optional<Failure> orderedFailure() const;
    /// The first of the two counts.
    void succeed();
    void fail(const Failure& failure);

private:
    void complete(ResultCode result);
    void tell(std::uint32_t eventType) const;
    void requireCompleted(const wchar_t* what) const;

    Monitor& monitor_;
    FaultTable& faults_;
    const std::wstring id_;
    const EventSourcePtr events_;
    Plan plan_;
    std::size_t operation_ = 0;
    std::uint32_t operationPercent_ = 0;
    bool completed_ = false;
    bool canceled_ = false;
    std::optional<Failure> failure_;
    ResultCode result_ = Result::ok;
    std::uint32_t timeout_ = 0;
};
using ProgressPtr = std::shared_ptr<Progress>;

} // namespace VBoxSim
