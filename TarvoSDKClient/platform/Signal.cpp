#include "platform/Signal.h"

#include <sys/time.h>

#include <cerrno>

#include "platform/Reports.h"

namespace System {

namespace {

// The wall clock, on which condition variables with default attributes wait.
timespec DeadlineIn(unsigned int timeoutMs) {
    constexpr long kNanosecondsPerSecond = 1'000'000'000;
    timeval now{};
    gettimeofday(&now, nullptr);
    timespec deadline{};
    deadline.tv_sec = now.tv_sec + timeoutMs / 1000;
    deadline.tv_nsec = now.tv_usec * 1000 + static_cast<long>(timeoutMs % 1000) * 1'000'000;
    if (deadline.tv_nsec >= kNanosecondsPerSecond) {
        deadline.tv_sec += deadline.tv_nsec / kNanosecondsPerSecond;
        deadline.tv_nsec %= kNanosecondsPerSecond;
    }
    return deadline;
}

} // namespace

// The members stay as constructed: system objects cannot be copied.
CSignal::CSignal(const CSignal& /*other*/) {
} // NOLINT(modernize-use-equals-default, bugprone-copy-constructor-init)

CSignal& CSignal::operator=(const CSignal& /*other*/) {
    return *this;
} // NOLINT(bugprone-unhandled-self-assignment)

int CSignal::create() {
    if (m_created) Report::Warning();
    m_created = false;
    if (const int error = pthread_mutex_init(&m_mutex.handle, nullptr)) {
        Report::SystemError(error);
        return 1;
    }
    if (const int error = pthread_cond_init(&m_condition, nullptr)) {
        pthread_mutex_destroy(&m_mutex.handle);
        Report::SystemError(error);
        return 1;
    }
    m_signalled = false;
    m_created = true;
    return 0;
}

int CSignal::destroy() {
    if (!m_created) return 0;
    m_created = false;
    pthread_mutex_destroy(&m_mutex.handle);
    pthread_cond_destroy(&m_condition);
    return 0;
}

int CSignal::signal() {
    if (!m_created) {
        Report::Failed();
        return 1;
    }
    m_mutex.Lock();
    m_signalled = true;
    pthread_cond_signal(&m_condition);
    m_mutex.Unlock();
    return 0;
}

int CSignal::wait(unsigned int timeoutMs) {
    if (!m_created) {
        Report::Failed();
        return 1;
    }
    if (timeoutMs == kWaitForever) return Wait(nullptr);
    const timespec deadline = DeadlineIn(timeoutMs);
    return Wait(&deadline);
}

// Without a deadline it waits without limit.
int CSignal::Wait(const timespec* deadline) {
    int error = 0;
    m_mutex.Lock();
    while (!m_signalled && error == 0)
        error = deadline == nullptr ? pthread_cond_wait(&m_condition, &m_mutex.handle)
                                    : pthread_cond_timedwait(&m_condition, &m_mutex.handle, deadline);
    if (error == 0) m_signalled = false;
    m_mutex.Unlock();
    if (error == 0) return 0;
    if (error == ETIMEDOUT) return 9;
    Report::SystemError(error);
    return 1;
}

} // namespace System
