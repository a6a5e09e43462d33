#pragma once

#include <mutex>

namespace TravikTest {

/// While it lives, the system refuses to lock that mutex once: at the lock after so many that succeed. The linker puts
/// us between the mutexes of this program and the runtime library (--wrap).
class FailingMutex
{
public:
    explicit FailingMutex(std::mutex& mutex, int locksBefore = 0);
    FailingMutex(const FailingMutex&) = delete;
    FailingMutex& operator=(const FailingMutex&) = delete;
    ~FailingMutex();
};

} // namespace TravikTest
