#include "host/scheduler.h"

#include "com/call_frame.h"

#include <windows.h>

#include <objbase.h>

#include <thread>

namespace VBoxSim {

std::condition_variable& worldChanged()
{
    static std::condition_variable* const changed = new std::condition_variable;
    return *changed;
}

Scheduler& Scheduler::instance()
{
    static Scheduler* const scheduler = new Scheduler; // its threads never end
    return *scheduler;
}

void Scheduler::start()
{
    std::thread([this] { runTasks(); }).detach();
    std::thread([this] { runJobs(); }).detach();
}

void Scheduler::after(std::uint32_t milliseconds, std::function<void()> task)
{
    const std::lock_guard guard(mutex_);
    tasks_.emplace(Clock::now() + std::chrono::milliseconds(milliseconds), std::move(task));
    changed_.notify_all();
}

void Scheduler::work(std::function<void()> job)
{
    const std::lock_guard guard(mutex_);
    jobs_.push_back(std::move(job));
    changed_.notify_all();
}

void Scheduler::dropTasks()
{
    const std::lock_guard guard(mutex_);
    tasks_.clear();
}

bool Scheduler::isBusy() const
{
    const std::lock_guard guard(mutex_);
    return working_ || !tasks_.empty() || !jobs_.empty();
}

void Scheduler::runTasks()
{
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            if (tasks_.empty())
                changed_.wait(lock);
            else if (tasks_.begin()->first > Clock::now())
                changed_.wait_until(lock, tasks_.begin()->first);
        }
        // The world first, then the list: a task that is dropped meanwhile does not run.
        const WorldLock world(worldMutex());
        std::function<void()> due;
        {
            const std::lock_guard guard(mutex_);
            if (tasks_.empty() || tasks_.begin()->first > Clock::now())
                continue;
            due = std::move(tasks_.begin()->second);
            tasks_.erase(tasks_.begin());
        }
        due();
    }
}

void Scheduler::runJobs()
{
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock lock(mutex_);
            working_ = false;
            changed_.wait(lock, [&] { return !jobs_.empty(); });
            job = std::move(jobs_.front());
            jobs_.pop_front();
            working_ = true;
        }
        job();
    }
}

} // namespace VBoxSim
