// Deep copy and release of frames in the application's storage, and the release of description lists.
#include <cstring>

#include "AppDataModel.h"
#include "model/FrameArrays.h"

namespace {

using FrameArrays::Walkable;

// Gives the destination an array of its own, or leaves it sharing one that holds no elements. False, with a
// null array, when memory runs out.
template <typename T>
bool CopyArray(const T* source, T*& destination, std::int32_t count) {
    if (source == nullptr || count < 1) return true;
    destination = FrameArrays::Allocate<T>(count);
    if (destination == nullptr) return false;
    std::memcpy(static_cast<void*>(destination), source, static_cast<std::size_t>(count) * sizeof(T));
    return true;
}

// Releases an array that a copy owns, under the condition under which the copy made it.
template <typename T>
void FreeArray(T* array, std::int32_t count) {
    if (count >= 1) delete[] array;
}

void ForgetArrays(sRigidBodySample& body) {
    if (body.markerCount < 1) return;
    body.markerPositions = nullptr;
    body.markerIds = nullptr;
    body.markerSizes = nullptr;
}

// Before anything is allocated, the destination forgets every array that it is going to get a copy of, so
// that a copy which stops half-way owns exactly what is not null.
void ForgetArrays(sFrameOfMocapData& frame) {
    for (int i = 0; i < Walkable(frame.markerSetCount, TARVO_MAX_MARKER_SETS); ++i)
        if (frame.markerSets[i].markerCount >= 1) frame.markerSets[i].markers = nullptr;
    if (frame.otherMarkerCount >= 1) frame.otherMarkers = nullptr;
    for (int i = 0; i < Walkable(frame.rigidBodyCount, TARVO_MAX_RIGID_BODIES); ++i)
        ForgetArrays(frame.rigidBodies[i]);
    for (int i = 0; i < Walkable(frame.skeletonCount, TARVO_MAX_SKELETONS); ++i)
        if (frame.skeletons[i].rigidBodyCount >= 1) frame.skeletons[i].rigidBodies = nullptr;
}

bool CopyBody(const sRigidBodySample& source, sRigidBodySample& destination) {
    if (source.markerCount < 1) return true;
    return CopyArray(source.markerPositions, destination.markerPositions, source.markerCount) &&
           CopyArray(source.markerIds, destination.markerIds, source.markerCount) &&
           CopyArray(source.markerSizes, destination.markerSizes, source.markerCount);
}

bool CopySkeleton(const sSkeletonSample& source, sSkeletonSample& destination) {
    if (source.rigidBodies == nullptr || source.rigidBodyCount < 1) return true;
    if (!CopyArray(source.rigidBodies, destination.rigidBodies, source.rigidBodyCount)) return false;
    for (int i = 0; i < source.rigidBodyCount; ++i) ForgetArrays(destination.rigidBodies[i]);
    for (int i = 0; i < source.rigidBodyCount; ++i)
        if (!CopyBody(source.rigidBodies[i], destination.rigidBodies[i])) return false;
    return true;
}

bool CopyArrays(const sFrameOfMocapData& source, sFrameOfMocapData& destination) {
    for (int i = 0; i < Walkable(source.markerSetCount, TARVO_MAX_MARKER_SETS); ++i) {
        const sMarkerSetSample& set = source.markerSets[i];
        if (!CopyArray(set.markers, destination.markerSets[i].markers, set.markerCount)) return false;
    }
    if (!CopyArray(source.otherMarkers, destination.otherMarkers, source.otherMarkerCount)) return false;
    for (int i = 0; i < Walkable(source.rigidBodyCount, TARVO_MAX_RIGID_BODIES); ++i)
        if (!CopyBody(source.rigidBodies[i], destination.rigidBodies[i])) return false;
    for (int i = 0; i < Walkable(source.skeletonCount, TARVO_MAX_SKELETONS); ++i)
        if (!CopySkeleton(source.skeletons[i], destination.skeletons[i])) return false;
    return true;
}

void FreeBody(const sRigidBodySample& body) {
    if (body.markerCount < 1) return;
    FreeArray(body.markerPositions, body.markerCount);
    FreeArray(body.markerIds, body.markerCount);
    FreeArray(body.markerSizes, body.markerCount);
}

void FreeSkeleton(const sSkeletonSample& skeleton) {
    if (skeleton.rigidBodies == nullptr || skeleton.rigidBodyCount < 1) return;
    for (int i = 0; i < skeleton.rigidBodyCount; ++i) FreeBody(skeleton.rigidBodies[i]);
    delete[] skeleton.rigidBodies;
}

} // namespace

int Quorin_CopyFrame(const sFrameOfMocapData* source, sFrameOfMocapData* destination) {
    if (source == nullptr || destination == nullptr) return 2;
    if (source == destination) return 0;
    std::memcpy(static_cast<void*>(destination), source, sizeof *destination);
    ForgetArrays(*destination);
    if (CopyArrays(*source, *destination)) return 0;
    Quorin_FreeFrame(destination);
    return 2;
}

int Quorin_FreeFrame(sFrameOfMocapData* frame) {
    if (frame == nullptr) return 2;
    for (int i = 0; i < Walkable(frame->markerSetCount, TARVO_MAX_MARKER_SETS); ++i)
        FreeArray(frame->markerSets[i].markers, frame->markerSets[i].markerCount);
    FreeArray(frame->otherMarkers, frame->otherMarkerCount);
    for (int i = 0; i < Walkable(frame->rigidBodyCount, TARVO_MAX_RIGID_BODIES); ++i)
        FreeBody(frame->rigidBodies[i]);
    for (int i = 0; i < Walkable(frame->skeletonCount, TARVO_MAX_SKELETONS); ++i)
        FreeSkeleton(frame->skeletons[i]);
    std::memset(static_cast<void*>(frame), 0, sizeof *frame);
    return 0;
}

int Quorin_FreeDescriptions(sDataDescriptions* descriptions) {
    if (descriptions == nullptr) return 2;
    CAppDataModel model;
    return model.ReleaseDescription(descriptions);
}
