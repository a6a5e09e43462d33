#pragma once

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <mutex>

namespace Travik::Flat {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// The system's own lock: free to make, so that every call can have its own signal.
class SlimLock
{
public:
    SlimLock() = default;
    SlimLock(const SlimLock&) = delete;
    SlimLock& operator=(const SlimLock&) = delete;

    void lock() noexcept { AcquireSRWLockExclusive(&lock_); }
    void unlock() noexcept { ReleaseSRWLockExclusive(&lock_); }

private:
    friend class Signal;
    SRWLOCK lock_ = SRWLOCK_INIT;
};

using Holding = std::unique_lock<SlimLock>;

/// A condition that threads wait for while they hold a lock.
class Signal
{
public:
    Signal() = default;
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

    void raise() noexcept { WakeAllConditionVariable(&condition_); }

    /// Waits until the answer is yes; false when the time came first.
    template <class Question>
    bool wait(Holding& holding, Clock::time_point until, Question&& question)
    {
        while (!question()) {
            DWORD time = INFINITE;
            if (until != Clock::time_point::max()) {
                const auto left = std::chrono::ceil<milliseconds>(until - Clock::now()).count();
                if (left <= 0)
                    return false;
                time = static_cast<DWORD>(std::min<long long>(left, INFINITE - 1));
            }
            SleepConditionVariableSRW(&condition_, &holding.mutex()->lock_, time, 0);
        }
        return true;
    }

private:
    CONDITION_VARIABLE condition_ = CONDITION_VARIABLE_INIT;
};

/// The moment that lies so many milliseconds ahead; TRAVIK_NO_DEADLINE is never.
inline Clock::time_point fromNow(std::uint32_t ms)
{
    return ms == UINT32_MAX ? Clock::time_point::max() : Clock::now() + milliseconds(ms);
}

/// Whether the process is already leaving: the worker is dead then, and nobody may wait for it.
bool processIsLeaving() noexcept;

} // namespace Travik::Flat
