#include "model/FrameDecoder.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "model/FrameArrays.h"
#include "model/WireReader.h"

namespace {

// Every function returns false at the first count above its bound, at the end of the body, and when memory runs
// out. A count is stored before it is compared, and an entry counts as filled before it is read.

// Negative counts are above every bound.
bool ReadCount(WireReader& in, std::int32_t& count, std::uint32_t bound) {
    return in.Read(count) && static_cast<std::uint32_t>(count) <= bound;
}

// The bytes are checked before memory is asked for, so a short body cannot make the library allocate.
template <typename T>
bool ReadNewArray(WireReader& in, T*& array, std::int32_t count) {
    const auto elements = static_cast<std::size_t>(count);
    if (!in.Has(elements, sizeof(T))) return false;
    array = FrameArrays::Allocate<T>(count);
    return array != nullptr && in.ReadArray(array, elements);
}

bool ReadMarkerSet(WireReader& in, sMarkerSetSample& set) {
    return in.Read(set.name) && ReadCount(in, set.markerCount, TARVO_MAX_SET_MARKERS) &&
           ReadNewArray(in, set.markers, set.markerCount);
}

// What stands before a rigid body's arrays, on the wire and in the record: most bodies of a frame are nothing
// more, so it is read in one piece.
constexpr std::size_t kBodyHeadSize = offsetof(sRigidBodySample, markerCount) + sizeof(std::int32_t);
static_assert(offsetof(sRigidBodySample, position) == 4 && offsetof(sRigidBodySample, orientation) == 16 &&
              kBodyHeadSize == 36);

bool ReadBodyArrays(WireReader& in, sRigidBodySample& body) {
    if (body.markerCount == 0) {
        body.markerPositions = FrameArrays::Empty<sTriple>();
        body.markerIds = FrameArrays::Empty<std::int32_t>();
        body.markerSizes = FrameArrays::Empty<float>();
        return true;
    }
    return ReadNewArray(in, body.markerPositions, body.markerCount) &&
           ReadNewArray(in, body.markerIds, body.markerCount) &&
           ReadNewArray(in, body.markerSizes, body.markerCount);
}

bool ReadRigidBody(WireReader& in, sRigidBodySample& body) {
    return in.ReadBytes(&body, kBodyHeadSize) &&
           static_cast<std::uint32_t>(body.markerCount) <= TARVO_MAX_BODY_MARKERS && ReadBodyArrays(in, body) &&
           in.Read(body.residual) && in.Read(body.flags);
}

bool ReadSkeleton(WireReader& in, sSkeletonSample& skeleton, std::uint8_t& filledBones) {
    // The bytes of a rigid body without markers: the least that each announced body takes.
    constexpr std::size_t kLeastBodySize = 42;
    if (!in.Read(skeleton.id) || !ReadCount(in, skeleton.rigidBodyCount, TARVO_MAX_SKELETON_BODIES)) return false;
    if (skeleton.rigidBodyCount == 0) return true;
    const auto bodies = static_cast<std::size_t>(skeleton.rigidBodyCount);
    if (!in.Has(bodies, kLeastBodySize)) return false;
    skeleton.rigidBodies = FrameArrays::AllocateZeroed<sRigidBodySample>(bodies);
    if (skeleton.rigidBodies == nullptr) return false;
    filledBones = static_cast<std::uint8_t>(bodies);
    for (std::size_t i = 0; i < bodies; ++i)
        if (!ReadRigidBody(in, skeleton.rigidBodies[i])) return false;
    return true;
}

bool ReadMarkers(WireReader& in, sFrameOfMocapData& frame, FrameExtent& filled) {
    if (!ReadCount(in, frame.markerSetCount, TARVO_MAX_MARKER_SETS)) return false;
    while (filled.markerSets < frame.markerSetCount)
        if (!ReadMarkerSet(in, frame.markerSets[filled.markerSets++])) return false;
    return ReadCount(in, frame.otherMarkerCount, TARVO_MAX_OTHER_MARKERS) &&
           ReadNewArray(in, frame.otherMarkers, frame.otherMarkerCount);
}

bool ReadBodies(WireReader& in, sFrameOfMocapData& frame, FrameExtent& filled) {
    if (!ReadCount(in, frame.rigidBodyCount, TARVO_MAX_RIGID_BODIES)) return false;
    while (filled.rigidBodies < frame.rigidBodyCount)
        if (!ReadRigidBody(in, frame.rigidBodies[filled.rigidBodies++])) return false;
    // Unlike the other counts, a negative number of skeletons means none.
    if (!in.Read(frame.skeletonCount) || frame.skeletonCount > TARVO_MAX_SKELETONS) return false;
    while (filled.skeletons < frame.skeletonCount) {
        const int i = filled.skeletons++;
        if (!ReadSkeleton(in, frame.skeletons[i], filled.bones[static_cast<std::size_t>(i)])) return false;
    }
    return true;
}

bool ReadLabeledMarkers(WireReader& in, sFrameOfMocapData& frame, FrameExtent& filled) {
    if (!ReadCount(in, frame.labeledMarkerCount, TARVO_MAX_LABELED_MARKERS)) return false;
    if (!in.ReadArray(frame.labeledMarkers, static_cast<std::size_t>(frame.labeledMarkerCount))) return false;
    filled.labeledMarkers = frame.labeledMarkerCount;
    return true;
}

// True.
bool ClearBehind(float (&values)[TARVO_MAX_ANALOG_VALUES], int count) {
    std::fill(values + count, std::end(values), 0.0F);
    return true;
}

bool ReadRest(WireReader& in, sFrameOfMocapData& frame) {
    return ReadCount(in, frame.analogCount, TARVO_MAX_ANALOG_VALUES) &&
           in.ReadArray(frame.analogValues, static_cast<std::size_t>(frame.analogCount)) &&
           ClearBehind(frame.analogValues, frame.analogCount) && in.Read(frame.timecode) &&
           in.Read(frame.timecodeSubframe) && in.Read(frame.auxValue32) && in.Read(frame.auxValue64) &&
           in.Read(frame.flags);
}

} // namespace

bool DecodeFrame(const unsigned char* body, unsigned int available, int& consumed, sFrameOfMocapData& frame,
                 FrameExtent& filled) {
    WireReader in(body, available);
    FrameExtent read;
    const bool whole = in.Read(frame.frameNumber) && ReadMarkers(in, frame, read) && ReadBodies(in, frame, read) &&
                       ReadLabeledMarkers(in, frame, read) && ReadRest(in, frame);
    if (whole) {
        filled.ClearBeyond(read, frame);
        consumed = in.Consumed();
    }
    filled = whole ? read : read.With(filled);
    return whole;
}
