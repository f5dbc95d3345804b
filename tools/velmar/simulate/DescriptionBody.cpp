#include "simulate/DescriptionBody.h"

#include <fmt/format.h>

#include <bit>
#include <cstring>
#include <memory>
#include <span>
#include <string>

#include "AppDataModel.h"
#include "Wording.h"
#include "simulate/ServerRecords.h"

namespace {

// Encodes entry by entry and keeps those that fit.
class BodyBuilder {
public:
    BodyBuilder() { m_body.bytes.resize(sizeof(std::int32_t)); }

    // The kind and the name are told when it does not fit.
    void Add(DescriptionType type, void* record, std::size_t size, const char* kind, const std::string& name) {
        if (m_body.entries == TARVO_MAX_DESCRIPTIONS || m_body.bytes.size() + size > kPacketDataSize) {
            LeaveOut(kind, name);
            return;
        }
        const auto list = std::make_unique<sDataDescriptions>();
        list->descriptionCount = 1;
        list->descriptions[0] = {type, record};
        std::vector<unsigned char> one(sizeof(std::int32_t) + size);
        int length = 0;
        CAppDataModel().EncodeDescription(list.get(), one.data(), length);
        m_body.bytes.insert(m_body.bytes.end(), one.begin() + sizeof(std::int32_t), one.begin() + length);
        ++m_body.entries;
    }

    DescriptionBody Take() {
        const std::int32_t count = m_body.entries;
        std::memcpy(m_body.bytes.data(), &count, sizeof count);
        return std::move(m_body);
    }

private:
    void LeaveOut(const char* kind, const std::string& name) {
        if (m_body.missing.empty() || m_body.missing.back().kind != kind)
            m_body.missing.push_back({kind, name, name, 0});
        DescriptionBody::Missing& missing = m_body.missing.back();
        missing.last = name;
        ++missing.count;
    }

    DescriptionBody m_body;
};

constexpr std::size_t kTypeSize = sizeof(std::int32_t);
constexpr std::size_t kNamedListHead = kTypeSize + sizeof(std::int32_t) + TARVO_NAME_SIZE;

void AddMarkerSet(BodyBuilder& body, const FrameComposer& composer, int figure) {
    std::vector<std::vector<char>> names;
    std::vector<char*> pointers;
    for (const Joint& joint : composer.Figure().Joints()) {
        char name[TARVO_NAME_SIZE];
        SetName(name, joint.name);
        names.emplace_back(std::begin(name), std::end(name));
    }
    pointers.reserve(names.size());
    for (std::vector<char>& name : names) pointers.push_back(name.data());
    sMarkerSetInfo info{};
    SetName(info.name, FigureName(figure));
    info.markerCount = static_cast<std::int32_t>(names.size());
    info.markerNames = pointers.data();
    body.Add(DescMarkerSet, &info, kNamedListHead + names.size() * TARVO_NAME_SIZE, "marker set",
             FigureName(figure));
}

sRigidBodyInfo Describe(const std::string& name, std::int32_t id, std::int32_t parentId, const aiVector3D& offset,
                        const aiQuaternion& q) {
    RigidBodyRecord record{{}, id, parentId, {offset.x, offset.y, offset.z}, {q.x, q.y, q.z, q.w}};
    SetName(record.name, name);
    return std::bit_cast<sRigidBodyInfo>(record);
}

aiVector3D InAxesOf(const JointPose& parent, const aiVector3D& position) {
    aiQuaternion intoParent = parent.orientation;
    return intoParent.Conjugate().Rotate(position - parent.position);
}

void AddSkeleton(BodyBuilder& body, const FrameComposer& composer, const sSkeletonSample& skeleton, int figure) {
    const std::vector<Joint>& joints = composer.Figure().Joints();
    const std::vector<JointPose> poses = composer.Figure().ReferencePose();
    const auto info = std::make_unique<sSkeletonInfo>();
    SetName(info->name, FigureName(figure));
    info->id = skeleton.id;
    info->rigidBodyCount = skeleton.rigidBodyCount;
    for (std::size_t k = 0; k < joints.size(); ++k) {
        const int parent = joints[k].parent;
        const bool top = parent < 0;
        const aiVector3D offset = top ? poses[k].position + FigureOffset(figure)
                                      : InAxesOf(poses[static_cast<std::size_t>(parent)], poses[k].position);
        info->rigidBodies[k] = Describe(joints[k].name, skeleton.rigidBodies[k].id,
                                        top ? kNoParent : BoneId(parent), offset, poses[k].orientation);
    }
    body.Add(DescSkeleton, info.get(), kNamedListHead + sizeof info->id + joints.size() * sizeof(sRigidBodyInfo),
             "skeleton", FigureName(figure));
}

void AddLabeledMarkers(BodyBuilder& body, const FrameComposer& composer) {
    std::vector<sPointItem> items;
    for (int i = 0; i < composer.Amounts().labeledMarkers; ++i) {
        const auto [figure, joint] = composer.WearerOf(i);
        const bool worn = figure >= 0;
        const PointRecord record{i + 1, worn ? SkeletonId(figure) : -1, worn ? BoneId(joint) : -1};
        items.push_back(std::bit_cast<sPointItem>(record));
    }
    sPointGroupInfo info{};
    constexpr char kName[] = "Labelled markers";
    SetName(info.name, kName);
    info.pointCount = static_cast<std::int32_t>(items.size());
    info.points = items.data();
    body.Add(DescPointGroup, &info, kNamedListHead + items.size() * sizeof(sPointItem), "point group", kName);
}

} // namespace

std::string DescriptionBody::LeftOut() const {
    std::string text;
    for (const auto& [kind, first, last, count] : missing)
        text += fmt::format("{}{} ({}{})", text.empty() ? "" : ", ", Counted(count, kind), first,
                            count == 1 ? "" : " to " + last);
    return text;
}

DescriptionBody DescribeStream(FrameComposer& composer) {
    const sFrameOfMocapData& frame = composer.ComposeAt(0, 0);
    BodyBuilder body;
    for (sForcePlateInfo plate : composer.Plates().Plates())
        body.Add(DescForcePlate, &plate, kTypeSize + sizeof plate, "force plate", std::to_string(plate.id));
    for (int i = 0; i < frame.markerSetCount; ++i) AddMarkerSet(body, composer, i);
    for (int i = 0; i < frame.skeletonCount; ++i) AddSkeleton(body, composer, frame.skeletons[i], i);
    AddLabeledMarkers(body, composer);
    for (int i = 0; i < frame.rigidBodyCount; ++i) {
        const std::string name = fmt::format("Body{}", i + 1);
        const sRigidBodySample& sample = frame.rigidBodies[i];
        const auto& [px, py, pz] = sample.position;
        const auto& [x, y, z, w] = sample.orientation;
        sRigidBodyInfo info = Describe(name, sample.id, kNoParent, {px, py, pz}, {w, x, y, z});
        body.Add(DescRigidBody, &info, kTypeSize + sizeof info, "rigid body", name);
    }
    return body.Take();
}
