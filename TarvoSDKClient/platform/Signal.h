// An auto-reset event: a signal wakes one waiter, or stays pending until the next wait.
#ifndef TARVO_PLATFORM_SIGNAL_H
#define TARVO_PLATFORM_SIGNAL_H

#include <pthread.h>

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

    int create();  // 0, 1
    int destroy(); // 0
    int signal();  // 0, 1

    // Waits at most so long, kWaitForever without limit. 0 signalled, 9 timed out, 1 failure.
    int wait(unsigned int timeoutMs);

private:
    int WaitUnlimited();
    int WaitUntil(const timespec& deadline);

    pthread_mutex_t m_mutex{};
    pthread_cond_t m_condition{};
    int m_signalled = 0; // guarded by m_mutex
    bool m_created = false;
};

} // namespace System

#endif
