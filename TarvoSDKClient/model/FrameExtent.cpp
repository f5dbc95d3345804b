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

void ReleaseBody(const sRigidBodySample& body) {
    FrameArrays::Release(body.markerPositions);
    FrameArrays::Release(body.markerIds);
    FrameArrays::Release(body.markerSizes);
}

} // namespace

FrameExtent FrameExtent::Whole() {
    return {TARVO_MAX_MARKER_SETS, TARVO_MAX_RIGID_BODIES, TARVO_MAX_SKELETONS, TARVO_MAX_LABELED_MARKERS, {}};
}

FrameExtent FrameExtent::With(const sFrameOfMocapData& frame) const {
    FrameExtent both = *this;
    both.markerSets = std::max(markerSets, Walkable(frame.markerSetCount, TARVO_MAX_MARKER_SETS));
    both.rigidBodies = std::max(rigidBodies, Walkable(frame.rigidBodyCount, TARVO_MAX_RIGID_BODIES));
    both.skeletons = std::max(skeletons, Walkable(frame.skeletonCount, TARVO_MAX_SKELETONS));
    both.labeledMarkers = std::max(labeledMarkers, Walkable(frame.labeledMarkerCount, TARVO_MAX_LABELED_MARKERS));
    for (int i = skeletons; i < both.skeletons; ++i)
        both.bones[static_cast<std::size_t>(i)] =
            static_cast<std::uint8_t>(Walkable(frame.skeletons[i].rigidBodyCount, TARVO_MAX_SKELETON_BODIES));
    return both;
}

void FrameExtent::Clear(sFrameOfMocapData& frame) const {
    for (const Range& range : RangesOf(*this)) std::memset(Bytes(frame) + range.offset, 0, range.size);
}

void FrameExtent::Copy(const sFrameOfMocapData& from, sFrameOfMocapData& to) const {
    for (const Range& range : RangesOf(*this))
        std::memcpy(Bytes(to) + range.offset, Bytes(from) + range.offset, range.size);
}

void FrameExtent::ReleaseArrays(const sFrameOfMocapData& frame) const {
    for (int i = 0; i < markerSets; ++i) FrameArrays::Release(frame.markerSets[i].markers);
    FrameArrays::Release(frame.otherMarkers);
    for (int i = 0; i < rigidBodies; ++i) ReleaseBody(frame.rigidBodies[i]);
    for (int i = 0; i < skeletons; ++i) {
        const sRigidBodySample* const bodies = frame.skeletons[i].rigidBodies;
        if (bodies == nullptr) continue;
        for (int k = 0; k < bones[static_cast<std::size_t>(i)]; ++k) ReleaseBody(bodies[k]);
        delete[] bodies;
    }
}
