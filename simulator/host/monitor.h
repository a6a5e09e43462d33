#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace VBoxSim {

using HostLock = std::unique_lock<std::mutex>;

/// The mutex that guards everything a host keeps, and the condition that tells of its changes. Nobody waits for a
/// client, a file copy or the time with the mutex held.
class Monitor
{
public:
    HostLock lock() { return HostLock(mutex_); }
    /// Wakes everybody who waits for a change.
    void notify() noexcept { changed_.notify_all(); }
    /// Waits with the lock given back. A negative time waits for ever; answers whether the condition came true.
    bool wait(HostLock& lock, std::int32_t milliseconds, const std::function<bool()>& condition)
    {
        if (milliseconds >= 0)
            return changed_.wait_for(lock, std::chrono::milliseconds(milliseconds), condition);
        changed_.wait(lock, condition);
        return true;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
};

} // namespace VBoxSim
