#include "model/FrameBody.h"

#include <cstddef>
#include <cstdint>

namespace {

class CMeasure {
public:
    template <typename T>
    void Add(const T& /*value*/) {
        m_size += sizeof(T);
    }

    // A list of the record itself, of which so many entries are used.
    bool Has(std::int32_t count, std::int32_t bound) {
        Add(count);
        return count >= 0 && count <= bound;
    }

    template <typename T>
    bool AddArray(const T* values, std::int32_t count) {
        m_size += sizeof(T) * static_cast<std::size_t>(count);
        return count == 0 || values != nullptr;
    }

    unsigned int Size() const { return static_cast<unsigned int>(m_size); }

private:
    std::size_t m_size = 0;
};

bool AddMarkerSets(CMeasure& measure, const sFrameOfMocapData& frame) {
    if (!measure.Has(frame.markerSetCount, TARVO_MAX_MARKER_SETS)) return false;
    for (int i = 0; i < frame.markerSetCount; ++i) {
        const sMarkerSetSample& set = frame.markerSets[i];
        measure.Add(set.name);
        if (!measure.Has(set.markerCount, TARVO_MAX_SET_MARKERS) ||
            !measure.AddArray(set.markers, set.markerCount))
            return false;
    }
    return true;
}

bool AddBody(CMeasure& measure, const sRigidBodySample& body) {
    measure.Add(body.id);
    measure.Add(body.position);
    measure.Add(body.orientation);
    measure.Add(body.residual);
    measure.Add(body.flags);
    return measure.Has(body.markerCount, TARVO_MAX_BODY_MARKERS) &&
           measure.AddArray(body.markerPositions, body.markerCount) &&
           measure.AddArray(body.markerIds, body.markerCount) &&
           measure.AddArray(body.markerSizes, body.markerCount);
}

bool AddBodies(CMeasure& measure, const sRigidBodySample* bodies, int count) {
    for (int i = 0; i < count; ++i)
        if (!AddBody(measure, bodies[i])) return false;
    return true;
}

// A negative number of skeletons means none.
bool AddSkeletons(CMeasure& measure, const sFrameOfMocapData& frame) {
    measure.Add(frame.skeletonCount);
    if (frame.skeletonCount > TARVO_MAX_SKELETONS) return false;
    for (int i = 0; i < frame.skeletonCount; ++i) {
        const sSkeletonSample& skeleton = frame.skeletons[i];
        measure.Add(skeleton.id);
        if (!measure.Has(skeleton.rigidBodyCount, TARVO_MAX_SKELETON_BODIES)) return false;
        if (skeleton.rigidBodyCount > 0 && skeleton.rigidBodies == nullptr) return false;
        if (!AddBodies(measure, skeleton.rigidBodies, skeleton.rigidBodyCount)) return false;
    }
    return true;
}

} // namespace

bool MeasureFrame(const sFrameOfMocapData& frame, unsigned int& size) {
    CMeasure measure;
    measure.Add(frame.frameNumber);
    const bool whole =
        AddMarkerSets(measure, frame) && measure.Has(frame.otherMarkerCount, TARVO_MAX_OTHER_MARKERS) &&
        measure.AddArray(frame.otherMarkers, frame.otherMarkerCount) &&
        measure.Has(frame.rigidBodyCount, TARVO_MAX_RIGID_BODIES) &&
        AddBodies(measure, frame.rigidBodies, frame.rigidBodyCount) && AddSkeletons(measure, frame) &&
        measure.Has(frame.labeledMarkerCount, TARVO_MAX_LABELED_MARKERS) &&
        measure.AddArray(frame.labeledMarkers, frame.labeledMarkerCount) &&
        measure.Has(frame.analogCount, TARVO_MAX_ANALOG_VALUES) &&
        measure.AddArray(frame.analogValues, frame.analogCount);
    measure.Add(frame.timecode);
    measure.Add(frame.timecodeSubframe);
    measure.Add(frame.auxValue32);
    measure.Add(frame.auxValue64);
    measure.Add(frame.flags);
    size = measure.Size();
    return whole;
}
