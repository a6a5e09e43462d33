#pragma once

#include <deque>
#include <map>
#include <thread>
#include <vector>

#include "host/clock.h"
#include "host/monitor.h"

namespace VBoxSim {

/// What happens later. No thread ends by what its work throws: a task ends itself, see Task.
class Scheduler
{
public:
    Scheduler(Monitor& monitor, const Clock& clock) : monitor_(monitor), clock_(clock) {}
    ~Scheduler();
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;

    /// Starts its threads; each calls `enter` first.
    void start(const std::function<void()>& enter);

    /// Runs the step after that time, with the host's mutex held.
    void after(std::uint32_t milliseconds, std::function<void()> step);
    /// Runs long work without the mutex. Some pieces run at a time, so that one client's does not hold up the others'.
    void work(std::function<void()> job);

    /// Forgets the steps that have not run yet. Jobs run to their end. With the host's mutex held.
    void dropSteps();
    /// Whether anything is still to be done.
    bool isBusy() const;

    /// For a host whose threads are not started: does all work that is due by now, without the mutex held.
    void runDue();

private:
    bool runStep();
    bool runJob();
    void runSteps();
    void runJobs();

    Monitor& monitor_;
    const Clock& clock_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::multimap<Clock::TimePoint, std::function<void()>> steps_;
    std::deque<std::function<void()>> jobs_;
    unsigned working_ = 0; ///< jobs that run
    bool stopped_ = false;
    std::vector<std::thread> threads_;
};

} // namespace VBoxSim
