// A mutex that is valid from construction on, for state that is touched before an object is started.
#ifndef TARVO_PLATFORM_PLAIN_MUTEX_H
#define TARVO_PLATFORM_PLAIN_MUTEX_H

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "platform/ThreadSafety.h"

namespace System {

class TARVO_CAPABILITY("mutex") CPlainMutex {
public:
    void Lock() TARVO_ACQUIRE() TARVO_NO_THREAD_SAFETY { m_mutex.lock(); }
    void Unlock() TARVO_RELEASE() TARVO_NO_THREAD_SAFETY { m_mutex.unlock(); }

    // Unlocked while it waits; may also return without a notification.
    void Wait(std::condition_variable& condition) TARVO_REQUIRES(this) TARVO_NO_THREAD_SAFETY {
        std::unique_lock lock(m_mutex, std::adopt_lock);
        condition.wait(lock);
        static_cast<void>(lock.release());
    }

    // The same until a moment: false when it has passed.
    bool WaitUntil(std::condition_variable& condition, std::chrono::steady_clock::time_point moment)
        TARVO_REQUIRES(this) TARVO_NO_THREAD_SAFETY {
        std::unique_lock lock(m_mutex, std::adopt_lock);
        const bool inTime = condition.wait_until(lock, moment) == std::cv_status::no_timeout;
        static_cast<void>(lock.release());
        return inTime;
    }

private:
    std::mutex m_mutex;
};

// Holds a plain mutex for its own life.
class TARVO_SCOPED_CAPABILITY CPlainGuard {
public:
    explicit CPlainGuard(CPlainMutex& mutex) TARVO_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~CPlainGuard() TARVO_RELEASE() { m_mutex.Unlock(); }
    CPlainGuard(const CPlainGuard&) = delete;
    CPlainGuard& operator=(const CPlainGuard&) = delete;

private:
    CPlainMutex& m_mutex;
};

} // namespace System

#endif
