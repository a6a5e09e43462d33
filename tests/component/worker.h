#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace TravikTest {

/// A thread that lives as long as the tests do and runs one thing after the other.
class Worker
{
public:
    Worker();
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Runs it there; false when it has not come to its end in time (it goes on nevertheless; see drain).
    bool run(std::function<void()> job, std::chrono::milliseconds limit = std::chrono::seconds(5));

    /// Starts it there.
    void start(std::function<void()> job);

    /// Waits for everything that was started; false when that takes too long.
    bool drain(std::chrono::milliseconds limit = std::chrono::seconds(10));

private:
    void work();

    std::mutex guard_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> jobs_;
    bool busy_ = false;
    bool ends_ = false;
    std::thread thread_;
};

/// The threads of the tests: few, and kept, because one that starts while another ends can stall under Wine.
Worker& worker(std::size_t number = 0);

} // namespace TravikTest
