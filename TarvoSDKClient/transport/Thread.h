// The thread that runs an owner's task in a loop, and the record by which it is started and ended.
#ifndef TARVO_TRANSPORT_THREAD_H
#define TARVO_TRANSPORT_THREAD_H

#include <pthread.h>

#include <atomic>
#include <cerrno>

#include "platform/Presence.h"
#include "platform/Reports.h"
#include "platform/Signal.h"

namespace System {

// The owner has a member RunTask(), called again and again on the thread while `running` is set; the thread is
// present in the owner meanwhile (CPresence). The fields
// that are not atomic are written while no thread runs.
template <typename T>
struct TThread {
    std::atomic<bool> running{false};
    T* owner = nullptr; // null when no thread is set up
    CSignal exitSignal; // raised by the thread when it ends
    pthread_t handle{}; // 0 when no thread is running

    // 0; 1 with a report, and nothing set up, when the system gives no thread.
    int Start(T* newOwner) {
        if (exitSignal.create() != 0) return 1;
        owner = newOwner;
        running = true;
        const int error = pthread_create(&handle, nullptr, &Thread, this);
        if (error == 0 && handle != 0) return 0;
        ReportCreation(error);
        handle = 0;
        owner = nullptr;
        running = false;
        exitSignal.destroy();
        return 1;
    }

    // Waits until the task has returned and the thread has ended. Not from the thread itself.
    void Stop() {
        if (handle == 0) return;
        running = false;
        exitSignal.wait(kWaitForever);
        pthread_join(handle, nullptr);
        handle = 0;
        exitSignal.destroy();
        owner = nullptr;
    }

    static void* Thread(void* record) {
        auto* const thread = static_cast<TThread*>(record);
        if (thread == nullptr || thread->owner == nullptr) return nullptr;
        {
            const CPresence inside(thread->owner);
            while (thread->running && thread->owner != nullptr) thread->owner->RunTask();
        }
        thread->running = false;
        thread->exitSignal.signal();
        return nullptr;
    }

private:
    static void ReportCreation(int error) {
        Report::SystemError(errno);
        switch (error) {
            case EAGAIN:
                Report::Text("*********pthread_create failed with EAGAIN (thread num limit arrived)*********\n");
                break;
            case EINVAL:
                Report::Text(
                    "*********pthread_create failed with EINVAL (create thread with invalid "
                    "parameters)***********.\n");
                break;
            case ENOMEM:
                Report::Text(
                    "*********pthread_create failed with ENOMEM (no memeory to create thread)*********.\n");
                break;
            default: Report::Number(static_cast<unsigned int>(error)); break;
        }
    }
};

} // namespace System

#endif
