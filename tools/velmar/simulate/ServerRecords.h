// What the simulated server writes into the records whose inside the protocol leaves to the server.
#ifndef VELMAR_SIMULATE_SERVER_RECORDS_H
#define VELMAR_SIMULATE_SERVER_RECORDS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>

#include "TarvoSDKClient.h"

inline constexpr std::int32_t kNoParent = -1;

// A rigid body of a description list, and each bone of a skeleton, in the reference pose: of a skeleton that of
// its motion, of a free rigid body the one in which the stream begins. The poses of frames are global, so a bone
// that keeps its length is at parentPosition + parentOrientation.Rotate(offset) in every one of them.
struct RigidBodyRecord {
    char name[TARVO_NAME_SIZE];
    std::int32_t id;
    std::int32_t parentId; // -1: none
    float offset[3];       // from the parent's origin, in the parent's own axes; without a parent the position in
                           // the volume; metres
    float orientation[4];  // in the volume, quaternion x, y, z, w
};
static_assert(sizeof(RigidBodyRecord) == sizeof(sRigidBodyInfo));

struct LabeledMarkerRecord {
    std::int32_t id;
    float position[3];       // metres
    float size;              // diameter, metres
    std::int32_t skeletonId; // of the figure that wears it; -1: none
};
static_assert(sizeof(LabeledMarkerRecord) == sizeof(sLabeledMarkerSample));

// An item of the point group: a labelled marker and where it sits.
struct PointRecord {
    std::int32_t markerId;
    std::int32_t skeletonId; // -1: none
    std::int32_t boneId;     // -1: none
};
static_assert(sizeof(PointRecord) == sizeof(sPointItem));

// The server description: 525 bytes, of which the compiler's padding at the end is not sent.
struct ServerRecord {
    char name[256];
    unsigned char version[4];
    char host[256];
    unsigned char reserved[4];
    float frameRate;      // frames a second
    std::uint8_t accepts; // 1: the client's version is supported
};
static_assert(offsetof(ServerRecord, accepts) == TARVO_SERVER_DESCRIPTION_SIZE - 1);

// A name buffer with a text in it, cut to leave room for a zero; the rest is zero.
inline void SetName(char (&name)[TARVO_NAME_SIZE], std::string_view text) {
    std::fill(std::begin(name), std::end(name), '\0');
    std::copy_n(text.begin(), std::min(text.size(), sizeof name - 1), name);
}

inline constexpr char kServerName[] = "velmar simulated capture server";

inline bool IsSimulated(const sServerDescription& server) {
    return std::memcmp(server.bytes, kServerName, sizeof kServerName) == 0;
}

#endif
