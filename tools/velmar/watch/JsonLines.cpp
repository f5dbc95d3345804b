#include "watch/JsonLines.h"

#include <fmt/format.h>

#include <cstdio>
#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

// Names stay: programs read them.
constexpr struct {
    const char* name;
    std::uint64_t sStreamStatistics::*value;
} kFields[] = {
    {"datagrams", &sStreamStatistics::datagrams},
    {"bytes", &sStreamStatistics::bytes},
    {"rejected_too_short", &sStreamStatistics::rejectedTooShort},
    {"rejected_wrong_length", &sStreamStatistics::rejectedWrongLength},
    {"rejected_foreign", &sStreamStatistics::rejectedForeign},
    {"kernel_dropped", &sStreamStatistics::kernelDropped},
    {"messages_incomplete", &sStreamStatistics::messagesIncomplete},
    {"messages_out_of_order", &sStreamStatistics::messagesOutOfOrder},
    {"messages_undecodable", &sStreamStatistics::messagesUndecodable},
    {"fragments_repeated", &sStreamStatistics::fragmentsRepeated},
    {"frames_delivered", &sStreamStatistics::framesDelivered},
    {"frames_repeated", &sStreamStatistics::framesRepeated},
    {"numbers_went_back", &sStreamStatistics::numbersWentBack},
    {"missing_too_slow", &sStreamStatistics::missingTooSlow},
    {"missing_incomplete", &sStreamStatistics::missingIncomplete},
    {"missing_undecodable", &sStreamStatistics::missingUndecodable},
    {"missing_never_seen", &sStreamStatistics::missingNeverSeen},
    {"queue_dropped", &sStreamStatistics::queueDropped},
    {"feeds_dropped", &sStreamStatistics::feedsDropped},
    {"interval_median_ns", &sStreamStatistics::intervalMedianNs},
    {"interval_p99_ns", &sStreamStatistics::intervalP99Ns},
    {"interval_largest_ns", &sStreamStatistics::intervalLargestNs},
    {"delay_median_ns", &sStreamStatistics::delayMedianNs},
    {"delay_p99_ns", &sStreamStatistics::delayP99Ns},
    {"delay_largest_ns", &sStreamStatistics::delayLargestNs},
    {"callback_mean_ns", &sStreamStatistics::callbackMeanNs},
    {"callback_largest_ns", &sStreamStatistics::callbackLargestNs},
    {"receive_buffer_asked_bytes", &sStreamStatistics::receiveBufferAsked},
    {"receive_buffer_granted_bytes", &sStreamStatistics::receiveBufferGranted},
    {"receive_buffer_fullest_bytes", &sStreamStatistics::receiveBufferFullest},
};
static_assert(sizeof(sStreamStatistics) == 2 * sizeof(std::uint32_t) + std::size(kFields) * sizeof(std::uint64_t) +
                                               TARVO_INTERFACE_NAME_SIZE,
              "every value has a name");

const char* StateName(std::uint32_t state) {
    switch (state) {
        case StreamJoined: return "joined";
        case StreamInterfaceGone: return "gone";
        default: return "not_joined";
    }
}

void PrintLine(const StreamState& state, double rate, bool isLast) {
    Json line;
    line["rate_hz"] = rate;
    line["frame_number"] = state.frames > 0 ? Json(state.frameNumber) : Json();
    line["timecode"] = state.frames > 0 ? Json(state.timecode) : Json();
    for (const auto& [name, value] : kFields) line[name] = state.library.*value;
    line["interface_state"] = StateName(state.library.interfaceState);
    line["interface_name"] = state.library.interfaceName;
    if (isLast) line["final"] = true;
    // The name of an interface need not be UTF-8.
    fmt::print("{}\n", line.dump(-1, ' ', false, Json::error_handler_t::replace));
    std::fflush(stdout);
}

} // namespace

void JsonLines::Show(const StreamState& state) { PrintLine(state, m_rate.Next(state), false); }

void JsonLines::Log(const char* line) { fmt::print(stderr, "{}", line); }

void JsonLines::Finish(const StreamState& state) { PrintLine(state, MeanRate(state), true); }
