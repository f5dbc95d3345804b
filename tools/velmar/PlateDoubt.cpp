#include "PlateDoubt.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <span>

#include "client/ForcePlateModel.h"

namespace {

constexpr float kPull = 50;        // newtons: more than a plate's drift and ringing
constexpr float kPress = 50;       // with less, the centre of pressure is mostly noise
constexpr int kFrames = 10;        // one behind the other: an impact rings for less
constexpr float kAssumedReach = 1; // metres from the centre of a plate of unknown size
constexpr int kFourSensors = 3;    // the layout that tells where the sensors are

} // namespace

PlateDoubt::PlateDoubt(const sDataDescriptions* descriptions) {
    std::size_t computed = 0;
    for (int i = 0; descriptions != nullptr && i < descriptions->descriptionCount; ++i) {
        const auto& [type, data] = descriptions->descriptions[i];
        if (type != DescForcePlate || data == nullptr || computed == m_plates.size()) continue;
        const auto& info = *static_cast<const sForcePlateInfo*>(data);
        if (ForcePlateModel::ChannelCount(info.channelLayout) == 0) continue;
        Plate& plate = m_plates[computed++];
        plate.isKnown = true;
        std::copy(std::begin(info.origin), std::end(info.origin), plate.origin);
        const float sensors = std::hypot(info.sensorOffset[0], info.sensorOffset[1]);
        plate.reach = info.channelLayout == kFourSensors ? std::max(2 * sensors, kAssumedReach) : kAssumedReach;
    }
}

void PlateDoubt::Take(const sForcePlates& plates) {
    for (int i = 0; i < plates.plateCount; ++i) {
        const auto& [force, point, moment] = plates.plates[i];
        const Plate& plate = m_plates[static_cast<std::size_t>(i)];
        Signs& signs = m_signs[static_cast<std::size_t>(i)];
        signs.pulling = force[2] < -kPull ? signs.pulling + 1 : 0;
        if (signs.pulling >= kFrames) signs.worstPull = std::max(signs.worstPull, -force[2]);
        const float distance = std::hypot(point[0] - plate.origin[0], point[1] - plate.origin[1]);
        const bool isOutside = plate.isKnown && force[2] > kPress && distance > plate.reach;
        signs.outside = isOutside ? signs.outside + 1 : 0;
        if (signs.outside >= kFrames) signs.worstDistance = std::max(signs.worstDistance, distance);
    }
}

std::string PlateDoubt::Text() const {
    std::string text;
    for (std::size_t i = 0; i < m_signs.size(); ++i) {
        const Signs& signs = m_signs[i];
        if (signs.worstPull > 0)
            text += fmt::format("{}force plate {} pulls with up to {:.0f} N", text.empty() ? "" : ", ", i + 1,
                                signs.worstPull);
        if (signs.worstDistance > 0)
            text += fmt::format("{}force plate {} is pressed {:.1f} m from its centre", text.empty() ? "" : ", ",
                                i + 1, signs.worstDistance);
    }
    if (text.empty()) return text;
    return text + ": somebody stood on a plate when it was taken for unloaded";
}
