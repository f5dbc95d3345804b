#include "export/C3dPlates.h"

#include <fmt/format.h>

#include <array>
#include <cmath>

#include "client/ForcePlateModel.h"

namespace {

constexpr std::size_t kMostChannels = ForcePlateModel::kMaxChannels;
constexpr std::size_t kComponents = 6;
constexpr int kFourSensors = 3;       // the layout of eight forces; C3D's type has the same number
constexpr float kAssumedHalf = 0.25F; // of a plate whose extent is not known, metres

// Moment channels count kN m; C3D has N mm.
constexpr float kMomentUnit = 1000 * kC3dUnits;

} // namespace

C3dPlates::C3dPlates(const std::vector<sForcePlateInfo>& plates) {
    for (const sForcePlateInfo& plate : plates) {
        const bool turned = plate.rotation[2][2] > 0;
        m_types.push_back(static_cast<std::int16_t>(plate.channelLayout));
        AddPlace(plate, turned);
        plate.channelLayout == kFourSensors ? AddEightForces(plate, turned) : AddSixComponents(plate, turned);
    }
}

// The corners at (+x, +y), (-x, +y), (-x, -y), (+x, -y) of C3D's axes.
void C3dPlates::AddPlace(const sForcePlateInfo& plate, bool turned) {
    const bool known =
        plate.channelLayout == kFourSensors && plate.sensorOffset[0] > 0 && plate.sensorOffset[1] > 0;
    const float halfX = known ? plate.sensorOffset[0] : kAssumedHalf;
    const float halfY = (known ? plate.sensorOffset[1] : kAssumedHalf) * (turned ? -1.0F : 1.0F);
    constexpr float kSigns[4][2] = {{1, 1}, {-1, 1}, {-1, -1}, {1, -1}};
    for (const auto& [x, y] : kSigns)
        for (int i = 0; i < 3; ++i)
            m_corners.push_back(kC3dUnits * (plate.origin[i] + plate.rotation[i][0] * x * halfX +
                                             plate.rotation[i][1] * y * halfY));
}

// Of sensors that C3D numbers in its own axes: turned ones change sides, 1 with 4 and 2 with 3.
void C3dPlates::AddEightForces(const sForcePlateInfo& plate, bool turned) {
    constexpr const char* kNames[] = {"Fx12", "Fx34", "Fy14", "Fy23", "Fz1", "Fz2", "Fz3", "Fz4"};
    constexpr int kAsIs[] = {0, 1, 2, 3, 4, 5, 6, 7};
    constexpr int kTurned[] = {1, 0, 2, 3, 7, 6, 5, 4};
    const auto first = static_cast<std::int16_t>(m_channels.size() + 1);
    for (std::size_t k = 0; k < kMostChannels; ++k) {
        const float sign = turned && k >= 2 ? -1.0F : 1.0F;
        m_channels.push_back({fmt::format("FP{}_{}", m_types.size(), kNames[k]), "N",
                              sign * plate.calibration[k][k] * -static_cast<float>(plate.scaleFactor)});
        m_numbers.push_back(static_cast<std::int16_t>(first + (turned ? kTurned : kAsIs)[k]));
    }
    const auto& [a, b, h] = plate.sensorOffset;
    m_origins.insert(m_origins.end(), {a * kC3dUnits, b * kC3dUnits, (turned ? -h : h) * kC3dUnits});
    for (std::size_t i = 0; i < kComponents * kComponents; ++i)
        m_matrices.push_back(i % (kComponents + 1) == 0 ? 1.0F : 0.0F);
}

void C3dPlates::AddSixComponents(const sForcePlateInfo& plate, bool turned) {
    constexpr const char* kNames[kComponents] = {"Fx", "Fy", "Fz", "Mx", "My", "Mz"};
    const float flip = turned ? -1.0F : 1.0F;
    std::array<float, kComponents * kComponents> matrix{};
    for (std::size_t k = 0; k < kMostChannels; ++k) {
        const bool isThere = k < kComponents;
        m_numbers.push_back(static_cast<std::int16_t>(isThere ? m_channels.size() + 1 : 0));
        if (!isThere) continue;
        m_channels.push_back(
            {fmt::format("FP{}_{}", m_types.size(), kNames[k]), "", -static_cast<float>(plate.scaleFactor)});
        matrix[k * (kComponents + 1)] =
            plate.calibration[k][k] * (k % 3 == 0 ? 1.0F : flip) * (k < 3 ? 1.0F : kMomentUnit);
    }
    m_matrices.insert(m_matrices.end(), matrix.begin(), matrix.end());
    const auto& [a, b, h] = plate.sensorOffset;
    m_origins.insert(m_origins.end(), {a * kC3dUnits, flip * b * kC3dUnits, flip * h * kC3dUnits});
}

void C3dPlates::AddGroup(C3dParameters& parameters) const {
    const std::size_t plates = m_types.size();
    parameters.Group("FORCE_PLATFORM");
    parameters.Add("USED", static_cast<std::int16_t>(plates));
    if (plates == 0) return;
    parameters.AddWords("TYPE", {plates}, m_types);
    parameters.AddWords("ZERO", {2}, std::array<std::int16_t, 2>{});
    parameters.AddFloats("CORNERS", {3, 4, plates}, m_corners);
    parameters.AddFloats("ORIGIN", {3, plates}, m_origins);
    parameters.AddWords("CHANNEL", {kMostChannels, plates}, m_numbers);
    parameters.AddFloats("CAL_MATRIX", {kComponents, kComponents, plates}, m_matrices);
}
