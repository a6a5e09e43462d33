#include "host/scheduler.h"

#include <exception>
#include <utility>

namespace VBoxSim {

namespace {

constexpr int workers = 4;

void runGuarded(const std::function<void()>& work) noexcept
{
    try {
        work();
    } catch (const std::exception&) {
        // Whoever waits for the work waits for its progress, and a task ends that itself. The threads serve the others.
    }
}

} // namespace

Scheduler::~Scheduler()
{
    {
        const std::lock_guard guard(mutex_);
        stopped_ = true;
        changed_.notify_all();
    }
    for (std::thread& thread : threads_)
        thread.join();
}

void Scheduler::start(const std::function<void()>& enter)
{
    threads_.emplace_back([this, enter] {
        enter();
        runSteps();
    });
    for (int i = 0; i < workers; ++i)
        threads_.emplace_back([this, enter] {
            enter();
            runJobs();
        });
}

void Scheduler::after(std::uint32_t milliseconds, std::function<void()> step)
{
    const std::lock_guard guard(mutex_);
    steps_.emplace(clock_.now() + std::chrono::milliseconds(milliseconds), std::move(step));
    changed_.notify_all();
}

void Scheduler::work(std::function<void()> job)
{
    const std::lock_guard guard(mutex_);
    jobs_.push_back(std::move(job));
    changed_.notify_all();
}

void Scheduler::dropSteps()
{
    std::multimap<Clock::TimePoint, std::function<void()>> dropped; // ends after the list's mutex is free
    const std::lock_guard guard(mutex_);
    dropped.swap(steps_);
}

bool Scheduler::isBusy() const
{
    const std::lock_guard guard(mutex_);
    return working_ > 0 || !steps_.empty() || !jobs_.empty();
}

void Scheduler::runDue()
{
    while (runStep() || runJob()) {
    }
}

bool Scheduler::runStep()
{
    // The host first, then the list: a step that is dropped meanwhile does not run.
    const HostLock host = monitor_.lock();
    std::function<void()> due;
    {
        const std::lock_guard guard(mutex_);
        if (steps_.empty() || steps_.begin()->first > clock_.now())
            return false;
        due = std::move(steps_.begin()->second);
        steps_.erase(steps_.begin());
    }
    runGuarded(due);
    due = nullptr; // what it held goes with the host's mutex held
    return true;
}

bool Scheduler::runJob()
{
    std::function<void()> job;
    {
        const std::lock_guard guard(mutex_);
        if (jobs_.empty())
            return false;
        job = std::move(jobs_.front());
        jobs_.pop_front();
        ++working_;
    }
    runGuarded(job);
    job = nullptr;
    const std::lock_guard guard(mutex_);
    --working_;
    return true;
}

void Scheduler::runSteps()
{
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            if (stopped_)
                return;
            if (steps_.empty())
                changed_.wait(lock);
            else if (const Clock::TimePoint next = steps_.begin()->first; next > clock_.now())
                changed_.wait_until(lock, next);
        }
        runStep();
    }
}

void Scheduler::runJobs()
{
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [&] { return stopped_ || !jobs_.empty(); });
            if (stopped_)
                return;
        }
        runJob();
    }
}

} // namespace VBoxSim
