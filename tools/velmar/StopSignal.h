// Ctrl-C and SIGTERM as a request to end.
#ifndef VELMAR_STOP_SIGNAL_H
#define VELMAR_STOP_SIGNAL_H

#include <poll.h>

#include <chrono>
#include <optional>
#include <span>

namespace StopSignal {

// From here on both signals are held back except while the program waits in Poll. To be called before any
// thread is started, so that all of them inherit it.
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

} // namespace StopSignal

#endif
