#include "view/LossMarks.h"

nlohmann::json LossMark(double ms, std::uint64_t tooSlow, std::uint64_t incomplete, std::uint64_t undecodable,
                        std::uint64_t neverSeen) {
    return {{"ms", ms},
            {"too_slow", tooSlow},
            {"incomplete", incomplete},
            {"undecodable", undecodable},
            {"never_seen", neverSeen}};
}

std::optional<nlohmann::json> LossMarks::Follow(const sStreamStatistics& statistics, double ms) {
    std::uint64_t sum = 0;
    const auto more = [&](std::uint64_t sStreamStatistics::*count) {
        const std::uint64_t now = statistics.*count;
        const std::uint64_t before = m_before.*count;
        sum += now > before ? now - before : 0;
        return now > before ? now - before : 0;
    };
    nlohmann::json mark =
        LossMark(ms, more(&sStreamStatistics::missingTooSlow), more(&sStreamStatistics::missingIncomplete),
                 more(&sStreamStatistics::missingUndecodable), more(&sStreamStatistics::missingNeverSeen));
    m_before = statistics;
    if (sum == 0) return std::nullopt;
    return mark;
}
