// The faults of a running stream, told as they come and go.
#ifndef VELMAR_DOCTOR_FAULT_WATCH_H
#define VELMAR_DOCTOR_FAULT_WATCH_H

#include <chrono>
#include <string>
#include <vector>

#include "StreamWords.h"

// A longer time without a frame is a fault: some times what is usual between two, and what a system takes for
// other work.
std::chrono::nanoseconds LongestPause(const sStreamStatistics& statistics);

class FaultWatch {
public:
    using Clock = std::chrono::steady_clock;

    // Faults count from these statistics on.
    FaultWatch(const sStreamStatistics& statistics, Clock::time_point now);

    // With the statistics as they are, several times a second: a line for each thing that happened since.
    std::vector<std::string> Follow(const sStreamStatistics& statistics, Clock::time_point now);

    // Whether frames were lost or did not come.
    bool SawFaults() const { return m_silences > 0 || Lost(m_lost) > 0; }

    std::string Summary() const;

private:
    using Lines = std::vector<std::string>;

    void FollowLosses(const sStreamStatistics& statistics, Clock::time_point now, Lines& lines);
    void FollowNumbers(const sStreamStatistics& statistics, Lines& lines);
    void FollowInterface(const sStreamStatistics& statistics, Lines& lines);
    void FollowSilence(const sStreamStatistics& statistics, Clock::time_point now, Lines& lines);

    sStreamStatistics m_former;  // those of the latest call
    std::uint64_t m_framesFirst; // those before the first one
    sStreamStatistics m_lost{};  // the losses that were told
    std::uint64_t m_wentBack = 0;
    int m_silences = 0; // interfaces that went included
    InterfaceNotice m_interface;
    Clock::time_point m_latestFrame;
    Clock::time_point m_latestLoss;
    bool m_silent = false;
    bool m_losing = false;
};

#endif
