// The frame codec: a frame body to a new record and back, and the record's release.
#include <cstddef>
#include <limits>

#include "AppDataModel.h"
#include "model/FrameArrays.h"
#include "model/WireReader.h"
#include "model/WireWriter.h"

namespace {

// ---- Decoding. Every function returns false at the first count above its bound, at the end of the body,
// and when memory runs out; a count is stored before it is compared.

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

bool ReadSkeleton(WireReader& in, sSkeletonSample& skeleton) {
    // The bytes of a rigid body without markers: the least that each announced body takes.
    constexpr std::size_t kLeastBodySize = 42;
    if (!in.Read(skeleton.id) || !ReadCount(in, skeleton.rigidBodyCount, TARVO_MAX_SKELETON_BODIES)) return false;
    if (skeleton.rigidBodyCount == 0) return true;
    const auto bodies = static_cast<std::size_t>(skeleton.rigidBodyCount);
    if (!in.Has(bodies, kLeastBodySize)) return false;
    skeleton.rigidBodies = FrameArrays::AllocateZeroed<sRigidBodySample>(bodies);
    if (skeleton.rigidBodies == nullptr) return false;
    for (std::size_t i = 0; i < bodies; ++i)
        if (!ReadRigidBody(in, skeleton.rigidBodies[i])) return false;
    return true;
}

bool ReadMarkers(WireReader& in, sFrameOfMocapData& frame) {
    if (!ReadCount(in, frame.markerSetCount, TARVO_MAX_MARKER_SETS)) return false;
    for (int i = 0; i < frame.markerSetCount; ++i)
        if (!ReadMarkerSet(in, frame.markerSets[i])) return false;
    return ReadCount(in, frame.otherMarkerCount, TARVO_MAX_OTHER_MARKERS) &&
           ReadNewArray(in, frame.otherMarkers, frame.otherMarkerCount);
}

bool ReadBodies(WireReader& in, sFrameOfMocapData& frame) {
    if (!ReadCount(in, frame.rigidBodyCount, TARVO_MAX_RIGID_BODIES)) return false;
    for (int i = 0; i < frame.rigidBodyCount; ++i)
        if (!ReadRigidBody(in, frame.rigidBodies[i])) return false;
    // Unlike the other counts, a negative number of skeletons means none.
    if (!in.Read(frame.skeletonCount) || frame.skeletonCount > TARVO_MAX_SKELETONS) return false;
    for (int i = 0; i < frame.skeletonCount; ++i)
        if (!ReadSkeleton(in, frame.skeletons[i])) return false;
    return true;
}

bool ReadRest(WireReader& in, sFrameOfMocapData& frame) {
    return ReadCount(in, frame.labeledMarkerCount, TARVO_MAX_LABELED_MARKERS) &&
           in.ReadArray(frame.labeledMarkers, static_cast<std::size_t>(frame.labeledMarkerCount)) &&
           ReadCount(in, frame.analogCount, TARVO_MAX_ANALOG_VALUES) &&
           in.ReadArray(frame.analogValues, static_cast<std::size_t>(frame.analogCount)) &&
           in.Read(frame.timecode) && in.Read(frame.timecodeSubframe) && in.Read(frame.auxValue32) &&
           in.Read(frame.auxValue64) && in.Read(frame.flags);
}

// ---- Encoding

void WriteRigidBody(WireWriter& out, const sRigidBodySample& body) {
    out.Write(body.id);
    out.Write(body.position);
    out.Write(body.orientation);
    out.Write(body.markerCount);
    out.WriteArray(body.markerPositions, body.markerCount);
    out.WriteArray(body.markerIds, body.markerCount);
    out.WriteArray(body.markerSizes, body.markerCount);
    out.Write(body.residual);
    out.Write(body.flags);
}

void WriteMarkers(WireWriter& out, const sFrameOfMocapData& frame) {
    out.Write(frame.markerSetCount);
    for (int i = 0; i < frame.markerSetCount; ++i) {
        const sMarkerSetSample& set = frame.markerSets[i];
        out.Write(set.name);
        out.Write(set.markerCount);
        out.WriteArray(set.markers, set.markerCount);
    }
    out.Write(frame.otherMarkerCount);
    out.WriteArray(frame.otherMarkers, frame.otherMarkerCount);
}

void WriteBodies(WireWriter& out, const sFrameOfMocapData& frame) {
    out.Write(frame.rigidBodyCount);
    for (int i = 0; i < frame.rigidBodyCount; ++i) WriteRigidBody(out, frame.rigidBodies[i]);
    out.Write(frame.skeletonCount);
    for (int i = 0; i < frame.skeletonCount; ++i) {
        const sSkeletonSample& skeleton = frame.skeletons[i];
        out.Write(skeleton.id);
        out.Write(skeleton.rigidBodyCount);
        for (int k = 0; k < skeleton.rigidBodyCount; ++k) WriteRigidBody(out, skeleton.rigidBodies[k]);
    }
}

// ---- Releasing

void ReleaseBodyArrays(const sRigidBodySample& body) {
    FrameArrays::Release(body.markerPositions);
    FrameArrays::Release(body.markerIds);
    FrameArrays::Release(body.markerSizes);
}

void ReleaseSkeleton(const sSkeletonSample& skeleton) {
    if (skeleton.rigidBodies == nullptr) return;
    for (int i = 0; i < skeleton.rigidBodyCount; ++i) ReleaseBodyArrays(skeleton.rigidBodies[i]);
    delete[] skeleton.rigidBodies;
}

} // namespace

int CAppDataModel::EncodeMocap(sFrameOfMocapData* frame, unsigned char* buffer, int& length) {
    WireWriter out(buffer);
    out.Write(frame->frameNumber);
    WriteMarkers(out, *frame);
    WriteBodies(out, *frame);
    out.Write(frame->labeledMarkerCount);
    out.WriteArray(frame->labeledMarkers, frame->labeledMarkerCount);
    out.Write(frame->analogCount);
    out.WriteArray(frame->analogValues, frame->analogCount);
    out.Write(frame->timecode);
    out.Write(frame->timecodeSubframe);
    out.Write(frame->auxValue32);
    out.Write(frame->auxValue64);
    out.Write(frame->flags);
    length = out.Written();
    return 0;
}

int CAppDataModel::DecodeMocap(const unsigned char* buffer, int& length, sFrameOfMocapData*& frame) {
    return DecodeMocap(buffer, std::numeric_limits<unsigned int>::max(), length, frame);
}

int CAppDataModel::DecodeMocap(const unsigned char* buffer, unsigned int available, int& length,
                               sFrameOfMocapData*& frame) {
    frame = FrameArrays::MakeZeroed<sFrameOfMocapData>();
    if (frame == nullptr) return 1;
    WireReader in(buffer, available);
    if (!in.Read(frame->frameNumber) || !ReadMarkers(in, *frame) || !ReadBodies(in, *frame) ||
        !ReadRest(in, *frame))
        return 1;
    length = in.Consumed();
    return 0;
}

int CAppDataModel::ReleaseMocap(sFrameOfMocapData* frame) {
    if (frame == nullptr) return 0;
    const int sets = FrameArrays::Walkable(frame->markerSetCount, TARVO_MAX_MARKER_SETS);
    for (int i = 0; i < sets; ++i) FrameArrays::Release(frame->markerSets[i].markers);
    FrameArrays::Release(frame->otherMarkers);
    const int bodies = FrameArrays::Walkable(frame->rigidBodyCount, TARVO_MAX_RIGID_BODIES);
    for (int i = 0; i < bodies; ++i) ReleaseBodyArrays(frame->rigidBodies[i]);
    const int skeletons = FrameArrays::Walkable(frame->skeletonCount, TARVO_MAX_SKELETONS);
    for (int i = 0; i < skeletons; ++i) ReleaseSkeleton(frame->skeletons[i]);
    delete frame;
    return 0;
}
