// A recursive mutex with an explicit life, and the scoped lock over it.
#ifndef TARVO_PLATFORM_MUTEX_H
#define TARVO_PLATFORM_MUTEX_H

#include <pthread.h>

#include "platform/ThreadSafety.h"

namespace System {

// Constructed empty; the owner calls create before other threads use it and destroy after they stopped.
// The destructor releases nothing. Operations on a mutex that is not created report and return 1.
class TARVO_CAPABILITY("mutex") CMutex {
public:
    CMutex() = default;
    virtual ~CMutex() = default;

    // A copy is not created; assignment leaves the target as it was.
    CMutex(const CMutex& other);
    CMutex& operator=(const CMutex& other);

    int create();                                                  // 0, 1
    int destroy();                                                 // 0
    int lock() TARVO_ACQUIRE() TARVO_NO_THREAD_SAFETY;             // 0, 1
    int trylock() TARVO_TRY_ACQUIRE(false) TARVO_NO_THREAD_SAFETY; // 0, 1, or 9 when another thread holds it
    int unlock() TARVO_RELEASE() TARVO_NO_THREAD_SAFETY;           // 0, 1

private:
    pthread_mutex_t m_mutex{};
    pthread_mutexattr_t m_attributes{}; // lives as long as the mutex
    bool m_created = false;
};

// Holds a mutex for its own life. The mutex must not be null and must outlive it.
class TARVO_SCOPED_CAPABILITY CGuard {
public:
    explicit CGuard(CMutex* mutex) TARVO_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex->lock(); }
    virtual ~CGuard() TARVO_RELEASE() {
        m_mutex->unlock();
        m_mutex = nullptr;
    }
    CGuard(const CGuard&) = delete;
    CGuard& operator=(const CGuard&) = delete;

private:
    CMutex* m_mutex;
};

} // namespace System

#endif
