// The frame codec: a frame body to a new record and back, and the record's release.
#include <limits>

#include "AppDataModel.h"
#include "model/FrameArrays.h"
#include "model/FrameDecoder.h"
#include "model/FrameStore.h"
#include "model/WireWriter.h"

namespace {

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
    FrameExtent filled;
    return frame != nullptr && DecodeFrame(buffer, available, length, *frame, filled) ? 0 : 1;
}

int CAppDataModel::ReleaseMocap(sFrameOfMocapData* frame) {
    if (frame == nullptr || CFrameStore::Instance().GiveBack(frame)) return 0;
    FrameExtent{}.With(*frame).ReleaseArrays(*frame);
    delete frame;
    return 0;
}
