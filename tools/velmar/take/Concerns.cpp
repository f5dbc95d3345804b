#include "take/Concerns.h"

#include <fmt/format.h>

#include <cmath>

#include "Wording.h"

namespace {

// What the descriptions would have told is left out, not guessed.
std::string MissingDescriptions(const Take& take) {
    const bool lacksServer = !take.recording.server;
    const bool lacksList = take.descriptions.list == nullptr;
    if (!lacksServer && !lacksList) return {};
    const char* const what = lacksServer && lacksList ? "neither the server's description nor data descriptions"
                             : lacksServer            ? "no description of the server"
                                                      : "no data descriptions that can be decoded";
    const char* const effect = lacksList ? "names, force plates and hierarchies are missing"
                                         : "what its labelled markers and bones say is not known";
    return fmt::format("{} holds {}: {}. Record again with velmar record SERVER -o FILE, which asks for them",
                       take.options.file, what, effect);
}

std::string Damage(const Take& take) {
    if (take.recording.damage.empty()) return {};
    return fmt::format("{}; {} in {:.2f} s can be read", take.recording.damage,
                       Counted(take.timeline.Added(), "frame"),
                       std::chrono::duration<double>(take.recording.duration).count());
}

std::string Doubt(const Take& take) {
    const std::string text = take.doubt.Text();
    if (text.empty()) return {};
    return fmt::format("{}. Name frames in which nothing stood on a plate: {}", text, take.options.names.unloaded);
}

std::string DoubtfulRate(const Take& take) {
    constexpr double kTolerance = 0.05;
    const FrameTimeline& timeline = take.timeline;
    if (timeline.Source() == FrameTimeline::RateSource::kUnknown && timeline.Slots() > 1)
        return fmt::format("{} tells no frame rate: a frame counts as a second. Name the rate with {}",
                           take.options.file, take.options.names.rate);
    const std::optional<double> measured = timeline.Measured();
    if (take.options.rate || !measured || std::abs(*measured / timeline.Rate() - 1) <= kTolerance) return {};
    return fmt::format(
        "{}: the server states {:.6g} frames a second, they arrived at {:.6g}. Name the rate with {}",
        take.options.file, timeline.Rate(), *measured, take.options.names.rate);
}

} // namespace

std::vector<std::string> ConcernsOf(const Take& take) {
    std::vector<std::string> concerns;
    for (std::string line : {Damage(take), MissingDescriptions(take), DoubtfulRate(take), Doubt(take)})
        if (!line.empty()) concerns.push_back(std::move(line));
    return concerns;
}
