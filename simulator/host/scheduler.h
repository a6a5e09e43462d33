#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>

namespace VBoxSim {

/// Wakes everybody who waits for a change of the world. Its mutex is the world's.
std::condition_variable& worldChanged();

/// What happens later: two threads that live as long as the server.
class Scheduler
{
public:
    static Scheduler& instance();

    void start();

    /// Runs the task after that time, with the world's mutex held.
    void after(std::uint32_t milliseconds, std::function<void()> task);

    /// Runs long work, one piece after the other, without the world's mutex.
    void work(std::function<void()> job);

    /// Forgets the tasks that have not run yet. Jobs run to their end.
    void dropTasks();

    /// Whether anything is still to be done.
    bool isBusy() const;

private:
    using Clock = std::chrono::steady_clock;

    void runTasks();
    void runJobs();

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::multimap<Clock::time_point, std::function<void()>> tasks_;
    std::deque<std::function<void()>> jobs_;
    bool working_ = false;
};

} // namespace VBoxSim
