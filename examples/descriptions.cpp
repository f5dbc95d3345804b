// Asks a server what its frames contain and prints it: marker sets with their markers, skeletons, rigid bodies,
// force plates and groups of points.
// Usage: descriptions SERVER
//
// The list and everything in it are released whole by FreeDataDescriptions. Names fill a buffer of 256 bytes and
// need not end in a zero. Entries without a record, or of a type that is not known here, are skipped.
#include <TarvoSDKClient.h>

#include <cstdio>

namespace {

constexpr int kName = TARVO_NAME_SIZE;

void Print(const sMarkerSetInfo& set) {
    std::printf("marker set %.*s:", kName, set.name);
    for (int i = 0; i < set.markerCount; ++i) std::printf(" %.*s", kName, set.markerNames[i]);
    std::puts("");
}

void Print(const sDescriptionEntry& entry) {
    if (entry.type < DescMarkerSet || entry.type > DescPointGroup || entry.data == nullptr) return;
    switch (entry.type) {
        case DescMarkerSet: Print(*static_cast<const sMarkerSetInfo*>(entry.data)); break;
        case DescRigidBody: std::puts("rigid body, as the server lays it out"); break;
        case DescSkeleton: {
            const auto& skeleton = *static_cast<const sSkeletonInfo*>(entry.data);
            std::printf("skeleton %d %.*s: %d bones\n", skeleton.id, kName, skeleton.name,
                        skeleton.rigidBodyCount);
            break;
        }
        case DescForcePlate: {
            const auto& plate = *static_cast<const sForcePlateInfo*>(entry.data);
            std::printf("force plate %d at %.3f %.3f %.3f, channel layout %d\n", plate.id, plate.origin[0],
                        plate.origin[1], plate.origin[2], plate.channelLayout);
            break;
        }
        case DescPointGroup: {
            const auto& group = *static_cast<const sPointGroupInfo*>(entry.data);
            std::printf("point group %.*s: %d points\n", kName, group.name, group.pointCount);
            break;
        }
        default: break;
    }
}

int PrintDescriptions(TarvoSDKClient& client) {
    sDataDescriptions* list = nullptr;
    const int result = client.GetDataDescriptions(&list);
    if (result != 0 || list == nullptr) {
        std::fprintf(stderr, "no descriptions: %d\n", result != 0 ? result : 1);
        return 1;
    }
    for (int i = 0; i < list->descriptionCount; ++i) Print(list->descriptions[i]);
    return client.FreeDataDescriptions(list);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s SERVER\n", argv[0]);
        return 2;
    }
    TarvoSDKClient client;
    client.SetVerbosityLevel(0); // no log lines among the output
    if (const int result = client.Initialize(argv[1])) {
        std::fprintf(stderr, "no answer from %s: %d\n", argv[1], result);
        return 1;
    }
    const int result = PrintDescriptions(client);
    return client.Uninitialize() != 0 ? 1 : result;
}
