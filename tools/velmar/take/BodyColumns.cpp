#include "take/BodyColumns.h"

#include <fmt/format.h>

#include <algorithm>

#include "take/MarkerColumns.h"

void BodyColumns::Collect(const sFrameOfMocapData& frame) {
    m_bodiesOfFrame.BeginFrame();
    m_skeletonsOfFrame.BeginFrame();
    for (int i = 0; i < frame.rigidBodyCount; ++i)
        m_collected += m_bodies.try_emplace(m_bodiesOfFrame.Next(frame.rigidBodies[i].id)).second ? 1 : 0;
    for (int i = 0; i < frame.skeletonCount; ++i) {
        const auto [skeleton, isNew] = m_skeletons.try_emplace(m_skeletonsOfFrame.Next(frame.skeletons[i].id));
        const int bones = std::max(skeleton->second.bones, frame.skeletons[i].rigidBodyCount);
        m_collected += static_cast<std::size_t>(bones - skeleton->second.bones) + (isNew ? 1 : 0);
        skeleton->second.bones = bones;
    }
}

void BodyColumns::Settle(DescribedNames& names) {
    m_labels.clear();
    const auto named = [](const std::string& name, const char* kind, int id) {
        return name.empty() ? fmt::format("{}{}", kind, id) : name;
    };
    for (auto& [key, column] : m_bodies) {
        const int id = key.first;
        column = m_labels.size();
        m_labels.push_back("body " + named(names.rigidBodies[id], "Body", id));
    }
    for (auto& [key, skeleton] : m_skeletons) {
        const int id = key.first;
        skeleton.first = m_labels.size();
        for (int k = 0; k < skeleton.bones; ++k)
            m_labels.push_back(fmt::format("bone {}:{}", named(names.skeletons[id], "Skeleton", id),
                                           named(names.bones[id][k], "Bone", k + 1)));
    }
    MakeDifferent(m_labels);
}

void BodyColumns::Place(const sFrameOfMocapData& frame, std::vector<const sRigidBodySample*>& bodies) const {
    bodies.assign(m_labels.size(), nullptr);
    m_bodiesOfFrame.BeginFrame();
    m_skeletonsOfFrame.BeginFrame();
    for (int i = 0; i < frame.rigidBodyCount; ++i)
        if (const auto body = m_bodies.find(m_bodiesOfFrame.Next(frame.rigidBodies[i].id)); body != m_bodies.end())
            bodies[body->second] = &frame.rigidBodies[i];
    for (int i = 0; i < frame.skeletonCount; ++i) {
        const sSkeletonSample& sample = frame.skeletons[i];
        const auto skeleton = m_skeletons.find(m_skeletonsOfFrame.Next(sample.id));
        if (skeleton == m_skeletons.end()) continue;
        const int known = std::min(sample.rigidBodyCount, skeleton->second.bones);
        for (int k = 0; k < known; ++k)
            bodies[skeleton->second.first + static_cast<std::size_t>(k)] = &sample.rigidBodies[k];
    }
}
