#include "model/FrameExtent.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "model/FrameArrays.h"

namespace {

using FrameArrays::Walkable;

struct Range {
    std::size_t offset;
    std::size_t size;
};

// From a list's count, and what stands before it, to the end of so many of its entries.
template <typename T>
constexpr Range Through(std::size_t from, std::size_t list, int entries) {
    return {from, list - from + static_cast<std::size_t>(entries) * sizeof(T)};
}

std::array<Range, 5> RangesOf(const FrameExtent& extent) {
    using Frame = sFrameOfMocapData;
    return {Through<sMarkerSetSample>(0, offsetof(Frame, markerSets), extent.markerSets),
            Through<sRigidBodySample>(offsetof(Frame, otherMarkerCount), offsetof(Frame, rigidBodies),
                                      extent.rigidBodies),
            Through<sSkeletonSample>(offsetof(Frame, skeletonCount), offsetof(Frame, skeletons), extent.skeletons),
            Through<sLabeledMarkerSample>(offsetof(Frame, labeledMarkerCount), offsetof(Frame, labeledMarkers),
                                          extent.labeledMarkers),
            {offsetof(Frame, analogCount), sizeof(Frame) - offsetof(Frame, analogCount)}};
}

unsigned char* Bytes(sFrameOfMocapData& frame) { return reinterpret_cast<unsigned char*>(&frame); }
const unsigned char* Bytes(const sFrameOfMocapData& frame) {
    return reinterpret_cast<const unsigned char*>(&frame);
}

void ForgetBody(sRigidBodySample& body) {
    body.markerPositions = nullptr;
    body.markerIds = nullptr;
    body.markerSizes = nullptr;
}

void ReleaseBody(const sRigidBodySample& body) {
    FrameArrays::Release(body.markerPositions);
    FrameArrays::Release(body.markerIds);
    FrameArrays::Release(body.markerSizes);
}

void ReleaseSkeleton(const sSkeletonSample& skeleton, int bones) {
    if (skeleton.rigidBodies == nullptr) return;
    for (int i = 0; i < bones; ++i) ReleaseBody(skeleton.rigidBodies[i]);
    delete[] skeleton.rigidBodies;
}

template <typename T>
void ClearEntries(T* list, int from, int to) {
    if (from < to)
        std::memset(static_cast<void*>(list + from), 0, static_cast<std::size_t>(to - from) * sizeof(T));
}

} // namespace

FrameExtent FrameExtent::Whole() {
    return {TARVO_MAX_MARKER_SETS, TARVO_MAX_RIGID_BODIES, TARVO_MAX_SKELETONS, TARVO_MAX_LABELED_MARKERS, {}};
}

FrameExtent FrameExtent::With(const FrameExtent& other) const {
    FrameExtent both = *this;
    both.markerSets = std::max(markerSets, other.markerSets);
    both.rigidBodies = std::max(rigidBodies, other.rigidBodies);
    both.skeletons = std::max(skeletons, other.skeletons);
    both.labeledMarkers = std::max(labeledMarkers, other.labeledMarkers);
    for (auto i = static_cast<std::size_t>(skeletons); i < static_cast<std::size_t>(both.skeletons); ++i)
        both.bones[i] = other.bones[i];
    return both;
}

FrameExtent FrameExtent::With(const sFrameOfMocapData& frame) const {
    FrameExtent stated{Walkable(frame.markerSetCount, TARVO_MAX_MARKER_SETS),
                       Walkable(frame.rigidBodyCount, TARVO_MAX_RIGID_BODIES),
                       Walkable(frame.skeletonCount, TARVO_MAX_SKELETONS),
                       Walkable(frame.labeledMarkerCount, TARVO_MAX_LABELED_MARKERS),
                       {}};
    for (int i = skeletons; i < stated.skeletons; ++i)
        stated.bones[static_cast<std::size_t>(i)] =
            static_cast<std::uint8_t>(Walkable(frame.skeletons[i].rigidBodyCount, TARVO_MAX_SKELETON_BODIES));
    return With(stated);
}

void FrameExtent::ClearBeyond(const FrameExtent& other, sFrameOfMocapData& frame) const {
    ClearEntries(frame.markerSets, other.markerSets, markerSets);
    ClearEntries(frame.rigidBodies, other.rigidBodies, rigidBodies);
    ClearEntries(frame.skeletons, other.skeletons, skeletons);
    ClearEntries(frame.labeledMarkers, other.labeledMarkers, labeledMarkers);
}

void FrameExtent::Copy(const sFrameOfMocapData& from, sFrameOfMocapData& to) const {
    for (const Range& range : RangesOf(*this))
        std::memcpy(Bytes(to) + range.offset, Bytes(from) + range.offset, range.size);
}

void FrameExtent::ReleaseArrays(sFrameOfMocapData& frame) const {
    for (int i = 0; i < markerSets; ++i) FrameArrays::Release(frame.markerSets[i].markers);
    FrameArrays::Release(frame.otherMarkers);
    for (int i = 0; i < rigidBodies; ++i) ReleaseBody(frame.rigidBodies[i]);
    for (int i = 0; i < skeletons; ++i) ReleaseSkeleton(frame.skeletons[i], bones[static_cast<std::size_t>(i)]);
    ForgetArrays(frame);
}

void FrameExtent::ForgetArrays(sFrameOfMocapData& frame) const {
    for (int i = 0; i < markerSets; ++i) frame.markerSets[i].markers = nullptr;
    frame.otherMarkers = nullptr;
    for (int i = 0; i < rigidBodies; ++i) ForgetBody(frame.rigidBodies[i]);
    for (int i = 0; i < skeletons; ++i) frame.skeletons[i].rigidBodies = nullptr;
}
