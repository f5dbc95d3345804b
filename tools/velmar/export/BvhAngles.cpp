#include "export/BvhAngles.h"

#include <cmath>
#include <numbers>

namespace {

constexpr double kDegrees = 180 / std::numbers::pi; // in a radian
constexpr double kRound = 360;

// The same direction, next to another angle.
double NextTo(double near, double angle) { return angle + kRound * std::round((near - angle) / kRound); }

BvhAngles NextTo(const BvhAngles& near, const BvhAngles& angles) {
    return {NextTo(near.z, angles.z), NextTo(near.x, angles.x), NextTo(near.y, angles.y)};
}

double Distance(const BvhAngles& a, const BvhAngles& b) {
    return std::abs(a.z - b.z) + std::abs(a.x - b.x) + std::abs(a.y - b.y);
}

} // namespace

// The turn about y is taken off first: what is left tells the two others, at the pole as well.
BvhAngles BvhAngles::Next(const aiQuaterniont<double>& rotation) const {
    constexpr double kPole = 1e-6; // the cosine of x, below which single precision tells nothing of y
    const aiMatrix3x3t<double> m = rotation.GetMatrix();
    const double turn = std::hypot(m.c1, m.c3) > kPole ? std::atan2(-m.c1, m.c3) : y / kDegrees;
    const double cosine = std::cos(turn);
    const double sine = std::sin(turn);
    const double aboutZ = std::atan2(m.b1 * cosine + m.b3 * sine, m.a1 * cosine + m.a3 * sine);
    const double aboutX = std::atan2(m.c2, m.c3 * cosine - m.c1 * sine);
    const BvhAngles one{aboutZ * kDegrees, aboutX * kDegrees, turn * kDegrees};
    const BvhAngles other{one.z + kRound / 2, kRound / 2 - one.x, one.y + kRound / 2}; // the same rotation
    const BvhAngles nearOne = NextTo(*this, one);
    const BvhAngles nearOther = NextTo(*this, other);
    return Distance(*this, nearOther) < Distance(*this, nearOne) ? nearOther : nearOne;
}
