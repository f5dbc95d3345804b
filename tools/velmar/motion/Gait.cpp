#include "motion/Gait.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Gait {

namespace {

using std::numbers::pi;

constexpr double kStanceShare = 0.62; // of a stride of two steps
constexpr double kStanceSeconds = 2 * kStanceShare * kSecondsPerStep;
constexpr double kStepWidth = 0.18; // between the feet, metres
constexpr double kAnkleHeight = 0.09;
constexpr double kHeelToAnkle = 0.06; // the centre of pressure wanders from behind the ankle
constexpr double kAnkleToToe = 0.17;  // to the ball of the foot
constexpr double kFootLift = 0.11;
constexpr double kToeOffPitch = 0.7; // of the foot when its toes leave the ground, radians

aiVector3D Along(double heading, double distance) {
    return {static_cast<float>(std::cos(heading) * distance), static_cast<float>(std::sin(heading) * distance), 0};
}

Placement OnCircle(double angle, double radius) { return {Along(angle, radius), angle + pi / 2}; }

double BodyAngle(double seconds) { return 2 * pi * seconds / kRoundSeconds; }

double HeelStrike(int step) { return step * kSecondsPerStep; }

double Smooth(double u) { return u * u * (3 - 2 * u); }

// The latest step of this side that has begun.
int CurrentStep(Side side, double seconds) {
    const int step = static_cast<int>(std::floor(seconds / kSecondsPerStep));
    return (step - side) % 2 == 0 ? step : step - 1;
}

// The ground's answer during one stance, u from 0 (heel strike) to 1 (toe off), as measured walks show it: the
// vertical force has two humps that over a stride add up to the body's weight, the horizontal one brakes and
// then drives, and the foot presses outwards a little.
GroundContact ContactOf(int step, double u) {
    constexpr double kFirstHarmonic = 1.12;
    constexpr double kThirdHarmonic = 0.35;
    constexpr double kMeanOfHarmonics = (kFirstHarmonic + kThirdHarmonic / 3) * 2 / pi;
    const double share = kFirstHarmonic * std::sin(pi * u) + kThirdHarmonic * std::sin(3 * pi * u);
    const double vertical = kBodyWeight * share / (kMeanOfHarmonics * 2 * kStanceShare);
    const double forward = -0.18 * kBodyWeight * std::sin(2 * pi * u);
    const double inward = 0.05 * kBodyWeight * std::sin(pi * u) * (step % 2 == 0 ? -1 : 1);
    const Placement foot = StepPlacement(step);
    const double roll = -kHeelToAnkle + (kHeelToAnkle + kAnkleToToe) * Smooth(u);
    GroundContact contact{};
    contact.force = Along(foot.heading, forward) + Along(foot.heading + pi / 2, inward);
    contact.force.z = static_cast<float>(vertical);
    contact.point = foot.position + Along(foot.heading, roll);
    contact.freeMoment = static_cast<float>(5 * std::sin(2 * pi * u) * (step % 2 == 0 ? 1 : -1));
    return contact;
}

} // namespace

Placement BodyAt(double seconds) { return OnCircle(BodyAngle(seconds), kRadius); }

Placement StepPlacement(int step) {
    // The body passes over a foot in the middle of its stance; left is the inner side.
    const double side = step % 2 == 0 ? -kStepWidth / 2 : kStepWidth / 2;
    return OnCircle(BodyAngle(HeelStrike(step) + kStanceSeconds / 2), kRadius + side);
}

Foot FootAt(Side side, double seconds) {
    const int step = CurrentStep(side, seconds);
    const Placement from = StepPlacement(step);
    const double stood = seconds - HeelStrike(step);
    const double heelOff = std::clamp((stood / kStanceSeconds - 0.6) / 0.4, 0.0, 1.0);
    Foot foot{from.position, from.heading, kToeOffPitch * Smooth(heelOff)};
    foot.ankle.z = static_cast<float>(kAnkleHeight);
    if (stood < kStanceSeconds) {
        // The heel rises about the ball of the foot.
        foot.ankle += Along(from.heading, kAnkleToToe * (1 - std::cos(foot.pitch)));
        foot.ankle.z += static_cast<float>(kAnkleToToe * std::sin(foot.pitch));
        return foot;
    }
    const double u = std::min((stood - kStanceSeconds) / (2 * kSecondsPerStep - kStanceSeconds), 1.0);
    const Placement to = StepPlacement(step + 2);
    const double lifted = kAnkleToToe * std::sin(kToeOffPitch);
    const aiVector3D start = from.position + Along(from.heading, kAnkleToToe * (1 - std::cos(kToeOffPitch)));
    foot.ankle = start + (to.position - start) * static_cast<float>(Smooth(u));
    foot.ankle.z = static_cast<float>(kAnkleHeight + lifted * (1 - Smooth(u)) + kFootLift * std::sin(pi * u) * u);
    foot.heading += (to.heading - from.heading) * Smooth(u);
    foot.pitch = kToeOffPitch * (1 - Smooth(u));
    return foot;
}

std::vector<GroundContact> ContactsAt(double seconds) {
    std::vector<GroundContact> contacts;
    const int latest = static_cast<int>(std::floor(seconds / kSecondsPerStep));
    for (int step = latest - 1; step <= latest; ++step) {
        const double u = (seconds - HeelStrike(step)) / kStanceSeconds;
        if (u >= 0 && u < 1) contacts.push_back(ContactOf(step, u));
    }
    return contacts;
}

} // namespace Gait
