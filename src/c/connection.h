#pragma once

#include <atomic>
#include <memory>

#include "watchers.h"
#include "worker.h"

namespace Travik::Flat {

/// The library's one object; null when TravikSDK-selq6.dll cannot be loaded. The tests put another one here.
VBoxInstanceImpl* library();

/// The same, or Refused.
VBoxInstanceImpl& requiredLibrary();

/// What travik_open makes and travik_close ends. There is one, which is never destroyed: at the end of the process no
/// lock can be trusted and no thread lives.
class Connection
{
public:
    static Connection& instance();

    void open(const travik_options& options);
    void close(Clock::time_point deadline);

    /// Lets a call in: the worker that is to do it, none when the caller does. Throws Refused when closed.
    std::shared_ptr<Worker> enter();

    /// The same for what nobody waits for: false when closed.
    bool enterQuietly(std::shared_ptr<Worker>& worker) noexcept;

    /// Where the notices go; Refused when there is no such place.
    std::shared_ptr<Watchers> watchers();

    /// The same, also while the library is being closed; null when there is no such place.
    std::shared_ptr<Watchers> watchersToEnd();

    /// The moment that a caller's deadlineMs means.
    Clock::time_point deadline(std::uint32_t deadlineMs) const;

    /// Without a worker nobody can keep a deadline.
    static void refuseDeadline(std::uint32_t deadlineMs);

private:
    enum class State
    {
        closed,
        opening,
        callerThread,
        worker,
        closing
    };

    Connection() = default;
    void begin(const travik_options& options);
    void endWorker(Clock::time_point until);
    void closeQuietly(Clock::time_point until);

    std::atomic<State> state_ = State::closed;
    std::atomic<std::uint32_t> deadlineMs_ = TRAVIK_NO_DEADLINE;
    SlimLock guard_;
    std::shared_ptr<Worker> worker_;
    std::shared_ptr<Watchers> watchers_;
};

} // namespace Travik::Flat
