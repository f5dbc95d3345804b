// The records are part of the binary interface: this file holds their layout and makes no code.
#include <cstddef>
#include <type_traits>

#include "TarvoSDKClient.h"
#include "TarvoStream.h"

#if defined(__x86_64__)

#define TARVO_SIZE(record, size, alignment) \
    static_assert(sizeof(record) == (size) && alignof(record) == (alignment) && std::is_standard_layout_v<record>)
#define TARVO_AT(record, member, offset) static_assert(offsetof(record, member) == (offset))

TARVO_SIZE(sTriple, 12, 4);

TARVO_SIZE(sMarkerSetSample, 272, 8);
TARVO_AT(sMarkerSetSample, name, 0);
TARVO_AT(sMarkerSetSample, markerCount, 256);
TARVO_AT(sMarkerSetSample, markers, 264);

TARVO_SIZE(sRigidBodySample, 72, 8);
TARVO_AT(sRigidBodySample, id, 0);
TARVO_AT(sRigidBodySample, position, 4);
TARVO_AT(sRigidBodySample, orientation, 16);
TARVO_AT(sRigidBodySample, markerCount, 32);
TARVO_AT(sRigidBodySample, markerPositions, 40);
TARVO_AT(sRigidBodySample, markerIds, 48);
TARVO_AT(sRigidBodySample, markerSizes, 56);
TARVO_AT(sRigidBodySample, residual, 64);
TARVO_AT(sRigidBodySample, flags, 68);

TARVO_SIZE(sSkeletonSample, 16, 8);
TARVO_AT(sSkeletonSample, id, 0);
TARVO_AT(sSkeletonSample, rigidBodyCount, 4);
TARVO_AT(sSkeletonSample, rigidBodies, 8);

TARVO_SIZE(sLabeledMarkerSample, 24, 4);

TARVO_SIZE(sFrameOfMocapData, 152208, 8);
TARVO_AT(sFrameOfMocapData, frameNumber, 0);
TARVO_AT(sFrameOfMocapData, markerSetCount, 4);
TARVO_AT(sFrameOfMocapData, markerSets, 8);
TARVO_AT(sFrameOfMocapData, otherMarkerCount, 54408);
TARVO_AT(sFrameOfMocapData, otherMarkers, 54416);
TARVO_AT(sFrameOfMocapData, rigidBodyCount, 54424);
TARVO_AT(sFrameOfMocapData, rigidBodies, 54432);
TARVO_AT(sFrameOfMocapData, skeletonCount, 126432);
TARVO_AT(sFrameOfMocapData, skeletons, 126440);
TARVO_AT(sFrameOfMocapData, labeledMarkerCount, 128040);
TARVO_AT(sFrameOfMocapData, labeledMarkers, 128044);
TARVO_AT(sFrameOfMocapData, analogCount, 152044);
TARVO_AT(sFrameOfMocapData, analogValues, 152048);
TARVO_AT(sFrameOfMocapData, timecode, 152176);
TARVO_AT(sFrameOfMocapData, timecodeSubframe, 152180);
TARVO_AT(sFrameOfMocapData, auxValue32, 152184);
TARVO_AT(sFrameOfMocapData, auxValue64, 152192);
TARVO_AT(sFrameOfMocapData, flags, 152200);

TARVO_SIZE(sMarkerSetInfo, 272, 8);
TARVO_AT(sMarkerSetInfo, markerCount, 256);
TARVO_AT(sMarkerSetInfo, markerNames, 264);

TARVO_SIZE(sRigidBodyInfo, 292, 4);

TARVO_SIZE(sSkeletonInfo, 58664, 4);
TARVO_AT(sSkeletonInfo, id, 256);
TARVO_AT(sSkeletonInfo, rigidBodyCount, 260);
TARVO_AT(sSkeletonInfo, rigidBodies, 264);

TARVO_SIZE(sForcePlateInfo, 8584, 4);
TARVO_AT(sForcePlateInfo, id, 0);
TARVO_AT(sForcePlateInfo, scaleFactor, 4);
TARVO_AT(sForcePlateInfo, opaque1, 8);
TARVO_AT(sForcePlateInfo, origin, 16);
TARVO_AT(sForcePlateInfo, sensorOffset, 28);
TARVO_AT(sForcePlateInfo, rotation, 40);
TARVO_AT(sForcePlateInfo, calibration, 76);
TARVO_AT(sForcePlateInfo, opaque2, 332);
TARVO_AT(sForcePlateInfo, channelLayout, 380);
TARVO_AT(sForcePlateInfo, opaque3, 384);

TARVO_SIZE(sPointItem, 12, 4);
TARVO_SIZE(sPointGroupInfo, 272, 8);
TARVO_AT(sPointGroupInfo, pointCount, 256);
TARVO_AT(sPointGroupInfo, points, 264);

TARVO_SIZE(sDescriptionEntry, 16, 8);
TARVO_AT(sDescriptionEntry, type, 0);
TARVO_AT(sDescriptionEntry, data, 8);

TARVO_SIZE(sDataDescriptions, 3208, 8);
TARVO_AT(sDataDescriptions, descriptionCount, 0);
TARVO_AT(sDataDescriptions, descriptions, 8);

TARVO_SIZE(sServerDescription, 525, 1);

TARVO_SIZE(sForcePlateSample, 28, 4);
TARVO_AT(sForcePlateSample, force, 0);
TARVO_AT(sForcePlateSample, centerOfPressure, 12);
TARVO_AT(sForcePlateSample, freeMoment, 24);

TARVO_SIZE(sForcePlates, 232, 4);
TARVO_AT(sForcePlates, frameNumber, 0);
TARVO_AT(sForcePlates, plateCount, 4);
TARVO_AT(sForcePlates, plates, 8);

TARVO_SIZE(sFrameTimes, 32, 8);
TARVO_AT(sFrameTimes, lastArrivalNs, 8);
TARVO_AT(sFrameTimes, arrivalMonotonicNs, 16);
TARVO_AT(sFrameTimes, deliveryMonotonicNs, 24);

TARVO_SIZE(sFeedStatistics, 32, 8);
TARVO_AT(sFeedStatistics, received, 8);
TARVO_AT(sFeedStatistics, waiting, 24);

// It grows at its end only.
TARVO_SIZE(sStreamStatistics, 264, 8);
TARVO_AT(sStreamStatistics, datagrams, 8);
TARVO_AT(sStreamStatistics, kernelDropped, 48);
TARVO_AT(sStreamStatistics, framesDelivered, 88);
TARVO_AT(sStreamStatistics, missingNeverSeen, 136);
TARVO_AT(sStreamStatistics, intervalMedianNs, 160);
TARVO_AT(sStreamStatistics, receiveBufferFullest, 240);
TARVO_AT(sStreamStatistics, interfaceName, 248);

#undef TARVO_AT
#undef TARVO_SIZE

#endif
