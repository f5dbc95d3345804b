#include "platform/Mutex.h"

#include <cerrno>

#include "platform/Reports.h"

namespace System {

// The members stay as constructed: a system mutex cannot be copied.
CMutex::CMutex(const CMutex& /*other*/) {} // NOLINT(modernize-use-equals-default, bugprone-copy-constructor-init)

CMutex& CMutex::operator=(const CMutex& /*other*/) { return *this; } // NOLINT(bugprone-unhandled-self-assignment)

int CMutex::create() {
    if (m_created) Report::Warning();
    m_created = false;
    int error = pthread_mutexattr_init(&m_attributes);
    if (error == 0) {
        error = pthread_mutexattr_settype(&m_attributes, PTHREAD_MUTEX_RECURSIVE);
        if (error == 0) error = pthread_mutex_init(&m_mutex, &m_attributes);
        if (error != 0) pthread_mutexattr_destroy(&m_attributes);
    }
    if (error != 0) {
        Report::SystemError(error);
        return 1;
    }
    m_created = true;
    return 0;
}

int CMutex::destroy() {
    if (!m_created) return 0;
    m_created = false;
    pthread_mutex_destroy(&m_mutex);
    pthread_mutexattr_destroy(&m_attributes);
    return 0;
}

int CMutex::lock() {
    if (!m_created) {
        Report::Failed();
        return 1;
    }
    if (const int error = pthread_mutex_lock(&m_mutex)) {
        Report::SystemError(error);
        return 1;
    }
    return 0;
}

int CMutex::trylock() {
    if (!m_created) {
        Report::Failed();
        return 1;
    }
    const int error = pthread_mutex_trylock(&m_mutex);
    if (error == 0) return 0;
    if (error == EBUSY) return 9;
    Report::SystemError(error);
    return 1;
}

int CMutex::unlock() {
    if (!m_created) {
        Report::Failed();
        return 1;
    }
    if (const int error = pthread_mutex_unlock(&m_mutex)) {
        Report::SystemError(error);
        return 1;
    }
    return 0;
}

} // namespace System
