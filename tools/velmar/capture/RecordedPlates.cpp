#include "capture/RecordedPlates.h"

#include <algorithm>
#include <cstdint>

#include "client/ForcePlateModel.h"

RecordedPlates::RecordedPlates(const sDataDescriptions* descriptions) {
    for (int i = 0; descriptions != nullptr && i < descriptions->descriptionCount; ++i) {
        const sDescriptionEntry& entry = descriptions->descriptions[i];
        if (entry.type == DescForcePlate && entry.data != nullptr)
            m_described.push_back(*static_cast<const sForcePlateInfo*>(entry.data));
    }
}

void RecordedPlates::Take(sFrameOfMocapData& frame, sForcePlates& plates) {
    plates = {};
    plates.frameNumber = frame.frameNumber;
    m_readings.clear();
    m_unloadedNow.clear();
    if (frame.analogCount < 1 || frame.analogCount > TARVO_MAX_ANALOG_VALUES) return;
    const std::span<float> values(frame.analogValues, static_cast<std::size_t>(frame.analogCount));
    const auto [slices, count, taken] = ForcePlateModel::AssignChannels(m_described, values.size());
    m_readings.assign(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(taken));
    for (std::size_t i = 0; i < count; ++i)
        Compute(*slices[i].plate, slices[i].first, slices[i].count, plates.plates[i]);
    plates.plateCount = static_cast<std::int32_t>(count);
    const std::span<float> left = values.subspan(taken);
    if (taken > 0) std::copy(left.begin(), left.end(), frame.analogValues);
    frame.analogCount = static_cast<std::int32_t>(left.size());
}

void RecordedPlates::Compute(const sForcePlateInfo& plate, std::size_t first, std::size_t count,
                             sForcePlateSample& sample) {
    const std::span<const float> values = std::span<const float>(m_readings).subspan(first, count);
    if (m_firstReadings.empty()) m_firstReadings.assign(values.begin(), values.end());
    std::span<const float> unloaded = m_firstReadings;
    if (!m_unloaded.empty())
        unloaded = std::span<const float>(m_unloaded).subspan(std::min(first, m_unloaded.size()));
    sample = ForcePlateModel::Compute(plate, values, unloaded);
    for (std::size_t k = 0; k < count; ++k) m_unloadedNow.push_back(k < unloaded.size() ? unloaded[k] : 0.0F);
}
