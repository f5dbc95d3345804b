#include "export/TakeJson.h"

#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>

#include "FloatJson.h"
#include "NameText.h"
#include "client/ForcePlateModel.h"
#include "take/SkeletonTree.h"
#include "take/TakeAsJson.h"

namespace {

using Json = nlohmann::ordered_json;

// Rounded to the digits that single precision has: 0.3, not 0.30000001192092896. Null for what is no number.
Json Number(float value) {
    if (!std::isfinite(value)) return nullptr;
    return Json::parse(FloatJson(value).dump());
}

template <typename Values>
Json Numbers(const Values& values) {
    Json list = Json::array();
    for (const float value : values) list.push_back(Number(value));
    return list;
}

Json PlatesOf(const Take& take) {
    Json list = Json::array();
    const auto assigned = ForcePlateModel::AssignChannels(take.plates, take.plateUnloaded.size());
    for (std::size_t i = 0; i < assigned.plates; ++i) {
        const auto& [plate, first, count] = assigned.slices[i];
        Json rotation = Json::array();
        for (const auto& row : plate->rotation) rotation.push_back(Numbers(row));
        std::vector<float> diagonal;
        for (std::size_t k = 0; k < count; ++k) diagonal.push_back(plate->calibration[k][k]);
        list.push_back({{"origin_m", Numbers(plate->origin)},
                        {"rotation", rotation},
                        {"sensor_offset_m", Numbers(plate->sensorOffset)},
                        {"channel_layout", plate->channelLayout},
                        {"unloaded", Numbers(std::span(take.plateUnloaded).subspan(first, count))},
                        {"scale_factor", plate->scaleFactor},
                        {"calibration", Numbers(diagonal)}});
    }
    return list;
}

std::string NameIn(const SkeletonTree& tree, int bone) { return tree.bones[static_cast<std::size_t>(bone)].name; }

// Without a hierarchy that is known, its name and identifier.
Json SkeletonOf(const sSkeletonInfo& info, const Take& take) {
    Json skeleton{{"name", NameText(info.name)}, {"id", info.id}, {"bones", nullptr}};
    try {
        const SkeletonTree tree(info, take);
        skeleton["bones"] = Json::array();
        for (const auto& [bone, id, parent, offset, q] : tree.bones)
            skeleton["bones"].push_back({{"name", bone},
                                         {"id", id},
                                         {"parent", parent < 0 ? Json() : Json(NameIn(tree, parent))},
                                         {"offset_m", {offset.x, offset.y, offset.z}},
                                         {"reference_orientation", {q.x, q.y, q.z, q.w}}});
    } catch (const std::runtime_error& error) {
        skeleton["why"] = error.what();
    }
    return skeleton;
}

Json SkeletonsOf(const Take& take) {
    Json list = Json::array();
    for (const sSkeletonInfo* const info : SkeletonsIn(take.descriptions.list.get()))
        list.push_back(SkeletonOf(*info, take));
    return list;
}

Json LostOf(const Take& take) {
    Json gaps = Json::array();
    long long frames = 0;
    for (const auto& [slot, count] : take.timeline.Gaps()) {
        gaps.push_back({{"time_s", take.timeline.Seconds(slot)}, {"frames", count}});
        frames += count;
    }
    return {{"frames", frames},
            {"gaps", gaps},
            {"repeated", take.timeline.Repeated()},
            {"began_anew", take.timeline.Breaks().size()},
            {"undecodable", take.undecodable},
            {"recording", RecordedStatistics(take.statistics)}};
}

Json Document(const Take& take) {
    const FrameTimeline& timeline = take.timeline;
    Json document;
    document["recording"] = take.options.file;
    const bool isRateKnown = timeline.Source() != FrameTimeline::RateSource::kUnknown;
    document["rate_hz"] = isRateKnown ? Json(timeline.Rate()) : Json();
    document["rate_source"] = RateSourceName(timeline.Source());
    document["frames"] = timeline.Frames() + timeline.Repeated();
    document["first_frame_number"] = take.firstNumber;
    document["last_frame_number"] = take.lastNumber;
    document["duration_s"] = timeline.Seconds(timeline.Slots() - 1);
    document["units"] = {{"length", "m"}, {"force", "N"}, {"moment", "Nm"}, {"time", "s"}};
    document["axes"] = {{"handedness", "right"}, {"up", "z"}, {"quaternion", "x y z w, global"}};
    document["counts"] = {{"markers", take.markers.Count()},
                          {"rigid_bodies_and_bones", take.bodies.Count()},
                          {"analog_channels", take.analogChannels},
                          {"force_plates", take.plates.size()},
                          {"unlabelled_markers_most", take.otherMarkers}};
    document["force_plates"] = PlatesOf(take);
    document["skeletons"] = SkeletonsOf(take);
    document["lost"] = LostOf(take);
    return document;
}

} // namespace

void WriteTakeJson(const Take& take, OutputFolder& folder) {
    constexpr const char* kName = "take.json";
    const std::string text = Document(take).dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
    if (!folder.Holds(kName, text)) folder.Make(kName).Write(text);
}
