#include "take/BodyColumns.h"

#include <fmt/format.h>

#include <algorithm>

#include "take/MarkerColumns.h"

void BodyColumns::Collect(const sFrameOfMocapData& frame) {
    m_bodies.BeginFrame();
    m_skeletons.BeginFrame();
    for (int i = 0; i < frame.rigidBodyCount; ++i) m_bodies.FindOrMake(frame.rigidBodies[i].id);
    for (int i = 0; i < frame.skeletonCount; ++i) {
        Skeleton& skeleton = m_skeletons.FindOrMake(frame.skeletons[i].id);
        const int bones = std::max(skeleton.bones, frame.skeletons[i].rigidBodyCount);
        m_bonesOfSkeletons += static_cast<std::size_t>(bones - skeleton.bones);
        skeleton.bones = bones;
    }
}

void BodyColumns::Settle(DescribedNames& names) {
    m_labels.clear();
    const auto named = [](const std::string& name, const char* kind, int id) {
        return name.empty() ? fmt::format("{}{}", kind, id) : name;
    };
    m_bodies.ForEach([&](int id, Body& body) {
        body.column = m_labels.size();
        m_labels.push_back("body " + named(names.rigidBodies[id], "Body", id));
    });
    m_skeletons.ForEach([&](int id, Skeleton& skeleton) {
        skeleton.first = m_labels.size();
        for (int k = 0; k < skeleton.bones; ++k)
            m_labels.push_back(fmt::format("bone {}:{}", named(names.skeletons[id], "Skeleton", id),
                                           named(names.bones[id][k], "Bone", k + 1)));
    });
    MakeDifferent(m_labels);
}

void BodyColumns::Place(const sFrameOfMocapData& frame, std::vector<const sRigidBodySample*>& bodies) const {
    bodies.assign(m_labels.size(), nullptr);
    m_bodies.BeginFrame();
    m_skeletons.BeginFrame();
    for (int i = 0; i < frame.rigidBodyCount; ++i)
        if (const Body* const body = m_bodies.Find(frame.rigidBodies[i].id))
            bodies[body->column] = &frame.rigidBodies[i];
    for (int i = 0; i < frame.skeletonCount; ++i) {
        const sSkeletonSample& sample = frame.skeletons[i];
        const Skeleton* const skeleton = m_skeletons.Find(sample.id);
        if (skeleton == nullptr) continue;
        const int known = std::min(sample.rigidBodyCount, skeleton->bones);
        for (int k = 0; k < known; ++k)
            bodies[skeleton->first + static_cast<std::size_t>(k)] = &sample.rigidBodies[k];
    }
}
