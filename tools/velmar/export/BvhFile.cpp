#include "export/BvhFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>

#include "export/PlainName.h"
#include "export/YUp.h"

namespace {

using Vector = aiVector3t<double>;
using Rotation = aiQuaterniont<double>;

constexpr double kCentimetres = 100; // in a metre
constexpr double kRigid = 0.05e-3;   // metres that a bone may be off its place on its parent
constexpr double kEnd = 0.05;        // metres from a leaf to its end
constexpr const char* kRotations = "Zrotation Xrotation Yrotation";

Rotation Inverse(Rotation unit) { return unit.Conjugate(); }

const sSkeletonSample* FindSkeleton(const sFrameOfMocapData& frame, std::int32_t id) {
    for (int i = 0; i < frame.skeletonCount; ++i)
        if (frame.skeletons[i].id == id) return &frame.skeletons[i];
    return nullptr;
}

// The bone that has this place in the description, or, where another one stands there, this identifier.
const sRigidBodySample* FindBone(const sSkeletonSample& skeleton, std::size_t place, std::int32_t id) {
    const sRigidBodySample* const begin = skeleton.rigidBodies;
    const sRigidBodySample* const end = begin + skeleton.rigidBodyCount;
    if (place < static_cast<std::size_t>(end - begin) && begin[place].id == id) return begin + place;
    const auto* const found =
        std::find_if(begin, end, [=](const sRigidBodySample& bone) { return bone.id == id; });
    return found == end ? nullptr : found;
}

std::string OffsetText(const Vector& offset) {
    const Vector v = offset * kCentimetres;
    return fmt::format("OFFSET {:.6f} {:.6f} {:.6f}\n", v.x, v.y, v.z);
}

} // namespace

BvhFile::BvhFile(SkeletonTree tree) : m_tree(std::move(tree)) {
    m_children.resize(m_tree.bones.size());
    m_hasPosition.resize(m_tree.bones.size());
    m_hasPosition[m_tree.root] = true;
    for (std::size_t i = 0; i < m_tree.bones.size(); ++i) {
        m_names.push_back(m_tree.bones[i].name);
        if (i != m_tree.root) m_children[static_cast<std::size_t>(m_tree.bones[i].parent)].push_back(i);
    }
    m_names = PlainNames(std::move(m_names), "Bone");
}

// Whether the frame has all bones, at places that are numbers. Orientations come as unit quaternions.
bool BvhFile::Find(const sFrameOfMocapData& frame, std::vector<Pose>& poses) const {
    const sSkeletonSample* const skeleton = FindSkeleton(frame, m_tree.id);
    if (skeleton == nullptr) return false;
    poses.clear();
    for (std::size_t i = 0; i < m_tree.bones.size(); ++i) {
        const sRigidBodySample* const bone = FindBone(*skeleton, i, m_tree.bones[i].id);
        if (bone == nullptr) return false;
        const auto& [px, py, pz] = bone->position;
        const std::optional<Rotation> orientation = RotationOf(bone->orientation);
        if (!std::isfinite(px) || !std::isfinite(py) || !std::isfinite(pz) || !orientation) return false;
        poses.push_back({{px, py, pz}, *orientation});
    }
    return true;
}

Vector BvhFile::PlaceInParent(const std::vector<Pose>& poses, std::size_t bone) const {
    const Pose& parent = poses[static_cast<std::size_t>(m_tree.bones[bone].parent)];
    return Inverse(parent.orientation).Rotate(poses[bone].position - parent.position);
}

void BvhFile::Survey(const sFrameOfMocapData& frame) {
    if (!Find(frame, m_poses)) return;
    m_isSeen = true;
    for (std::size_t i = 0; i < m_tree.bones.size(); ++i)
        if (!m_hasPosition[i] && (PlaceInParent(m_poses, i) - m_tree.bones[i].offset).Length() > kRigid)
            m_hasPosition[i] = true;
}

// A bone's place on its parent, in the file's axes: those in which all rotations of the reference pose are 0.
Vector BvhFile::OffsetOf(std::size_t bone) const {
    if (bone == m_tree.root) return {};
    const SkeletonTree::Bone& parent = m_tree.bones[static_cast<std::size_t>(m_tree.bones[bone].parent)];
    return YUp(parent.orientation.Rotate(m_tree.bones[bone].offset));
}

BvhFile::Local BvhFile::LocalOf(const std::vector<Pose>& poses, std::size_t bone) const {
    // How far a bone has turned from the reference pose, in the file's axes.
    const auto turned = [&](std::size_t i) {
        return YUp(poses[i].orientation * Inverse(m_tree.bones[i].orientation));
    };
    if (bone == m_tree.root) return {YUp(poses[bone].position), turned(bone)};
    const auto parent = static_cast<std::size_t>(m_tree.bones[bone].parent);
    const Rotation intoParent = Inverse(turned(parent));
    return {intoParent.Rotate(YUp(poses[bone].position - poses[parent].position)), intoParent * turned(bone)};
}

void BvhFile::AppendEnd(std::string& text, std::size_t bone, const std::string& indent) const {
    const Vector along = OffsetOf(bone);
    const Vector end = along.Length() > 0 ? along / along.Length() : Vector(0, 1, 0);
    text += fmt::format("{0}End Site\n{0}{{\n{0}\t{1}{0}}}\n", indent, OffsetText(end * kEnd));
}

void BvhFile::AppendJoint(std::string& text, std::size_t bone, const std::string& indent) {
    m_order.push_back(bone);
    const std::string inside = indent + '\t';
    text += fmt::format("{0}{1} {2}\n{0}{{\n", indent, bone == m_tree.root ? "ROOT" : "JOINT", m_names[bone]);
    text += inside + OffsetText(OffsetOf(bone));
    text += fmt::format("{}CHANNELS {}{}\n", inside,
                        m_hasPosition[bone] ? "6 Xposition Yposition Zposition " : "3 ", kRotations);
    for (const std::size_t child : m_children[bone]) AppendJoint(text, child, inside);
    if (m_children[bone].empty()) AppendEnd(text, bone, inside);
    text += indent + "}\n";
}

void BvhFile::Begin(OutputFile& file, const FrameTimeline& timeline) {
    m_file = &file;
    std::string text = "HIERARCHY\n";
    AppendJoint(text, m_tree.root, "");
    text += fmt::format("MOTION\nFrames: {}\nFrame Time: {:.12f}\n", timeline.Slots(), 1 / timeline.Rate());
    m_file->Write(text);
    m_angles.resize(m_tree.bones.size());
    SetRow(ReferencePoses());
}

std::vector<BvhFile::Pose> BvhFile::ReferencePoses() const {
    std::vector<Pose> poses(m_tree.bones.size());
    for (const std::size_t i : m_order) { // parents first
        const auto& [name, id, parent, offset, orientation] = m_tree.bones[i];
        poses[i] = {offset, orientation};
        if (i == m_tree.root) continue;
        const Pose& from = poses[static_cast<std::size_t>(parent)];
        poses[i].position = from.position + from.orientation.Rotate(offset);
    }
    return poses;
}

void BvhFile::SetRow(const std::vector<Pose>& poses) {
    constexpr const char* kTriple = "{:.6f} {:.6f} {:.6f} ";
    m_row.clear();
    for (const std::size_t i : m_order) {
        const auto [position, rotation] = LocalOf(poses, i);
        const Vector at = position * kCentimetres;
        m_angles[i] = m_angles[i].Next(rotation);
        if (m_hasPosition[i]) fmt::format_to(std::back_inserter(m_row), kTriple, at.x, at.y, at.z);
        fmt::format_to(std::back_inserter(m_row), kTriple, m_angles[i].z, m_angles[i].x, m_angles[i].y);
    }
    m_row.back() = '\n';
}

void BvhFile::Add(const sFrameOfMocapData* frame) {
    if (frame != nullptr && Find(*frame, m_poses))
        SetRow(m_poses);
    else
        ++m_held;
    m_file->Write(m_row);
}
