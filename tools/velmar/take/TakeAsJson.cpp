#include "take/TakeAsJson.h"

#include <fmt/format.h>

#include "StatisticsJson.h"
#include "StreamWords.h"
#include "Wording.h"
#include "take/Concerns.h"

const char* RateSourceName(FrameTimeline::RateSource source) {
    switch (source) {
        case FrameTimeline::RateSource::kStated: return "stated";
        case FrameTimeline::RateSource::kArrivals: return "arrivals";
        default: return "unknown";
    }
}

nlohmann::ordered_json RecordedStatistics(const sStreamStatistics& statistics) {
    nlohmann::ordered_json object = AsJson(statistics);
    for (const char* const name :
         {"kernel_dropped", "missing_too_slow", "queue_dropped", "feeds_dropped", "delay_median_ns",
          "delay_p99_ns", "delay_largest_ns", "callback_mean_ns", "callback_largest_ns",
          "receive_buffer_asked_bytes", "receive_buffer_granted_bytes", "receive_buffer_fullest_bytes",
          "interface_state", "interface_name"})
        object.erase(name);
    return object;
}

nlohmann::ordered_json TakeAsJson(const Take& take) {
    const FrameTimeline& timeline = take.timeline;
    const bool isKnown = timeline.Source() != FrameTimeline::RateSource::kUnknown;
    nlohmann::ordered_json object;
    object["file"] = take.options.file;
    object["frames"] = timeline.Added();
    object["first_frame_number"] = timeline.Number(0);
    object["last_frame_number"] = timeline.Number(timeline.Added() - 1);
    object["duration_s"] = std::chrono::duration<double>(take.recording.duration).count();
    object["rate_hz"] = isKnown ? nlohmann::ordered_json(timeline.Rate()) : nullptr;
    object["rate_source"] = RateSourceName(timeline.Source());
    object["force_plates"] = take.plates.size();
    object["lost"] = Lost(take.statistics);
    object["statistics"] = RecordedStatistics(take.statistics);
    object["concerns"] = ConcernsOf(take);
    return object;
}

std::string TakeAsText(const Take& take) {
    const FrameTimeline& timeline = take.timeline;
    const std::string rate = timeline.Source() == FrameTimeline::RateSource::kUnknown
                                 ? "at a rate that is not known"
                             : timeline.Source() == FrameTimeline::RateSource::kArrivals
                                 ? fmt::format("at {:.6g} Hz, as they arrived", timeline.Rate())
                                 : fmt::format("at {:.6g} Hz", timeline.Rate());
    std::string text = fmt::format(
        "recording {}\n  {} in {:.2f} s, {}, numbers {} to {}\n  {} lost{}\n  {}\n", take.options.file,
        Counted(timeline.Added(), "frame"), std::chrono::duration<double>(take.recording.duration).count(), rate,
        timeline.Number(0), timeline.Number(timeline.Added() - 1), Lost(take.statistics),
        LossCauses(take.statistics), Counted(take.plates.size(), "computed force plate"));
    for (const std::string& concern : ConcernsOf(take)) text += "  " + concern + '\n';
    return text;
}
