// Compares two frames in every byte of their records, those that hold nothing too, and in what their arrays hold.
#ifndef TESTS_SUPPORT_SAME_RECORD_H
#define TESTS_SUPPORT_SAME_RECORD_H

#include <cstring>
#include <memory>
#include <utility>

#include "TarvoSDKClient.h"

inline bool SameBytes(const void* one, const void* other, std::size_t size) {
    return std::memcmp(one, other, size) == 0; // what holds nothing counts too
}

// Whether two arrays hold the same; both pointers are made null, so that the records around them can be compared.
template <typename T>
bool SameArray(T*& one, T*& other, int count) {
    const T* const a = std::exchange(one, nullptr);
    const T* const b = std::exchange(other, nullptr);
    if (count < 1) return (a == nullptr) == (b == nullptr);
    return a != nullptr && b != nullptr && SameBytes(a, b, sizeof(T) * static_cast<std::size_t>(count));
}

inline bool SameArrays(sRigidBodySample& a, sRigidBodySample& b) {
    return SameArray(a.markerPositions, b.markerPositions, a.markerCount) &&
           SameArray(a.markerIds, b.markerIds, a.markerCount) &&
           SameArray(a.markerSizes, b.markerSizes, a.markerCount);
}

inline bool SameSkeleton(sSkeletonSample& a, sSkeletonSample& b) {
    if (a.rigidBodyCount != b.rigidBodyCount) return false;
    bool same = (a.rigidBodies == nullptr) == (b.rigidBodies == nullptr);
    for (int i = 0; same && i < a.rigidBodyCount; ++i) {
        sRigidBodySample one{};
        sRigidBodySample other{};
        std::memcpy(static_cast<void*>(&one), &a.rigidBodies[i], sizeof one);
        std::memcpy(static_cast<void*>(&other), &b.rigidBodies[i], sizeof other);
        same = SameArrays(one, other) && SameBytes(&one, &other, sizeof one);
    }
    a.rigidBodies = b.rigidBodies = nullptr;
    return same;
}

// Both frames are as a decoder leaves them.
inline bool SameRecord(const sFrameOfMocapData& first, const sFrameOfMocapData& second) {
    const auto a = std::make_unique<sFrameOfMocapData>();
    const auto b = std::make_unique<sFrameOfMocapData>();
    std::memcpy(static_cast<void*>(a.get()), &first, sizeof first);
    std::memcpy(static_cast<void*>(b.get()), &second, sizeof second);
    if (a->markerSetCount != b->markerSetCount || a->rigidBodyCount != b->rigidBodyCount) return false;
    bool same = SameArray(a->otherMarkers, b->otherMarkers, a->otherMarkerCount);
    for (int i = 0; i < a->markerSetCount; ++i)
        same = same && SameArray(a->markerSets[i].markers, b->markerSets[i].markers, a->markerSets[i].markerCount);
    for (int i = 0; i < a->rigidBodyCount; ++i) same = same && SameArrays(a->rigidBodies[i], b->rigidBodies[i]);
    for (int i = 0; i < a->skeletonCount; ++i) same = same && SameSkeleton(a->skeletons[i], b->skeletons[i]);
    return same && SameBytes(a.get(), b.get(), sizeof *a);
}

#endif
