#include "worker.h"

#include <array>

namespace TravikTest {

Worker::Worker() : thread_([this] { work(); }) {}

Worker::~Worker()
{
    {
        const std::lock_guard lock(guard_);
        ends_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void Worker::start(std::function<void()> job)
{
    {
        const std::lock_guard lock(guard_);
        jobs_.push_back(std::move(job));
    }
    changed_.notify_all();
}

bool Worker::drain(std::chrono::milliseconds limit)
{
    std::unique_lock lock(guard_);
    return changed_.wait_for(lock, limit, [this] { return jobs_.empty() && !busy_; });
}

bool Worker::run(std::function<void()> job, std::chrono::milliseconds limit)
{
    start(std::move(job));
    return drain(limit);
}

void Worker::work()
{
    std::unique_lock lock(guard_);
    for (;;) {
        changed_.wait(lock, [this] { return ends_ || !jobs_.empty(); });
        if (jobs_.empty())
            return;
        const std::function<void()> job = std::move(jobs_.front());
        jobs_.pop_front();
        busy_ = true;
        lock.unlock();
        job();
        lock.lock();
        busy_ = false;
        changed_.notify_all();
    }
}

Worker& worker(std::size_t number)
{
    static std::array<Worker, 4> workers;
    return workers.at(number);
}

} // namespace TravikTest
