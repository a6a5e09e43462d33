#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "slim_lock.h"
#include "travik/travik.h"

namespace Travik::Flat {

struct Notice
{
    std::uint32_t kind = TRAVIK_NOTICE_STATE;
    std::uint32_t state = 0;
    bool fatal = false;
    std::uint32_t code = 0;
    std::uint32_t result = 0;
    std::string id = {};
    std::string text = {};
};

/// The watches as their callers see them: keeps notices for them and calls the callbacks, on a thread of its own, so
/// that a callback may call back in and the worker never waits for one.
class Watchers : public std::enable_shared_from_this<Watchers>
{
public:
    /// callback null: the notices wait for next.
    std::uint64_t add(travik_callback callback, void* context);

    void deliver(std::uint64_t watcher, Notice notice);

    /// False when the watch has ended: nobody is there to be told.
    bool knows(std::uint64_t watcher);

    /// Afterwards no callback of the watch runs, but the one that this is called from.
    void remove(std::uint64_t watcher);

    /// The next notice; false when none came. Throws Refused when there is no such watch without callback.
    bool next(std::uint64_t watcher, Clock::time_point until, Notice& notice);

    /// Ends all watches and the thread. False when a running callback did not end in time.
    bool close(Clock::time_point until);

private:
    struct Watcher
    {
        travik_callback callback;
        void* context;
        std::deque<Notice> notices = {};
    };

    void run();
    bool callsNow(std::uint64_t watcher) const;

    SlimLock guard_;
    Signal changed_;
    std::map<std::uint64_t, Watcher> all_;
    std::deque<std::uint64_t> order_; // of the watches with callbacks, one entry for a notice
    std::uint64_t called_ = 0;        // the watch whose callback runs
    bool closed_ = false;
    bool threadRuns_ = false;
    std::thread::id thread_;
};

} // namespace Travik::Flat
