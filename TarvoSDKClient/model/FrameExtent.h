// How far a frame fills the fixed lists of its record, so that clearing, copying and releasing it cost what is in
// it.
#ifndef TARVO_MODEL_FRAME_EXTENT_H
#define TARVO_MODEL_FRAME_EXTENT_H

#include <array>
#include <cstdint>

#include "TarvoSDKClient.h"

// Numbers of entries from the front of each list; the single values of a record are always part of it. A record
// that reads as zero has the extent {}.
struct FrameExtent {
    int markerSets = 0;
    int rigidBodies = 0;
    int skeletons = 0;
    int labeledMarkers = 0;
    std::array<std::uint8_t, TARVO_MAX_SKELETONS> bones{}; // rigid bodies of each of the skeletons

    static FrameExtent Whole();

    // The least that holds this and what the record's own counts say, which whoever had the record may have
    // changed.
    FrameExtent With(const sFrameOfMocapData& frame) const;

    // The larger of both for each list; the bones are this one's where it has them.
    FrameExtent With(const FrameExtent& other) const;

    // Makes the entries zero that this extent has and the other has not.
    void ClearBeyond(const FrameExtent& other, sFrameOfMocapData& frame) const;
    // Bytes, pointers as they stand.
    void Copy(const sFrameOfMocapData& from, sFrameOfMocapData& to) const;
    // The heap arrays of the record: its pointers are null afterwards.
    void ReleaseArrays(sFrameOfMocapData& frame) const;
    void ForgetArrays(sFrameOfMocapData& frame) const;
};

#endif
