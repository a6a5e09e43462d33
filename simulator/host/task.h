#pragma once

#include <functional>
#include <memory>

#include "host/progress.h"

namespace VBoxSim {

class Host;

/// Long work behind a progress. However it ends (by itself, by a cancel, an ordered failure, a reset of the host, or
/// anything that is thrown, out-of-memory too), its progress is completed, and what it made is gone unless it
/// succeeded.
///
/// Work on files is done by work() on the host's worker, and finish() shows the result; work that only takes time goes
/// from step to step by after(), and the last step calls end().
class Task : public std::enable_shared_from_this<Task>
{
public:
    virtual ~Task();
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;

    const ProgressPtr& progress() const { return progress_; }
    /// Gives the task to the worker. With the host's mutex held.
    void start();

protected:
    Task(Host& host, Progress::Plan plan);

    Host& host() const { return host_; }
    /// Does a step after that time, with the host's mutex held; what it throws ends the task.
    void after(std::uint32_t milliseconds, std::function<void()> step);
    /// Ends the task; the first end counts. With the host's mutex held.
    void end(const std::optional<Failure>& failure) noexcept;
    /// Throws when the task must not go on: canceled, ordered to fail, or left behind by a reset.
    void checkGoesOn() const;
    /// For work on files: tells how far an operation is, and whether to go on. Without the mutex.
    bool report(std::size_t operation, std::uint64_t done, std::uint64_t total);

    /// Without the host's mutex.
    virtual void work() {}
    /// With the host's mutex held, as the two that follow; may still throw.
    virtual void finish() {}
    /// Takes back what was made.
    virtual void rollBack() {}

private:
    void run() noexcept;

    Host& host_;
    const std::uint64_t generation_;
    const ProgressPtr progress_;
};

/// Starts a task of that type and gives its progress.
template <class Work, class... Arguments>
ProgressPtr startTask(Arguments&&... arguments)
{
    const auto task = std::make_shared<Work>(std::forward<Arguments>(arguments)...);
    task->start();
    return task->progress();
}

} // namespace VBoxSim
