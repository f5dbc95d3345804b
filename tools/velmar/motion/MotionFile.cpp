#include "motion/MotionFile.h"

#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <fmt/format.h>

#include <algorithm>
#include <assimp/Importer.hpp>
#include <cmath>

#include "TarvoSDKClient.h"
#include "UsageError.h"
#include "Wording.h"

namespace {

// The lengths in which motion files are written, in metres: metre, centimetre, millimetre, inch, and the inch
// over 0.45 of a widely used collection of recordings.
constexpr double kUnits[] = {1.0, 0.01, 0.001, 0.0254, 0.0254 / 0.45};
constexpr double kPersonHeight = 1.7;
constexpr double kDefaultRate = 25; // frames a second, for files that state none

// The first key after this time, or the last one.
template <typename Key>
unsigned int NextKey(const Key* keys, unsigned int count, double ticks) {
    const Key* const next =
        std::upper_bound(keys, keys + count, ticks, [](double time, const Key& key) { return time < key.mTime; });
    return std::min(static_cast<unsigned int>(next - keys), count - 1);
}

// How far the time has come from one key to the next, 0 to 1.
template <typename Key>
float Fraction(const Key& from, const Key& to, double ticks) {
    if (to.mTime <= from.mTime) return 1;
    return static_cast<float>(std::clamp((ticks - from.mTime) / (to.mTime - from.mTime), 0.0, 1.0));
}

aiVector3D VectorAt(const aiVectorKey* keys, unsigned int count, double ticks, const aiVector3D& otherwise) {
    if (count == 0) return otherwise;
    const unsigned int next = NextKey(keys, count, ticks);
    if (keys[next].mTime <= ticks) return keys[next].mValue;
    const aiVectorKey& from = keys[next == 0 ? 0 : next - 1];
    return from.mValue + (keys[next].mValue - from.mValue) * Fraction(from, keys[next], ticks);
}

aiQuaternion RotationAt(const aiNodeAnim& channel, double ticks) {
    if (channel.mNumRotationKeys == 0) return {};
    const unsigned int next = NextKey(channel.mRotationKeys, channel.mNumRotationKeys, ticks);
    const aiQuatKey& from = channel.mRotationKeys[next == 0 ? 0 : next - 1];
    const aiQuatKey& to = channel.mRotationKeys[next];
    aiQuaternion result;
    aiQuaternion::Interpolate(result, from.mValue, to.mValue, Fraction(from, to, ticks));
    return result.Normalize(); // between keys it is a little shorter, which would shorten the bones below
}

aiMatrix4x4 TransformAt(const aiNodeAnim& channel, double ticks) {
    const aiVector3D scaling = VectorAt(channel.mScalingKeys, channel.mNumScalingKeys, ticks, {1, 1, 1});
    const aiVector3D position = VectorAt(channel.mPositionKeys, channel.mNumPositionKeys, ticks, {});
    return {scaling, RotationAt(channel, ticks), position};
}

// The time of the last key: some readers count the frames, which is one more than the way between them.
double LastKey(const aiAnimation& animation) {
    double last = 0;
    for (unsigned int i = 0; i < animation.mNumChannels; ++i) {
        const aiNodeAnim& channel = *animation.mChannels[i];
        if (channel.mNumPositionKeys > 0)
            last = std::max(last, channel.mPositionKeys[channel.mNumPositionKeys - 1].mTime);
        if (channel.mNumRotationKeys > 0)
            last = std::max(last, channel.mRotationKeys[channel.mNumRotationKeys - 1].mTime);
    }
    return last;
}

// A frame time is written as a rounded decimal and read as a float: the rate is the one that was meant, as long as
// no more was lost than that takes. Six decimals of 1/120 s are 4e-5 away from it; 24 and 23.976 are 1e-3 apart.
double RateOf(const aiAnimation& animation) {
    const double stated = animation.mTicksPerSecond > 0 ? animation.mTicksPerSecond : kDefaultRate;
    constexpr double kTelevision = 1000.0 / 1001;
    constexpr double kDecimals = 1e7; // of a frame time in seconds that is no other rate's rounding
    const struct {
        double rate, tolerance;
    } meant[] = {{std::round(stated), 1e-4},
                 {std::round(stated / kTelevision) * kTelevision, 1e-4},
                 {kDecimals / std::round(kDecimals / stated), 1e-7}};
    for (const auto& [rate, tolerance] : meant)
        if (std::abs(rate / stated - 1) < tolerance) return rate;
    return stated;
}

// A time that means a whole frame is one, on whichever side of it the arithmetic has left it.
double Snapped(double frame) {
    constexpr double kRounding = 1e-6;
    const double whole = std::round(frame);
    return std::abs(frame - whole) < kRounding ? whole : frame;
}

const aiNodeAnim* FindChannel(const aiAnimation& animation, const aiString& name) {
    for (unsigned int i = 0; i < animation.mNumChannels; ++i)
        if (animation.mChannels[i]->mNodeName == name) return animation.mChannels[i];
    return nullptr;
}

} // namespace

MotionFile::MotionFile(const std::string& path, UpAxis up, std::optional<double> scale) : m_path(path) {
    Assimp::Importer importer;
    if (importer.ReadFile(path, 0) == nullptr)
        throw UsageError(fmt::format("--motion {}: {}", path, importer.GetErrorString()));
    m_scene.reset(importer.GetOrphanedScene());
    if (m_scene->mNumAnimations == 0 || m_scene->mRootNode == nullptr)
        throw UsageError(fmt::format("--motion {}: the file holds no animation", path));
    m_animation = m_scene->mAnimations[0];
    Collect(*m_scene->mRootNode, -1, -1);
    if (m_joints.empty() || m_joints.size() > TARVO_MAX_SKELETON_BODIES)
        throw UsageError(fmt::format("--motion {}: {} animated joints, a skeleton holds 1 to {}", path,
                                     m_joints.size(), +TARVO_MAX_SKELETON_BODIES));
    m_rate = RateOf(*m_animation);
    const double last = LastKey(*m_animation);
    m_frames = last + 1; // the last one stays as long as any other before the motion begins anew
    if (!(last > 0 && m_frames / m_rate > 0))
        throw UsageError(fmt::format("--motion {}: the animation has no length", path));
    if (up == UpAxis::kY) aiMatrix4x4::RotationX(static_cast<float>(std::acos(0.0)), m_toVolume);
    m_scaleGuessed = !scale.has_value();
    m_scale = m_scaleGuessed ? GuessScale() : *scale;
}

MotionFile::~MotionFile() = default;

void MotionFile::Collect(const aiNode& node, int parent, int parentJoint) {
    const aiNodeAnim* const channel = FindChannel(*m_animation, node.mName);
    int joint = -1;
    if (channel != nullptr) {
        joint = static_cast<int>(m_joints.size());
        m_joints.push_back({node.mName.C_Str(), parentJoint});
    }
    const int self = static_cast<int>(m_nodes.size());
    m_nodes.push_back({parent, node.mTransformation, channel, joint});
    for (unsigned int i = 0; i < node.mNumChildren; ++i)
        Collect(*node.mChildren[i], self, channel != nullptr ? joint : parentJoint);
}

std::vector<aiMatrix4x4> MotionFile::WorldTransforms(std::optional<double> frame) const {
    std::vector<aiMatrix4x4> world(m_nodes.size());
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        const Node& node = m_nodes[i];
        const bool moves = node.channel != nullptr && frame;
        const aiMatrix4x4 own = moves ? TransformAt(*node.channel, *frame) : node.rest;
        world[i] = (node.parent < 0 ? m_toVolume : world[static_cast<std::size_t>(node.parent)]) * own;
    }
    return world;
}

std::vector<JointPose> MotionFile::PoseAt(double seconds) const {
    return Poses(WorldTransforms(std::fmod(Snapped(seconds * m_rate), m_frames)));
}

std::vector<JointPose> MotionFile::ReferencePose() const { return Poses(WorldTransforms({})); }

std::vector<JointPose> MotionFile::Poses(const std::vector<aiMatrix4x4>& world) const {
    std::vector<JointPose> poses(m_joints.size());
    for (std::size_t i = 0; i < m_nodes.size(); ++i) {
        if (m_nodes[i].joint < 0) continue;
        JointPose& pose = poses[static_cast<std::size_t>(m_nodes[i].joint)];
        aiVector3D scaling;
        world[i].Decompose(scaling, pose.orientation, pose.position);
        pose.position *= static_cast<float>(m_scale);
    }
    return poses;
}

double MotionFile::GuessScale() const {
    // The tree's top stands at the file's origin, wherever the figure is.
    const std::vector<aiMatrix4x4> world = WorldTransforms(0);
    const auto below = [](const aiMatrix4x4& a, const aiMatrix4x4& b) { return a.c4 < b.c4; };
    const auto [lowest, highest] =
        std::minmax_element(world.begin() + (world.size() > 1 ? 1 : 0), world.end(), below);
    const double height = static_cast<double>(highest->c4) - static_cast<double>(lowest->c4);
    if (!(height > 0)) return 1;
    const auto misfit = [=](double unit) { return std::abs(std::log(height * unit / kPersonHeight)); };
    return *std::min_element(std::begin(kUnits), std::end(kUnits),
                             [&](double a, double b) { return misfit(a) < misfit(b); });
}

std::string MotionFile::Summary() const {
    return fmt::format("{}: {}, {:.2f} s at {:.8g} Hz, scale {:.6g} m a unit{}", m_path,
                       Counted(m_joints.size(), "joint"), m_frames / m_rate, m_rate, m_scale,
                       m_scaleGuessed ? " (as tall as a person; --scale sets another)" : "");
}
