// Force plates from the mechanics up: what a known load does to the sensors of a plate.
#ifndef TESTS_CLIENT_FORCE_PLATE_STATICS_H
#define TESTS_CLIENT_FORCE_PLATE_STATICS_H

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "TarvoSDKClient.h"

namespace Statics {

using Vec = std::array<double, 3>;

inline Vec Cross(const Vec& a, const Vec& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline Vec Add(const Vec& a, const Vec& b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }

// What stands on a plate, in its own axes: a force at a point of the surface, and a couple about the normal.
struct Load {
    Vec force;
    Vec point; // z 0
    double freeMoment;

    Vec Moment() const { return Add(Cross(point, force), {0, 0, freeMoment}); } // about the surface's centre
};

// Three force and three moment components, measured at `offset` below the surface's centre and turned so that
// the transducer's reading is the moment about the point -offset; moments in thousandths.
inline std::vector<double> SixComponents(const Load& load, const Vec& offset) {
    const Vec atSensor = Add(load.Moment(), Cross(offset, load.force));
    return {load.force[0],        load.force[1],        load.force[2],
            atSensor[0] / 1000.0, atSensor[1] / 1000.0, atSensor[2] / 1000.0};
}

// Four posts at (+a,+b), (-a,+b), (-a,-b), (+a,-b), a depth h under the surface: x forces of the posts 1+2 and
// 3+4, y forces of 1+4 and 2+3, z forces of each. `share` of the twist is carried by the x forces.
inline std::vector<double> EightForces(const Load& load, const Vec& offset, double share) {
    const auto [a, b, h] = offset;
    const Vec f = load.force;
    // The posts' tops balance the moment that is left once the horizontal forces' lever arm h is accounted for.
    const Vec tops = Add(load.Moment(), Cross({0, 0, h}, f));
    const double rollPerPost = tops[0] / (4 * b);
    const double pitchPerPost = tops[1] / (4 * a);
    const double twistByX = share * tops[2] / (2 * b);
    const double twistByY = (1 - share) * tops[2] / (2 * a);
    const double level = f[2] / 4;
    return {f[0] / 2 - twistByX,
            f[0] / 2 + twistByX,
            f[1] / 2 + twistByY,
            f[1] / 2 - twistByY,
            level + rollPerPost - pitchPerPost,
            level + rollPerPost + pitchPerPost,
            level - rollPerPost + pitchPerPost,
            level - rollPerPost - pitchPerPost};
}

// A rotation about a random axis by a random angle.
inline std::array<Vec, 3> RandomRotation(std::mt19937& random) {
    std::normal_distribution<double> normal;
    std::array<double, 4> q{normal(random), normal(random), normal(random), normal(random)};
    const double norm = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
    for (double& part : q) part /= norm;
    const auto [w, x, y, z] = q;
    return {Vec{1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
            Vec{2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
            Vec{2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)}};
}

// A plate somewhere in the volume, and the load on it.
struct LoadedPlate {
    sForcePlateInfo info{};
    Load load{};
    std::vector<double> components;

    LoadedPlate(int layout, std::mt19937& random) {
        std::uniform_real_distribution<double> unit(-1, 1);
        const auto rotation = RandomRotation(random);
        info.channelLayout = layout;
        info.scaleFactor = 3;
        const Vec offset{0.2 + 0.05 * unit(random), 0.35 + 0.05 * unit(random), 0.04 + 0.02 * unit(random)};
        for (std::size_t i = 0; i < 3; ++i) {
            info.origin[i] = static_cast<float>(2 * unit(random));
            info.sensorOffset[i] = static_cast<float>(offset[i]);
            for (std::size_t k = 0; k < 3; ++k) info.rotation[i][k] = static_cast<float>(rotation[i][k]);
        }
        for (auto& row : info.calibration)
            for (float& element : row) element = 99; // only the diagonal may matter
        for (int k = 0; k < 8; ++k) info.calibration[k][k] = static_cast<float>(1.5 + unit(random));
        load.force = {80 * unit(random), 80 * unit(random), 700 + 300 * unit(random)};
        load.point = {0.15 * unit(random), 0.25 * unit(random), 0};
        load.freeMoment = 8 * unit(random);
        components =
            layout == 4 ? SixComponents(load, offset) : EightForces(load, offset, 0.5 + 0.5 * unit(random));
    }

    // The raw channel values that give the components, over what they read unloaded.
    std::vector<float> Channels(const std::vector<float>& unloaded) const {
        std::vector<float> values;
        for (std::size_t k = 0; k < components.size(); ++k) {
            const double gain = static_cast<double>(info.calibration[k][k]) * -info.scaleFactor;
            const double zero = k < unloaded.size() ? static_cast<double>(unloaded[k]) : 0.0;
            values.push_back(static_cast<float>(zero + components[k] / gain));
        }
        return values;
    }

    Vec InVolume(const Vec& v) const {
        Vec turned{};
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t k = 0; k < 3; ++k) turned[i] += static_cast<double>(info.rotation[i][k]) * v[k];
        return turned;
    }
    Vec CenterOfPressure() const {
        return Add({info.origin[0], info.origin[1], info.origin[2]}, InVolume(load.point));
    }
    double FreeMoment() const { return InVolume({0, 0, load.freeMoment})[2]; }
};

inline void ExpectNear(const float (&actual)[3], const Vec& expected, double tolerance, const char* what) {
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(actual[i], expected[i], tolerance) << what << '[' << i << ']';
}

inline void ExpectLoad(const sForcePlateSample& sample, const LoadedPlate& plate) {
    ExpectNear(sample.force, plate.InVolume(plate.load.force), 1e-2, "force");
    ExpectNear(sample.centerOfPressure, plate.CenterOfPressure(), 2e-5, "centre of pressure");
    EXPECT_NEAR(sample.freeMoment, plate.FreeMoment(), 1e-2);
}

} // namespace Statics

#endif
