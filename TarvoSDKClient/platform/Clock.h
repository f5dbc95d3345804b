// The system's clocks in nanoseconds.
#ifndef TARVO_PLATFORM_CLOCK_H
#define TARVO_PLATFORM_CLOCK_H

#include <cstdint>
#include <ctime>

namespace System {

inline constexpr std::int64_t kNsPerSecond = 1'000'000'000;

inline std::int64_t Nanoseconds(const timespec& time) { return time.tv_sec * kNsPerSecond + time.tv_nsec; }

inline std::int64_t Now(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return Nanoseconds(time);
}

} // namespace System

#endif
