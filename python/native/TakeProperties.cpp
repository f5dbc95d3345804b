#include "TakeProperties.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "take/Concerns.h"
#include "take/TakeAsJson.h"

namespace {

using Json = nlohmann::ordered_json;

std::string Text(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

// As the JSON will have them, where bytes that are no UTF-8 become all the same.
std::vector<std::string> Different(std::vector<std::string> labels) {
    for (std::string& label : labels) label = Json::parse(Text(label));
    MakeDifferent(labels);
    return labels;
}

// "body Stick" and "bone Ann:Hips" without the word that tells them apart.
std::vector<std::string> Names(std::vector<std::string> labels) {
    for (std::string& label : labels) label.erase(0, label.find(' ') + 1);
    return Different(std::move(labels));
}

} // namespace

std::string TakeProperties(const Take& take) {
    const std::vector<std::string>& bodies = take.bodies.Labels();
    const auto firstBone = bodies.begin() + static_cast<std::ptrdiff_t>(take.bodies.RigidBodies());
    Json object;
    object["name"] = take.Name();
    object["slots"] = take.timeline.Slots();
    object["rate"] = take.timeline.Rate();
    object["rate_source"] = RateSourceName(take.timeline.Source());
    object["markers"] = Different(take.markers.Labels());
    object["rigid_bodies"] = Names({bodies.begin(), firstBone});
    object["bones"] = Names({firstBone, bodies.end()});
    object["plates"] = take.plates.size();
    object["channels"] = take.analogChannels;
    object["damage"] = take.recording.damage;
    object["concerns"] = ConcernsOf(take);
    object["statistics"] = RecordedStatistics(take.statistics);
    return Text(object);
}
