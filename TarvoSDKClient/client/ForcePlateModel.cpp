#include "client/ForcePlateModel.h"

#include <array>

namespace ForcePlateModel {

namespace {

constexpr int kEightForces = 3;           // four three-axis sensors: x12 x34 y14 y23 z1 z2 z3 z4
constexpr int kThreeForcesAndMoments = 4; // Fx Fy Fz Mx My Mz
constexpr float kMomentScale = 1000.0F;   // the moment channels of the six-channel layout
constexpr float kLeastLoad = 0.000001F;   // below it no point of application can be told

using Vector = std::array<float, 3>;
using Channels = std::array<float, kMaxChannels>;

// What acts on the plate, in its own axes, moments about the centre of its surface.
struct Wrench {
    Vector force;
    Vector moment;
};

Channels ScaleChannels(const sForcePlateInfo& plate, std::span<const float> values,
                       std::span<const float> baseline) {
    Channels scaled{};
    const float scale = -static_cast<float>(plate.scaleFactor);
    for (std::size_t k = 0; k < values.size(); ++k) {
        const float unloaded = k < baseline.size() ? baseline[k] : 0.0F;
        scaled[k] = plate.calibration[k][k] * ((values[k] - unloaded) * scale);
    }
    return scaled;
}

Wrench SixChannelWrench(const Channels& c, float a, float b, float h) {
    const Vector f{c[0], c[1], c[2]};
    return {f,
            {c[3] * kMomentScale + (f[1] * h - f[2] * b), c[4] * kMomentScale + (f[2] * a - f[0] * h),
             c[5] * kMomentScale + (f[0] * b - f[1] * a)}};
}

Wrench EightChannelWrench(const Channels& c, float a, float b, float h) {
    const Vector f{c[0] + c[1], c[2] + c[3], c[4] + c[5] + c[6] + c[7]};
    return {f,
            {b * (c[4] + c[5] - c[6] - c[7]) + h * f[1], a * (c[5] + c[6] - c[4] - c[7]) - h * f[0],
             b * (c[1] - c[0]) + a * (c[2] - c[3])}};
}

float RotateRow(const float (&row)[3], const Vector& v) { return row[0] * v[0] + row[1] * v[1] + row[2] * v[2]; }

} // namespace

unsigned int ChannelCount(int channelLayout) {
    if (channelLayout == kEightForces) return 8;
    if (channelLayout == kThreeForcesAndMoments) return 6;
    return 0;
}

Assignment AssignChannels(std::span<const sForcePlateInfo> plates, std::size_t values) {
    Assignment assignment{};
    for (const sForcePlateInfo& plate : plates) {
        const std::size_t channels = ChannelCount(plate.channelLayout);
        if (channels == 0) continue;
        if (channels > values - assignment.values || assignment.plates == assignment.slices.size()) break;
        assignment.slices[assignment.plates++] = {&plate, assignment.values, channels};
        assignment.values += channels;
    }
    return assignment;
}

sForcePlateSample Compute(const sForcePlateInfo& plate, std::span<const float> values,
                          std::span<const float> baseline) {
    const Channels channels = ScaleChannels(plate, values, baseline);
    const float a = plate.sensorOffset[0];
    const float b = plate.sensorOffset[1];
    const float h = plate.sensorOffset[2];
    const auto [f, m] = plate.channelLayout == kEightForces ? EightChannelWrench(channels, a, b, h)
                                                            : SixChannelWrench(channels, a, b, h);
    Vector point{};
    const bool unloaded = f[2] >= -kLeastLoad && f[2] <= kLeastLoad;
    if (!unloaded) point = {-m[1] / f[2], m[0] / f[2], 0.0F};
    const Vector free{m[0] - point[1] * f[2], m[1] + point[0] * f[2], m[2] - (point[0] * f[1] - point[1] * f[0])};
    sForcePlateSample sample{};
    for (int i = 0; i < 3; ++i) {
        sample.force[i] = RotateRow(plate.rotation[i], f);
        sample.centerOfPressure[i] = plate.origin[i] + RotateRow(plate.rotation[i], point);
    }
    sample.freeMoment = RotateRow(plate.rotation[2], free);
    return sample;
}

} // namespace ForcePlateModel
