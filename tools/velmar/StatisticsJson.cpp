#include "StatisticsJson.h"

#include <cstdint>
#include <iterator>

namespace {

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

} // namespace

nlohmann::ordered_json AsJson(const sStreamStatistics& statistics) {
    nlohmann::ordered_json object;
    for (const auto& [name, value] : kFields) object[name] = statistics.*value;
    object["interface_state"] = StateName(statistics.interfaceState);
    object["interface_name"] = statistics.interfaceName;
    return object;
}
