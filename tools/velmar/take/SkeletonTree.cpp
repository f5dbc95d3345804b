#include "take/SkeletonTree.h"

#include <fmt/format.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>

#include "NameText.h"
#include "simulate/ServerRecords.h"

namespace {

// Why these bones are no hierarchy; empty when they are one. Gives each bone its parent and finds the root.
class Hierarchy {
public:
    Hierarchy(SkeletonTree& tree, std::span<const RigidBodyRecord> records) : m_tree(tree), m_records(records) {}

    std::string Fault() {
        if (m_records.empty()) return "has no bone";
        std::string fault = FindParents();
        if (fault.empty()) fault = FindRoot();
        if (fault.empty()) fault = FindCycle();
        return fault;
    }

private:
    std::string FindParents() {
        std::map<std::int32_t, int> indices;
        for (std::size_t i = 0; i < m_records.size(); ++i)
            if (!indices.try_emplace(m_records[i].id, static_cast<int>(i)).second)
                return fmt::format("has two bones with the identifier {}", m_records[i].id);
        for (std::size_t i = 0; i < m_records.size(); ++i) {
            if (m_records[i].parentId == kNoParent) continue;
            const auto parent = indices.find(m_records[i].parentId);
            if (parent == indices.end())
                return fmt::format("has no bone {}, which is to be the parent of {:?}", m_records[i].parentId,
                                   m_tree.bones[i].name);
            m_tree.bones[i].parent = parent->second;
        }
        return {};
    }

    std::string FindRoot() {
        int roots = 0;
        for (std::size_t i = 0; i < m_tree.bones.size(); ++i) {
            if (m_tree.bones[i].parent >= 0) continue;
            ++roots;
            m_tree.root = i;
        }
        return roots == 1 ? std::string() : fmt::format("has {} bones without a parent in place of one", roots);
    }

    // From each bone the root must be so many steps away at most as there are bones.
    std::string FindCycle() const {
        for (const SkeletonTree::Bone& bone : m_tree.bones) {
            std::size_t steps = 0;
            for (int at = bone.parent; at >= 0; at = m_tree.bones[static_cast<std::size_t>(at)].parent)
                if (++steps == m_tree.bones.size())
                    return fmt::format("goes round in a circle above the bone {:?}", bone.name);
        }
        return {};
    }

    SkeletonTree& m_tree;
    std::span<const RigidBodyRecord> m_records;
};

} // namespace

SkeletonTree::SkeletonTree(const sSkeletonInfo& description, const Take& take)
    : name(NameText(description.name)), id(description.id) {
    const auto refuse = [&](const std::string& why) {
        throw std::runtime_error(fmt::format("{}: the skeleton {:?} {}", take.options.file, name, why));
    };
    if (!take.IsSimulated()) refuse("has no hierarchy that is known: only its server knows what it describes");
    std::vector<RigidBodyRecord> records;
    for (int i = 0; i < description.rigidBodyCount; ++i) {
        const auto& record = records.emplace_back(std::bit_cast<RigidBodyRecord>(description.rigidBodies[i]));
        const auto& [x, y, z] = record.offset;
        const std::optional<aiQuaterniont<double>> orientation = RotationOf(record.orientation);
        if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z) || !orientation)
            refuse(
                fmt::format("has the bone {:?} at an offset that is no number or an orientation that is no "
                            "rotation",
                            NameText(record.name)));
        bones.push_back({NameText(record.name), record.id, -1, {x, y, z}, *orientation});
    }
    const std::string fault = Hierarchy(*this, records).Fault();
    if (!fault.empty()) refuse(fault);
}

std::vector<const sSkeletonInfo*> SkeletonsIn(const sDataDescriptions* descriptions) {
    std::vector<const sSkeletonInfo*> skeletons;
    for (int i = 0; descriptions != nullptr && i < descriptions->descriptionCount; ++i) {
        const sDescriptionEntry& entry = descriptions->descriptions[i];
        if (entry.type == DescSkeleton && entry.data != nullptr)
            skeletons.push_back(static_cast<const sSkeletonInfo*>(entry.data));
    }
    return skeletons;
}

std::optional<aiQuaterniont<double>> RotationOf(const float (&xyzw)[4]) {
    constexpr double kTolerance = 1e-2; // more than single precision and interpolation leave
    const auto& [x, y, z, w] = xyzw;
    aiQuaterniont<double> rotation(w, x, y, z);
    const double length = std::hypot(std::hypot(rotation.x, rotation.y), std::hypot(rotation.z, rotation.w));
    if (!(std::abs(length - 1) < kTolerance)) return std::nullopt;
    return rotation.Normalize();
}
