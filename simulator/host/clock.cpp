#include "host/clock.h"

#include "base/time.h"

namespace VBoxSim {

std::int64_t SystemClock::nanoseconds() const
{
    return Time::nowNanoseconds();
}

} // namespace VBoxSim
