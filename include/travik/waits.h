#ifndef TRAVIK_WAITS_H
#define TRAVIK_WAITS_H

// Part of the helper (scoped_handle.h): waits, each with a deadline.

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <type_traits>

#include "errors.h"
#include "owners.h"
#include "vbox_instance.h"

namespace Travik {

/// The moment until which a wait may last; made of any duration, too. Every wait here wants one.
class Deadline
{
public:
    using Clock = std::chrono::steady_clock;

    template <class Count, class Period>
    Deadline(std::chrono::duration<Count, Period> fromNow) : at_(after(fromNow))
    {}
    /// For a wait that something else ends.
    [[nodiscard]] static Deadline never() { return Deadline(Clock::time_point::max()); }

    [[nodiscard]] bool passed() const { return Clock::now() >= at_; }

    /// What is left of it, at most limit, never negative.
    [[nodiscard]] std::chrono::milliseconds left(std::chrono::milliseconds limit) const
    {
        const Clock::time_point now = Clock::now();
        if (at_ <= now)
            return std::chrono::milliseconds(0);
        if (at_ - now >= limit)
            return limit;
        return std::chrono::duration_cast<std::chrono::milliseconds>(at_ - now) + std::chrono::milliseconds(1);
    }

private:
    explicit Deadline(Clock::time_point at) : at_(at) {}

    template <class Duration>
    static Clock::time_point after(Duration fromNow)
    {
        const Clock::time_point now = Clock::now();
        // Hours without end do not fit.
        const std::chrono::duration<double> most = Clock::time_point::max() - now;
        return fromNow >= most ? Clock::time_point::max() : now + std::chrono::ceil<Clock::duration>(fromNow);
    }

    Clock::time_point at_;
};

/// Called again and again while something waits; may throw to end the wait.
using OnWait = std::function<void()>;

namespace Details {

inline void tick(const OnWait& onWait)
{
    if (onWait)
        onWait();
}

inline void waitFor(VBoxInstanceImpl& vbox, VBoxHandle progress, Deadline deadline, const OnWait& onWait = OnWait())
{
    while (ask<std::uint32_t>(vbox, &VBoxInstanceImpl::getProgressCompleted, progress) == 0) {
        if (deadline.passed())
            throw TimedOut("the task was not complete in time");
        tick(onWait);
        const auto slice = static_cast<std::int32_t>(deadline.left(std::chrono::milliseconds(200)).count());
        run(vbox, &VBoxInstanceImpl::progressWaitForCompletion, progress, slice);
    }
    const auto result = ask<std::int32_t>(vbox, &VBoxInstanceImpl::getProgressResultCode, progress);
    if (result < 0)
        throw ProgressError(static_cast<std::uint32_t>(result),
                            ask<std::wstring>(vbox, &VBoxInstanceImpl::getProgressErrorInfo, progress));
}

} // namespace Details

/// Waits until a progress is complete. Throws ProgressError with the progress's own result and text when the task
/// failed, TimedOut when the deadline passed first (the task goes on).
inline void waitFor(VBoxInstanceImpl& vbox, const ScopedProgress& progress, Deadline deadline,
                    const OnWait& onWait = OnWait())
{
    Details::waitFor(vbox, progress.get(), deadline, onWait);
}

/// Creates the VirtualBox objects on this thread, or throws. Tries again until the deadline while the server cannot be
/// started (0x80080005) or is gone before it answers, as happens when the previous one is just going down.
inline void connect(VBoxInstanceImpl& vbox, Deadline deadline, const OnWait& onWait = OnWait())
{
    for (;;) {
        run(vbox, &VBoxInstanceImpl::initComComponent);
        const std::uint32_t result = vbox.getVBoxError(); // its return value does not tell
        if (result == 0)
            return;
        if ((result != 0x80080005 && !isProcessGone(result)) || deadline.passed())
            throw SdkError(InitVboxComFail, result, vbox.getVBoxErrorMessage());
        Details::tick(onWait);
        std::this_thread::sleep_for(deadline.left(std::chrono::milliseconds(250)));
        vbox.releaseRC();
    }
}

/// Connects anew after the server went away. All handles are void; owners of such handles may stay and end as usual.
inline void reconnect(VBoxInstanceImpl& vbox, Deadline deadline, const OnWait& onWait = OnWait())
{
    run(vbox, &VBoxInstanceImpl::resetComComponent);
    connect(vbox, deadline, onWait); // which finds out whether it worked
}

/// Runs something that needs a free lock, again and again while it fails in the lock race, until the deadline. Any
/// other failure, and the last one of the race, is thrown. Returns how long it waited.
///     retryWhileLocked(10s, [&] { vbox.deleteMachine(machine); });
template <class Action>
std::chrono::milliseconds retryWhileLocked(Deadline deadline, Action&& action, const OnWait& onWait = OnWait())
{
    const Deadline::Clock::time_point start = Deadline::Clock::now();
    for (;;) {
        try {
            action();
            return std::chrono::duration_cast<std::chrono::milliseconds>(Deadline::Clock::now() - start);
        } catch (const SdkError& failure) {
            if (!isLockRace(failure.result()) || deadline.passed())
                throw;
        }
        Details::tick(onWait);
        std::this_thread::sleep_for(deadline.left(std::chrono::milliseconds(50)));
    }
}

/// The same with an operation of the plain interface:
///     retryWhileLocked(vbox, 10s, [&] { return vbox.deleteMachine(handle); });
template <class Operation>
std::chrono::milliseconds retryWhileLocked(VBoxInstanceImpl& vbox, Deadline deadline, Operation&& operation,
                                           const OnWait& onWait = OnWait())
{
    return retryWhileLocked(
        deadline, [&] { check(vbox, operation()); }, onWait);
}

} // namespace Travik

#endif
