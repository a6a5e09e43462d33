#pragma once

#include <deque>
#include <memory>
#include <thread>
#include <vector>

#include "slim_lock.h"
#include "travik/vbox_instance.h"

namespace Travik::Flat {

/// Something that the worker does.
class Job
{
public:
    Job() = default;
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;
    virtual ~Job() = default;

    /// Does it, or looks whether it can be done; false when the worker shall look again. Lets nothing escape.
    virtual bool step(VBoxInstanceImpl& sdk) noexcept = 0;

    /// Nobody waits for the answer any more: gives back what was handed out, ends what was begun.
    virtual void abandon(VBoxInstanceImpl&) noexcept {}

protected:
    /// The time until the next look: short at first, doubled with each to this.
    milliseconds longestPause = milliseconds(50);
    milliseconds pause = milliseconds(0);

private:
    friend class Worker;
    enum class State
    {
        waiting,
        running,
        done,
        refused
    };
    State state_ = State::waiting;
    bool begun_ = false;
    bool abandoned_ = false;
    Clock::time_point nextLook_;
    Signal finished_;
};

/// The thread that owns COM and the library. It does jobs in their order; between them it looks after those that wait
/// for something, and hands out the messages of its apartment.
class Worker
{
public:
    explicit Worker(VBoxInstanceImpl& sdk);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Has a job done and waits for its end. Throws Refused when the deadline passes or the worker stops before.
    void run(const std::shared_ptr<Job>& job, Clock::time_point deadline);

    /// Has a job done, for which nobody waits; not done when the worker stops before.
    void post(std::shared_ptr<Job> job);

    /// Takes no more jobs, refuses those that wait for their turn, and ends after the running one.
    void stop();

    /// Waits for the end; false when the time came first. Then the thread is gone.
    bool waitForEnd(Clock::time_point until);

private:
    struct Turn
    {
        std::shared_ptr<Job> job;
        Clock::time_point until; // without a job: when to look again
        bool ends = false;
    };

    void work();
    Turn nextTurn();
    void take(const std::shared_ptr<Job>& job);
    void settle(const std::shared_ptr<Job>& job, bool done);
    void giveUp(const std::shared_ptr<Job>& job);
    void leave();
    void idle(Clock::time_point until);

    VBoxInstanceImpl& sdk_;
    HANDLE wake_;
    SlimLock guard_;
    std::deque<std::shared_ptr<Job>> queue_;
    std::vector<std::shared_ptr<Job>> looks_;
    bool idle_ = false;
    bool stopping_ = false;
    bool ended_ = false;
    Signal end_;
    std::thread thread_;
};

} // namespace Travik::Flat
