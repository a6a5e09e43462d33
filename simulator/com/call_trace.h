#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

#include "base/failure.h"

namespace VBoxSim {

/// The calls that the server received while the record was on, in the order of their arrival.
class CallTrace
{
public:
    void turn(bool on);
    bool on() const noexcept { return on_; }

    /// Notes a call's arrival; the number is given back with its end. 0 while the record is off.
    std::uint64_t begin(std::uint32_t process, std::uint32_t thread, const std::wstring& call,
                        const std::wstring& arguments);
    void end(std::uint64_t number, ResultCode result, double milliseconds);

    /// One line per call.
    std::wstring text() const;
    void clear();

private:
    struct Line
    {
        std::uint64_t number;
        std::wstring head;
        std::wstring tail;
    };

    std::atomic<bool> on_{false};
    mutable std::mutex mutex_;
    std::deque<Line> lines_; ///< the latest ones
    std::uint64_t next_ = 1;
};

} // namespace VBoxSim
