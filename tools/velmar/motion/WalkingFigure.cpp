#include "motion/WalkingFigure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "motion/Gait.h"

namespace {

using std::numbers::pi;

constexpr float kHipHeight = 0.85F;
constexpr float kThigh = 0.45F;
constexpr float kShank = 0.45F;
constexpr float kHipHalfWidth = 0.09F;
constexpr float kShoulderHalfWidth = 0.18F;
constexpr float kUpperArm = 0.29F;
constexpr float kForeArm = 0.26F;
constexpr float kFootLength = 0.17F;

// Places in the joint list; each side's limbs follow each other.
constexpr int kLimbJoints = 4;
enum JointIndex {
    kHips,
    kSpine,
    kChest,
    kNeck,
    kHead,
    kArms,
    kLegs = kArms + 2 * kLimbJoints,
    kJointCount = kLegs + 2 * kLimbJoints
};

constexpr int FirstOf(JointIndex limbs, Gait::Side side) { return limbs + kLimbJoints * side; }

const std::vector<Joint>& JointTable() {
    static const std::vector<Joint> joints{{"Hips", -1},
                                           {"Spine", kHips},
                                           {"Chest", kSpine},
                                           {"Neck", kChest},
                                           {"Head", kNeck},
                                           {"LeftShoulder", kChest},
                                           {"LeftArm", kArms},
                                           {"LeftForeArm", kArms + 1},
                                           {"LeftHand", kArms + 2},
                                           {"RightShoulder", kChest},
                                           {"RightArm", kArms + 4},
                                           {"RightForeArm", kArms + 5},
                                           {"RightHand", kArms + 6},
                                           {"LeftUpLeg", kHips},
                                           {"LeftLeg", kLegs},
                                           {"LeftFoot", kLegs + 1},
                                           {"LeftToe", kLegs + 2},
                                           {"RightUpLeg", kHips},
                                           {"RightLeg", kLegs + 4},
                                           {"RightFoot", kLegs + 5},
                                           {"RightToe", kLegs + 6}};
    return joints;
}

// Forward, left and up at one place of the walk.
struct Axes {
    aiVector3D forward;
    aiVector3D left;
    aiVector3D up{0, 0, 1};

    explicit Axes(double heading)
        : forward(static_cast<float>(std::cos(heading)), static_cast<float>(std::sin(heading)), 0),
          left(-forward.y, forward.x, 0) {}

    // Turned down towards the front by this angle.
    Axes Pitched(double angle) const {
        Axes turned = *this;
        const auto c = static_cast<float>(std::cos(angle));
        const auto s = static_cast<float>(std::sin(angle));
        turned.forward = forward * c - up * s;
        turned.up = up * c + forward * s;
        return turned;
    }

    // x forward, y left, z up.
    aiQuaternion Orientation() const {
        return aiQuaternion(
            aiMatrix3x3(forward.x, left.x, up.x, forward.y, left.y, up.y, forward.z, left.z, up.z));
    }
};

// A limb segment hangs along its own negative z axis.
Axes Hanging(const Axes& body, const aiVector3D& direction) {
    Axes limb = body;
    limb.up = -direction;
    limb.up.NormalizeSafe();
    limb.forward = body.left ^ limb.up;
    limb.forward.NormalizeSafe();
    limb.left = limb.up ^ limb.forward;
    return limb;
}

JointPose At(const aiVector3D& position, const Axes& axes) { return {position, axes.Orientation()}; }

// The knee in front of the line from hip to ankle, by the cosine rule; a leg that is too short is stretched.
aiVector3D Knee(const aiVector3D& hip, const aiVector3D& ankle, const aiVector3D& forward) {
    const aiVector3D line = ankle - hip;
    const float distance = std::min(line.Length(), kThigh + kShank);
    const float along = (kThigh * kThigh - kShank * kShank + distance * distance) / (2 * distance);
    const float bend = std::sqrt(std::max(0.0F, kThigh * kThigh - along * along));
    aiVector3D direction = line;
    direction.NormalizeSafe();
    aiVector3D front = forward - direction * (forward * direction);
    front.NormalizeSafe();
    return hip + direction * along + front * bend;
}

void PlaceTrunk(std::vector<JointPose>& poses, const aiVector3D& hips, const Axes& body) {
    const struct {
        JointIndex joint;
        float height;
        double lean;
    } trunk[] = {
        {kHips, 0, 0}, {kSpine, 0.1F, 0.03}, {kChest, 0.3F, 0.05}, {kNeck, 0.55F, 0.02}, {kHead, 0.63F, 0}};
    for (const auto& [joint, height, lean] : trunk) poses[joint] = At(hips + body.up * height, body.Pitched(lean));
}

// The arm swings against the leg of its side.
void PlaceArm(std::vector<JointPose>& poses, Gait::Side side, const aiVector3D& hips, const Axes& body,
              double swing) {
    JointPose* const arm = poses.data() + FirstOf(kArms, side);
    const float outward = side == Gait::kLeft ? 1.0F : -1.0F;
    const aiVector3D shoulder = hips + body.up * 0.5F + body.left * (outward * kShoulderHalfWidth);
    const Axes upper = body.Pitched(-0.45 * swing);
    const Axes lower = body.Pitched(-0.45 * swing - 0.35);
    const aiVector3D elbow = shoulder - upper.up * kUpperArm;
    arm[0] = At(shoulder - body.left * (outward * 0.1F), body);
    arm[1] = At(shoulder, upper);
    arm[2] = At(elbow, lower);
    arm[3] = At(elbow - lower.up * kForeArm, lower);
}

void PlaceLeg(std::vector<JointPose>& poses, Gait::Side side, const aiVector3D& hips, const Axes& body,
              const Gait::Foot& foot) {
    JointPose* const leg = poses.data() + FirstOf(kLegs, side);
    const float outward = side == Gait::kLeft ? 1.0F : -1.0F;
    const aiVector3D hip = hips + body.left * (outward * kHipHalfWidth);
    const aiVector3D knee = Knee(hip, foot.ankle, body.forward);
    const Axes sole = Axes(foot.heading).Pitched(foot.pitch);
    leg[0] = At(hip, Hanging(body, knee - hip));
    leg[1] = At(knee, Hanging(body, foot.ankle - knee));
    leg[2] = At(foot.ankle, sole);
    leg[3] = At(foot.ankle + sole.forward * kFootLength - sole.up * 0.07F, sole);
}

} // namespace

const std::vector<Joint>& WalkingFigure::Joints() const { return JointTable(); }

std::vector<JointPose> WalkingFigure::PoseAt(double seconds) const {
    const double time = std::fmod(seconds, Gait::kRoundSeconds);
    const double phase = pi * time / Gait::kSecondsPerStep; // of a stride: pi a step
    const Gait::Placement place = Gait::BodyAt(time);
    const Axes body(place.heading);
    aiVector3D hips = place.position;
    hips.z = kHipHeight + 0.015F * static_cast<float>(std::cos(2 * phase - pi * 0.48));
    std::vector<JointPose> poses(kJointCount);
    PlaceTrunk(poses, hips, body);
    for (const Gait::Side side : {Gait::kLeft, Gait::kRight}) {
        const double swing = std::cos(phase - pi * 0.12) * (side == Gait::kLeft ? -1 : 1);
        PlaceArm(poses, side, hips, body, swing);
        PlaceLeg(poses, side, hips, body, Gait::FootAt(side, time));
    }
    return poses;
}

std::vector<GroundContact> WalkingFigure::ContactsAt(double seconds) const {
    return Gait::ContactsAt(std::fmod(seconds, Gait::kRoundSeconds));
}

std::string WalkingFigure::Summary() const {
    return fmt::format("the walking figure: {} joints, a round of {:.2f} s", JointTable().size(),
                       Gait::kRoundSeconds);
}
