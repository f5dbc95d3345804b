#include "doctor/FaultWatch.h"

#include <fmt/format.h>

#include "Wording.h"

using namespace std::chrono_literals;

std::chrono::nanoseconds LongestPause(const sStreamStatistics& statistics) {
    constexpr int kUsualIntervals = 5;
    constexpr auto kOtherWork = 250ms;
    return kOtherWork +
           kUsualIntervals * std::chrono::nanoseconds(static_cast<std::int64_t>(statistics.intervalMedianNs));
}

FaultWatch::FaultWatch(const sStreamStatistics& statistics, Clock::time_point now)
    : m_former(statistics), m_framesFirst(statistics.framesDelivered), m_latestFrame(now), m_latestLoss(now) {}

std::vector<std::string> FaultWatch::Follow(const sStreamStatistics& statistics, Clock::time_point now) {
    Lines lines;
    FollowInterface(statistics, lines);
    FollowSilence(statistics, now, lines);
    FollowNumbers(statistics, lines);
    FollowLosses(statistics, now, lines);
    m_former = statistics;
    return lines;
}

// A count that went down is of a frame that came after all.
void FaultWatch::FollowLosses(const sStreamStatistics& statistics, Clock::time_point now, Lines& lines) {
    constexpr auto kOver = 2s; // without a loss
    sStreamStatistics fresh{};
    for (const auto& [count, words] : kLossCauses) {
        if (statistics.*count > m_former.*count) fresh.*count = statistics.*count - m_former.*count;
        m_lost.*count += fresh.*count;
    }
    if (const std::uint64_t lost = Lost(fresh); lost > 0) {
        lines.push_back(fmt::format("{} lost{}", Counted(lost, "frame"), LossCauses(fresh)));
        m_losing = true;
        m_latestLoss = now;
    } else if (m_losing && now - m_latestLoss >= kOver) {
        lines.push_back(fmt::format("no frame lost for {} s", std::chrono::seconds(kOver).count()));
        m_losing = false;
    }
}

void FaultWatch::FollowNumbers(const sStreamStatistics& statistics, Lines& lines) {
    const std::uint64_t times = statistics.numbersWentBack - m_former.numbersWentBack;
    m_wentBack += times;
    if (times > 0)
        lines.push_back(
            fmt::format("the numbers of the frames went back {}: the server was started anew, or "
                        "frames came late",
                        Counted(times, "time")));
}

void FaultWatch::FollowInterface(const sStreamStatistics& statistics, Lines& lines) {
    if (const auto notice = m_interface.Follow(statistics)) lines.push_back(*notice);
    const bool goes = statistics.interfaceState == StreamInterfaceGone && m_former.interfaceState == StreamJoined;
    if (goes) ++m_silences;
}

// Of an interface that is gone no frame is expected.
void FaultWatch::FollowSilence(const sStreamStatistics& statistics, Clock::time_point now, Lines& lines) {
    const std::chrono::duration<double> silence = now - m_latestFrame;
    const bool isGone = statistics.interfaceState == StreamInterfaceGone;
    if (statistics.framesDelivered != m_former.framesDelivered) {
        if (m_silent) lines.push_back(fmt::format("frames come again, after {:.1f} s", silence.count()));
        m_silent = false;
        m_latestFrame = now;
    } else if (!m_silent && !isGone && silence > LongestPause(statistics)) {
        lines.push_back(fmt::format("no frame for {:.1f} s", silence.count()));
        m_silent = true;
        ++m_silences;
    }
}

std::string FaultWatch::Summary() const {
    return fmt::format("{} came, {} lost{}; no frames came {}, the numbers went back {}",
                       Counted(m_former.framesDelivered - m_framesFirst, "frame"), Lost(m_lost),
                       LossCauses(m_lost), Counted(m_silences, "time"), Counted(m_wentBack, "time"));
}
