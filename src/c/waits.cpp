#include "call.h"
#include "travik/scoped_handle.h"

// What takes its time: the worker looks again and again, and does other calls in between.

namespace Travik::Flat {
namespace {

/// A job of several looks that ends in a failure or well.
class Wait : public Job
{
public:
    bool step(VBoxInstanceImpl& sdk) noexcept final
    {
        try {
            const std::optional<std::uint32_t> code = look(sdk);
            if (code.has_value() && *code != 0 && failure_.code == 0)
                failure_ = failureOf(sdk, *code);
            return code.has_value();
        } catch (...) {
            failure_ = currentFailure();
            return true;
        }
    }

    const Failure& failure() const { return failure_; }
    virtual void deliver() {}

protected:
    /// The result when it is there.
    virtual std::optional<std::uint32_t> look(VBoxInstanceImpl& sdk) = 0;

    Failure failure_;
};

/// Until a progress is complete, or the time is over.
class ProgressWait : public Wait
{
public:
    ProgressWait(VBoxHandle progress, Clock::time_point until) : progress_(progress), until_(until) {}

protected:
    std::optional<std::uint32_t> look(VBoxInstanceImpl& sdk) override
    {
        if (const std::uint32_t code = sdk.progressWaitForCompletion(progress_, 0))
            return code;
        std::uint32_t completed = 0;
        if (const std::uint32_t code = sdk.getProgressCompleted(progress_, &completed))
            return code;
        if (completed != 0)
            return complete(sdk);
        return Clock::now() >= until_ ? std::optional<std::uint32_t>(0) : std::nullopt;
    }

    virtual std::uint32_t complete(VBoxInstanceImpl&) { return 0; }

    VBoxHandle progress_;
    Clock::time_point until_;
};

/// Until a progress is complete; fails as its task did.
class ProgressEnd : public ProgressWait
{
public:
    explicit ProgressEnd(VBoxHandle progress) : ProgressWait(progress, Clock::time_point::max()) {}

protected:
    std::uint32_t complete(VBoxInstanceImpl& sdk) override
    {
        std::int32_t result = 0;
        if (const std::uint32_t code = sdk.getProgressResultCode(progress_, &result))
            return code;
        if (result >= 0)
            return 0;
        std::wstring text;
        sdk.getProgressErrorInfo(progress_, &text); // without it the result has to do
        failure_ = {ProgressWaitForCompletionFail, static_cast<std::uint32_t>(result), toUtf8(text)};
        return failure_.code;
    }
};

/// Until an event comes, or the time is over.
class EventWait : public Wait
{
public:
    EventWait(VBoxHandle source, VBoxHandle listener, Clock::time_point until, travik_event* output)
        : source_(source), listener_(listener), until_(until), event_(output)
    {}

    void deliver() override { event_.deliver(); }

    void abandon(VBoxInstanceImpl& sdk) noexcept override
    {
        if (event_.value != 0)
            Release(HandleOf<Kind::event>::release, event_.value).step(sdk);
    }

protected:
    std::optional<std::uint32_t> look(VBoxInstanceImpl& sdk) override
    {
        if (const std::uint32_t code = sdk.eventSourceGetEvent(source_, listener_, 0, event_.argument()))
            return code;
        const bool ends = event_.value != 0 || Clock::now() >= until_;
        return ends ? std::optional<std::uint32_t>(0) : std::nullopt;
    }

private:
    VBoxHandle source_;
    VBoxHandle listener_;
    Clock::time_point until_;
    OutHandle<Kind::event> event_;
};

/// Until the machine can be locked, or something else than a lock that is just being given back is in the way.
class LockWait : public Wait
{
public:
    LockWait(VBoxHandle machine, std::uint32_t lockType, Clock::time_point until)
        : machine_(machine), lockType_(lockType), until_(until)
    {}

    void abandon(VBoxInstanceImpl& sdk) noexcept override
    {
        if (locked_)
            giveLockBack(sdk);
    }

protected:
    std::optional<std::uint32_t> look(VBoxInstanceImpl& sdk) override
    {
        const std::uint32_t code = sdk.lockMachine(machine_, lockType_);
        locked_ = code == 0;
        if (code != 0 && isLockRace(sdk.getVBoxError()) && Clock::now() < until_)
            return std::nullopt;
        return code;
    }

private:
    VBoxHandle machine_;
    std::uint32_t lockType_;
    Clock::time_point until_;
    bool locked_ = false;
};

/// Whether the caller's own thread waits, as long as the library does.
bool callerWaits()
{
    return Connection::instance().enter() == nullptr;
}

template <class Made, class... Arguments>
std::uint32_t wait(const char* operation, std::uint32_t deadlineMs, travik_error** error, Arguments... arguments)
{
    Connection& connection = Connection::instance();
    const std::shared_ptr<Worker> worker = connection.enter();
    if (worker)
        return runOn(*worker, std::make_shared<Made>(arguments...), connection.deadline(deadlineMs), operation, error);
    Connection::refuseDeadline(deadlineMs);
    Made job(arguments...);
    while (!job.step(requiredLibrary()))
        Sleep(2);
    return finish(job, operation, error);
}

/// Negative: without limit.
Clock::time_point fromNowSigned(std::int32_t ms)
{
    return fromNow(ms < 0 ? TRAVIK_NO_DEADLINE : static_cast<std::uint32_t>(ms));
}

} // namespace
} // namespace Travik::Flat

using namespace Travik::Flat;

extern "C" {

uint32_t travik_progressWaitForCompletion(travik_progress progress, int32_t timeoutMs, uint32_t deadlineMs,
                                          travik_error** error)
{
    return guarded("progressWaitForCompletion", error, [&] {
        if (callerWaits())
            return call<Calls::progressWaitForCompletion>(deadlineMs, error, InHandle<Kind::progress>(progress),
                                                          InNumber(timeoutMs));
        return wait<ProgressWait>("progressWaitForCompletion", deadlineMs, error,
                                  untagged<Kind::progress>(progress.value), fromNowSigned(timeoutMs));
    });
}

uint32_t travik_finishProgress(travik_progress progress, uint32_t deadlineMs, travik_error** error)
{
    return guarded("finishProgress", error, [&] {
        return wait<ProgressEnd>("finishProgress", deadlineMs, error, untagged<Kind::progress>(progress.value));
    });
}

uint32_t travik_lockMachineInTime(travik_machine machine, uint32_t lockType, uint32_t waitMs, uint32_t deadlineMs,
                                  travik_error** error)
{
    return guarded("lockMachineInTime", error, [&] {
        return wait<LockWait>("lockMachine", deadlineMs, error, untagged<Kind::machine>(machine.value), lockType,
                              fromNow(waitMs));
    });
}

uint32_t travik_eventSourceGetEvent(travik_event_source eventSource, travik_event_listener listener, uint32_t timeoutMs,
                                    travik_event* event, uint32_t deadlineMs, travik_error** error)
{
    clear(event);
    return guarded("eventSourceGetEvent", error, [&] {
        if (callerWaits())
            return call<Calls::eventSourceGetEvent>(deadlineMs, error, InHandle<Kind::event_source>(eventSource),
                                                    InHandle<Kind::event_listener>(listener), InNumber(timeoutMs),
                                                    OutHandle<Kind::event>(event));
        return wait<EventWait>("eventSourceGetEvent", deadlineMs, error,
                               untagged<Kind::event_source>(eventSource.value),
                               untagged<Kind::event_listener>(listener.value), fromNow(timeoutMs), event);
    });
}
}
