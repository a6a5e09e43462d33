#include "failing_mutex.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<pthread_mutex_t*> chosen = nullptr;
std::atomic<int> left = 0;

} // namespace

extern "C" int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
extern "C" int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
{
    if (mutex == chosen && left-- == 0)
        return EDEADLK;
    return __real_pthread_mutex_lock(mutex);
}

namespace TravikTest {

FailingMutex::FailingMutex(std::mutex& mutex, int locksBefore)
{
    left = locksBefore;
    chosen = mutex.native_handle();
}

FailingMutex::~FailingMutex()
{
    chosen = nullptr;
}

} // namespace TravikTest
