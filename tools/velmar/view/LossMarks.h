// When frames were lost, and why.
#ifndef VELMAR_VIEW_LOSS_MARKS_H
#define VELMAR_VIEW_LOSS_MARKS_H

#include <nlohmann/json.hpp>
#include <optional>

#include "TarvoStream.h"

// An entry of "losses" (see PageProtocol.h).
nlohmann::json LossMark(double ms, std::uint64_t tooSlow, std::uint64_t incomplete, std::uint64_t undecodable,
                        std::uint64_t neverSeen);

class LossMarks {
public:
    // With the statistics as they are, again and again: what was lost since the call before. Frames that came late
    // are in no mark any more when they come before the next call.
    std::optional<nlohmann::json> Follow(const sStreamStatistics& statistics, double ms);

private:
    sStreamStatistics m_before{};
};

#endif
