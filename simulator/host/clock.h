#pragma once

#include <chrono>
#include <cstdint>

namespace VBoxSim {

/// The time as the host sees it; tests turn a clock of their own.
class Clock
{
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    virtual ~Clock() = default;
    /// What delays are measured by.
    virtual TimePoint now() const = 0;
    /// Since 1970, UTC.
    virtual std::int64_t nanoseconds() const = 0;
    std::int64_t milliseconds() const { return nanoseconds() / 1000000; }
};

class SystemClock : public Clock
{
public:
    TimePoint now() const override { return std::chrono::steady_clock::now(); }
    std::int64_t nanoseconds() const override;
};

} // namespace VBoxSim
