// An auto-reset event: a signal wakes one waiter, or stays pending until the next wait.
#ifndef TARVO_PLATFORM_SIGNAL_H
#define TARVO_PLATFORM_SIGNAL_H

#include <pthread.h>

#include "platform/ThreadSafety.h"

namespace System {

inline constexpr unsigned int kWaitForever = 0xFFFFFFFF;

// At most one signal is pending. Constructed empty; the owner calls create before other threads use it
// and destroy after they stopped. The destructor releases nothing. Operations on a signal that is not
// created report and return 1.
class CSignal {
public:
    CSignal() = default;
    virtual ~CSignal() = default;

    // A copy is not created; assignment leaves the target as it was.
    CSignal(const CSignal& other);
    CSignal& operator=(const CSignal& other);

    int create() TARVO_NO_THREAD_SAFETY; // 0, 1
    int destroy();                       // 0
    int signal();                        // 0, 1

    // Waits at most so long, kWaitForever without limit. 0 signalled, 9 timed out, 1 failure.
    int wait(unsigned int timeoutMs);

private:
    // The system's mutex, which the condition unlocks while it waits.
    struct TARVO_CAPABILITY("mutex") Native {
        void Lock() TARVO_ACQUIRE() TARVO_NO_THREAD_SAFETY { pthread_mutex_lock(&handle); }
        void Unlock() TARVO_RELEASE() TARVO_NO_THREAD_SAFETY { pthread_mutex_unlock(&handle); }
        pthread_mutex_t handle{};
    };

    int Wait(const timespec* deadline);

    Native m_mutex;
    pthread_cond_t m_condition{};
    bool m_signalled TARVO_GUARDED_BY(m_mutex) = false;
    bool m_created = false;
};

} // namespace System

#endif
