#include "host/progress.h"

#include <algorithm>
#include <utility>

#include "base/text.h"
#include "host/error_mapping.h"

namespace VBoxSim {

Progress::Progress(Monitor& monitor, FaultTable& faults, Plan plan)
    : monitor_(monitor),
      faults_(faults),
      id_(newUuid()),
      events_(std::make_shared<EventSource>(monitor)),
      plan_(std::move(plan))
{}

std::uint32_t Progress::percent() const
{
    if (completed_)
        return 100;
    std::uint64_t all = 0, done = 0;
    for (std::size_t i = 0; i < plan_.operations.size(); ++i) {
        const std::uint64_t weight = plan_.operations[i].weight;
        all += weight * 100;
        done += weight * (i < operation_ ? 100 : i == operation_ ? operationPercent_ : 0);
    }
    return std::min<std::uint32_t>(99, static_cast<std::uint32_t>(all ? done * 100 / all : 0));
}

void Progress::requireCompleted(const wchar_t* what) const
{
    if (!completed_)
        throw Failure(Result::fail, std::wstring(what) + L" is not available, operation is still in progress");
}

ResultCode Progress::result() const
{
    requireCompleted(L"Result code");
    return result_;
}

const std::optional<Failure>& Progress::failure() const
{
    requireCompleted(L"Error info");
    return failure_;
}

void Progress::cancel()
{
    if (!plan_.cancelable)
        throw Failure(Result::invalidObjectState, L"Operation cannot be canceled");
    if (!completed_)
        canceled_ = true;
    monitor_.notify();
}

void Progress::wait(HostLock& lock, std::int32_t milliseconds) const
{
    monitor_.wait(lock, milliseconds, [&] { return completed_; });
}

void Progress::waitForOperation(HostLock& lock, std::uint32_t operation, std::int32_t milliseconds) const
{
    if (operation >= plan_.operations.size())
        throw Failure(Result::fail, L"The operation number is too large");
    monitor_.wait(lock, milliseconds, [&] { return completed_ || operation_ > operation; });
}

void Progress::advance(std::size_t operation, std::uint32_t percentOfOperation)
{
    const std::uint32_t percentBefore = percent();
    const std::size_t operationBefore = operation_;
    operation_ = std::min(operation, plan_.operations.size() - 1);
    operationPercent_ = std::min<std::uint32_t>(percentOfOperation, 100);
    if (percent() != percentBefore)
        tell(EventType::OnProgressPercentageChanged);
    if (operation_ != operationBefore)
        monitor_.notify(); // nobody waits for less: to wake a client's call for each block costs more than copying it
}

void Progress::tell(std::uint32_t eventType) const
{
    Event event;
    event.type = eventType;
    event.progressId = id_;
    event.percent = percent();
    events_->fire(std::move(event));
}

std::optional<Failure> Progress::orderedFailure() const
{
    const CallFault fault = faults_.take(plan_.call + L".progress");
    if (!fault.fails)
        return std::nullopt;
    return Failure(fault.result, L"Failure ordered by a test");
}

void Progress::succeed()
{
    if (completed_)
        return;
    operation_ = plan_.operations.size() - 1;
    operationPercent_ = 100;
    complete(Result::ok);
}

void Progress::fail(const Failure& failure)
{
    if (completed_)
        return;
    failure_ = failure;
    complete(failure.code());
}

void Progress::complete(ResultCode result)
{
    completed_ = true;
    result_ = result;
    attempt([&] { tell(EventType::OnProgressTaskCompleted); }); // the end counts also when it cannot be told
    monitor_.notify();
}

} // namespace VBoxSim
