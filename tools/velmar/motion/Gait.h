// A walk on a circle as a plan of footsteps: where each foot stands when, and what the ground does to it.
#ifndef VELMAR_MOTION_GAIT_H
#define VELMAR_MOTION_GAIT_H

#include <vector>

#include "motion/Motion.h"

namespace Gait {

// One round: 18 steps on a circle around the volume's origin, counter-clockwise. Even steps are left ones.
inline constexpr int kStepsPerRound = 18;
inline constexpr double kSecondsPerStep = 0.54;
inline constexpr double kRoundSeconds = kStepsPerRound * kSecondsPerStep;
inline constexpr double kRadius = 2.0;     // metres
inline constexpr double kBodyWeight = 687; // newtons: 70 kg

enum Side { kLeft = 0, kRight = 1 };

// A place on the floor and the direction of walking there, counter-clockwise from the x axis in radians.
struct Placement {
    aiVector3D position; // z 0
    double heading;
};

struct Foot {
    aiVector3D ankle;
    double heading;
    double pitch; // toes down, radians
};

// The point of the circle below the pelvis.
Placement BodyAt(double seconds);

// Where the foot of this step stands; steps count on through the rounds.
Placement StepPlacement(int step);

Foot FootAt(Side side, double seconds);

// The steps that carry weight: one, or two while the weight changes over.
std::vector<GroundContact> ContactsAt(double seconds);

} // namespace Gait

#endif
