#include "StopSignal.h"

#include <algorithm>
#include <csignal>
#include <initializer_list>

namespace StopSignal {

namespace {
volatile std::sig_atomic_t g_arrived = 0;
sigset_t g_whileWaiting; // the mask the program started with
} // namespace

void Install() {
    struct sigaction action {};
    action.sa_handler = [](int) { g_arrived = 1; };
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : {SIGINT, SIGTERM}) {
        sigaction(signal, &action, nullptr);
        sigaddset(&held, signal);
    }
    pthread_sigmask(SIG_BLOCK, &held, &g_whileWaiting);
}

bool Arrived() { return g_arrived != 0; }

void Poll(std::span<pollfd> descriptors, std::optional<std::chrono::nanoseconds> timeout) {
    constexpr long kNanosecondsPerSecond = 1'000'000'000;
    const long left = timeout ? std::max(timeout->count(), 0L) : 0;
    const timespec limit{left / kNanosecondsPerSecond, left % kNanosecondsPerSecond};
    ppoll(descriptors.data(), descriptors.size(), timeout ? &limit : nullptr, &g_whileWaiting);
}

void Poll(pollfd& descriptor, std::optional<std::chrono::nanoseconds> timeout) {
    Poll(std::span(&descriptor, 1), timeout);
}

void Sleep(std::chrono::nanoseconds duration) {
    pollfd nothing{-1, 0, 0};
    Poll(nothing, duration);
}

bool ArrivesNow() {
    Sleep(std::chrono::nanoseconds(0));
    return Arrived();
}

} // namespace StopSignal
