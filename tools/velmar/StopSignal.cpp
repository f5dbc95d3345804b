#include "StopSignal.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <initializer_list>
#include <utility>

namespace StopSignal {

namespace {
volatile std::sig_atomic_t g_arrived = 0;
volatile std::sig_atomic_t g_endsAtOnce = 0;
sigset_t g_whileWaiting; // the mask the program started with
thread_local const std::atomic<bool>* t_request = nullptr;

void OnSignal(int) {
    g_arrived = 1;
    if (g_endsAtOnce == 0) return;
    constexpr char kLine[] = "velmar: stopped\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kLine, sizeof kLine - 1);
    _exit(1);
}
} // namespace

void Install() {
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : {SIGINT, SIGTERM}) {
        sigaction(signal, &action, nullptr);
        sigaddset(&held, signal);
    }
    pthread_sigmask(SIG_BLOCK, &held, &g_whileWaiting);
    std::signal(SIGXFSZ, SIG_IGN);
}

bool Arrived() { return t_request == nullptr ? g_arrived != 0 : t_request->load(std::memory_order_relaxed); }

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

EndsAtOnce::EndsAtOnce() {
    g_endsAtOnce = 1;
    pthread_sigmask(SIG_SETMASK, &g_whileWaiting, &m_former);
}

EndsAtOnce::~EndsAtOnce() {
    pthread_sigmask(SIG_SETMASK, &m_former, nullptr);
    g_endsAtOnce = 0;
}

bool ArrivesNow() {
    if (t_request == nullptr) Sleep(std::chrono::nanoseconds(0));
    return Arrived();
}

Request::Request(const std::atomic<bool>& flag) : m_former(std::exchange(t_request, &flag)) {}

Request::~Request() { t_request = m_former; }

} // namespace StopSignal
