// Ctrl-C and SIGTERM as a request to end.
#ifndef VELMAR_STOP_SIGNAL_H
#define VELMAR_STOP_SIGNAL_H

#include <poll.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <optional>
#include <span>

namespace StopSignal {

// From here on both signals are held back except while the program waits in Poll. To be called before any
// thread is started, so that all of them inherit it. A file that grows too long is an error like a full disk.
void Install();

bool Arrived();

// The same for work that does not wait: lets a signal arrive that was held back.
bool ArrivesNow();

// Waits for the descriptors, for this long (nothing: without limit; less than nothing: not at all), or for a
// signal. No signal is missed between Arrived() and the wait.
void Poll(std::span<pollfd> descriptors, std::optional<std::chrono::nanoseconds> timeout);
void Poll(pollfd& descriptor, std::optional<std::chrono::nanoseconds> timeout);

// Waits this long or until a signal arrives.
void Sleep(std::chrono::nanoseconds duration);

// While one exists, a signal ends the program at once, with a line and the code of a failure: for calls of the
// system that may take long and cannot be waited for, when nothing would be lost.
class EndsAtOnce {
public:
    EndsAtOnce();
    ~EndsAtOnce();
    EndsAtOnce(const EndsAtOnce&) = delete;
    EndsAtOnce& operator=(const EndsAtOnce&) = delete;

private:
    sigset_t m_former;
};

// Reading a recording in a program that has its signals for itself: while one exists, what runs on this thread
// asks this flag, which another thread may set, instead of the signals.
class Request {
public:
    explicit Request(const std::atomic<bool>& flag);
    ~Request();
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

private:
    const std::atomic<bool>* m_former;
};

} // namespace StopSignal

#endif
