#include "simulate/FrameComposer.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>

#include "TarvoWire.h"
#include "UsageError.h"
#include "simulate/ServerRecords.h"

namespace {

constexpr float kMarkerSize = 0.014F; // a usual diameter, metres
constexpr double kTimecodeRate = 30;
constexpr std::uint16_t kTracked = 1;

// The place of an index in a grid that is filled row by row.
aiVector3D GridPlace(int index, int columns, float spacing) {
    const std::div_t place = std::div(index, columns);
    return {static_cast<float>(place.rem) * spacing, static_cast<float>(place.quot) * spacing, 0};
}

// Each figure is at another place of its motion.
double FigurePhase(int figure) { return 0.37 * figure; }

// What belongs to nobody stands beside the walk in rows, at a height of its own.
aiVector3D RowPlace(int index, float height) { return aiVector3D(-12, -4, height) + GridPlace(index, 40, 0.2F); }

sTriple ToTriple(const aiVector3D& v) { return {v.x, v.y, v.z}; }

void SetPose(sRigidBodySample& body, const aiVector3D& position, const aiQuaternion& q) {
    const float p[] = {position.x, position.y, position.z};
    const float o[] = {q.x, q.y, q.z, q.w};
    std::copy(std::begin(p), std::end(p), body.position);
    std::copy(std::begin(o), std::end(o), body.orientation);
}

aiVector3D PositionOf(const sRigidBodySample& body) {
    return {body.position[0], body.position[1], body.position[2]};
}

void CheckAmount(const char* option, int value, int bound) {
    if (value > bound)
        throw UsageError(fmt::format("{}: {} are more than the {} of a frame", option, value, bound));
}

} // namespace

std::string FigureName(int figure) { return fmt::format("Figure{}", figure + 1); }

aiVector3D FigureOffset(int figure) { return GridPlace(figure, 10, 6.0F); }

FrameComposer::FrameComposer(const Motion& motion, const ForcePlateRig& plates, const Load& load)
    : m_motion(motion), m_plates(plates), m_load(load), m_frame(std::make_unique<sFrameOfMocapData>()) {
    const int joints = static_cast<int>(motion.Joints().size());
    if (m_load.markerSets < 0) m_load.markerSets = m_load.skeletons;
    if (m_load.labeledMarkers < 0)
        m_load.labeledMarkers = std::min<int>(m_load.skeletons * joints, TARVO_MAX_LABELED_MARKERS);
    CheckAmount("--analog (with the channels of the force plates)", m_load.analog + plates.ChannelCount(),
                TARVO_MAX_ANALOG_VALUES);
    Fill();
    if (BodySize() > kMaxMessageSize)
        throw UsageError(
            fmt::format("a frame of {} bytes does not fit the {} of a message: lower --skeletons, --rigid-bodies, "
                        "--marker-sets, --markers or --other-markers",
                        BodySize(), kMaxMessageSize));
}

// What stays the same from frame to frame.
void FrameComposer::Fill() {
    std::memset(static_cast<void*>(m_frame.get()), 0, sizeof *m_frame);
    FillFigures();
    FillFreeBodies();
    m_otherMarkers.resize(static_cast<std::size_t>(m_load.otherMarkers));
    m_frame->otherMarkerCount = m_load.otherMarkers;
    m_frame->otherMarkers = m_otherMarkers.data();
    m_frame->labeledMarkerCount = m_load.labeledMarkers;
    m_frame->analogCount = m_plates.ChannelCount() + m_load.analog;
}

void FrameComposer::FillFigures() {
    const std::size_t joints = m_motion.Joints().size();
    sRigidBodySample bone;
    std::memset(static_cast<void*>(&bone), 0, sizeof bone);
    bone.flags = kTracked;
    m_bones.assign(static_cast<std::size_t>(m_load.skeletons), std::vector<sRigidBodySample>(joints, bone));
    m_frame->skeletonCount = m_load.skeletons;
    for (int i = 0; i < m_load.skeletons; ++i) {
        auto& bones = m_bones[static_cast<std::size_t>(i)];
        for (std::size_t k = 0; k < joints; ++k) bones[k].id = BoneId(static_cast<int>(k));
        m_frame->skeletons[i] = {SkeletonId(i), static_cast<std::int32_t>(joints), bones.data()};
    }
    m_setMarkers.assign(static_cast<std::size_t>(m_load.markerSets), std::vector<sTriple>(joints));
    m_frame->markerSetCount = m_load.markerSets;
    for (int i = 0; i < m_load.markerSets; ++i) {
        sMarkerSetSample& set = m_frame->markerSets[i];
        SetName(set.name, FigureName(i));
        set.markerCount = static_cast<std::int32_t>(joints);
        set.markers = m_setMarkers[static_cast<std::size_t>(i)].data();
    }
}

void FrameComposer::FillFreeBodies() {
    const auto markers = static_cast<std::size_t>(m_load.rigidBodies) * kFreeBodyMarkers;
    m_bodyMarkers.resize(markers);
    m_bodyMarkerSizes.assign(markers, kMarkerSize);
    for (std::size_t i = 0; i < markers; ++i)
        m_bodyMarkerIds.push_back(static_cast<std::int32_t>(i % kFreeBodyMarkers) + 1);
    m_frame->rigidBodyCount = m_load.rigidBodies;
    for (int i = 0; i < m_load.rigidBodies; ++i) {
        sRigidBodySample& body = m_frame->rigidBodies[i];
        const auto first = static_cast<std::size_t>(i) * kFreeBodyMarkers;
        body.id = FreeBodyId(i);
        body.markerCount = kFreeBodyMarkers;
        body.markerPositions = &m_bodyMarkers[first];
        body.markerIds = &m_bodyMarkerIds[first];
        body.markerSizes = &m_bodyMarkerSizes[first];
        body.residual = 0.0002F;
        body.flags = kTracked;
    }
}

sFrameOfMocapData& FrameComposer::ComposeAt(int frameNumber, double seconds) {
    m_frame->frameNumber = frameNumber;
    PlaceFigures(seconds);
    PlaceFreeBodies(seconds);
    PlaceOtherMarkers(seconds);
    PlaceLabeledMarkers();
    PlaceAnalog(seconds);
    SetTimecode(seconds);
    return *m_frame;
}

void FrameComposer::PlaceFigures(double seconds) {
    for (int i = 0; i < std::max(m_load.skeletons, m_load.markerSets); ++i) {
        const std::vector<JointPose> poses = m_motion.PoseAt(seconds + FigurePhase(i));
        for (std::size_t k = 0; k < poses.size(); ++k) {
            const aiVector3D position = poses[k].position + FigureOffset(i);
            if (i < m_load.skeletons)
                SetPose(m_bones[static_cast<std::size_t>(i)][k], position, poses[k].orientation);
            if (i < m_load.markerSets) m_setMarkers[static_cast<std::size_t>(i)][k] = ToTriple(position);
        }
    }
}

// Free bodies turn about the vertical, a step behind each other; their markers turn with them.
void FrameComposer::PlaceFreeBodies(double seconds) {
    const aiVector3D pattern[kFreeBodyMarkers] = {
        {0.06F, 0, 0}, {0, 0.05F, 0}, {-0.04F, 0, 0.02F}, {0, -0.03F, 0.04F}};
    for (int i = 0; i < m_load.rigidBodies; ++i) {
        const auto angle = static_cast<float>(std::fmod(seconds + 0.1 * i, 2 * std::numbers::pi));
        const aiQuaternion turn(aiVector3D(0, 0, 1), angle);
        const aiVector3D position = RowPlace(i, 1.2F);
        sRigidBodySample& body = m_frame->rigidBodies[i];
        SetPose(body, position, turn);
        for (int k = 0; k < kFreeBodyMarkers; ++k)
            body.markerPositions[k] = ToTriple(position + turn.Rotate(pattern[k]));
    }
}

void FrameComposer::PlaceOtherMarkers(double seconds) {
    for (std::size_t i = 0; i < m_otherMarkers.size(); ++i) {
        aiVector3D position = RowPlace(static_cast<int>(i), 0.5F);
        position.z += 0.1F * static_cast<float>(std::sin(seconds + static_cast<double>(i)));
        m_otherMarkers[i] = ToTriple(position);
    }
}

FrameComposer::Wearer FrameComposer::WearerOf(int labeledMarker) const {
    const int joints = static_cast<int>(m_motion.Joints().size());
    if (labeledMarker >= m_load.skeletons * joints) return {-1, -1};
    return {labeledMarker / joints, labeledMarker % joints};
}

void FrameComposer::PlaceLabeledMarkers() {
    for (int i = 0; i < m_load.labeledMarkers; ++i) {
        const auto [figure, joint] = WearerOf(i);
        const bool worn = figure >= 0;
        const aiVector3D position =
            worn ? PositionOf(m_bones[static_cast<std::size_t>(figure)][static_cast<std::size_t>(joint)])
                 : RowPlace(i, 0.1F);
        const LabeledMarkerRecord record{
            i + 1, {position.x, position.y, position.z}, kMarkerSize, worn ? SkeletonId(figure) : -1};
        m_frame->labeledMarkers[i] = std::bit_cast<sLabeledMarkerSample>(record);
    }
}

// The plates' channels first, as the description list has them; then slow waves, each of its own frequency.
void FrameComposer::PlaceAnalog(double seconds) {
    m_analog.clear();
    m_plates.AppendChannels(m_motion.ContactsAt(seconds), m_analog);
    for (int i = 0; i < m_load.analog; ++i)
        m_analog.push_back(static_cast<float>(std::sin(2 * std::numbers::pi * 0.5 * (i + 1) * seconds)));
    std::copy(m_analog.begin(), m_analog.end(), m_frame->analogValues);
}

void FrameComposer::SetTimecode(double seconds) {
    constexpr double kRounding = 1e-6; // a time that means a whole tick may lie just below it
    const double exact = seconds * kTimecodeRate + kRounding;
    const auto ticks = static_cast<std::uint64_t>(exact);
    const std::uint64_t rate = static_cast<std::uint64_t>(kTimecodeRate);
    const std::uint64_t whole = ticks / rate;
    const std::uint64_t fields[] = {whole / 3600 % 24, whole / 60 % 60, whole % 60, ticks % rate};
    m_frame->timecode = 0;
    for (const std::uint64_t field : fields)
        m_frame->timecode = m_frame->timecode << 8 | static_cast<std::uint32_t>(field);
    m_frame->timecodeSubframe =
        static_cast<std::uint32_t>((exact - static_cast<double>(ticks)) * 100); // hundredths
    m_frame->auxValue64 = static_cast<std::uint64_t>(seconds * 1e6);
}

std::size_t FrameComposer::BodySize() const {
    constexpr std::size_t kEmptyFrame = 50;
    constexpr std::size_t kBody = 42;
    constexpr std::size_t kBodyMarker = 20;
    const auto count = [](int value) { return static_cast<std::size_t>(value); };
    const std::size_t joints = m_motion.Joints().size();
    return kEmptyFrame + count(m_load.markerSets) * (TARVO_NAME_SIZE + 4 + joints * sizeof(sTriple)) +
           count(m_load.otherMarkers) * sizeof(sTriple) +
           count(m_load.rigidBodies) * (kBody + kFreeBodyMarkers * kBodyMarker) +
           count(m_load.skeletons) * (8 + joints * kBody) +
           count(m_load.labeledMarkers) * sizeof(sLabeledMarkerSample) +
           count(m_frame->analogCount) * sizeof(float);
}
