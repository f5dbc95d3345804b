// Prints where each bone of a skeleton is relative to its parent: name, translation and rotation in the parent's
// own axes, of a bone without a parent in the volume. Usage: skeleton SERVER [FRAMES]; ends after so many frames,
// 3 if it is not told.
//
// Frames bring the poses of bones in the volume's axes, without names. Names and parents stand in the
// descriptions, in bytes that are each server's own; here they are read as the simulated server, velmar simulate,
// writes them. A program for another server begins with that server's record in the place of BoneRecord. A
// skeleton is found by its identifier and its bones by their order, in which frames and descriptions agree.
#include <TarvoStream.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

// The 292 bytes of a bone's description.
struct BoneRecord {
    char name[TARVO_NAME_SIZE];
    std::int32_t id;
    std::int32_t parentId; // -1: none
    float offset[3];       // from the parent's origin, in the parent's own axes, metres
    float orientation[4];  // of the reference pose, in the volume
};
static_assert(sizeof(BoneRecord) == sizeof(sRigidBodyInfo));

constexpr int kNoParent = -1;

struct Bone {
    std::string name;
    int parent; // place in the skeleton
};

struct Skeleton {
    std::string name;
    std::vector<Bone> bones;
};

using Vector = std::array<float, 3>;
struct Quaternion {
    Vector v; // x, y, z
    float w;
};

Vector Cross(const Vector& a, const Vector& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

float Dot(const Vector& a, const Vector& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

Quaternion Conjugate(const Quaternion& q) { return {{-q.v[0], -q.v[1], -q.v[2]}, q.w}; }

// The turn b, and then a.
Quaternion Product(const Quaternion& a, const Quaternion& b) {
    const Vector cross = Cross(a.v, b.v);
    Quaternion product{{}, a.w * b.w - Dot(a.v, b.v)};
    for (std::size_t i = 0; i < 3; ++i) product.v[i] = a.w * b.v[i] + b.w * a.v[i] + cross[i];
    return product;
}

Vector Rotate(const Quaternion& q, const Vector& v) {
    const Vector t = Cross(q.v, v);
    const Vector u = Cross(q.v, t);
    Vector turned = v;
    for (std::size_t i = 0; i < 3; ++i) turned[i] += 2 * (q.w * t[i] + u[i]);
    return turned;
}

struct Pose {
    Vector translation{};
    Quaternion rotation{{}, 1};
};

Pose Global(const sRigidBodySample& body) {
    const float* const q = body.orientation;
    return {{body.position[0], body.position[1], body.position[2]}, {{q[0], q[1], q[2]}, q[3]}};
}

Pose RelativeTo(const Pose& parent, const Pose& child) {
    const Quaternion intoParent = Conjugate(parent.rotation);
    Vector way = child.translation;
    for (std::size_t i = 0; i < 3; ++i) way[i] -= parent.translation[i];
    return {Rotate(intoParent, way), Product(intoParent, child.rotation)};
}

std::string Text(const char (&name)[TARVO_NAME_SIZE]) { return {name, strnlen(name, sizeof name)}; }

// Whose bytes can be read; says so when they cannot.
bool IsSimulated(TarvoSDKClient& client) {
    constexpr char kName[] = "velmar simulated capture server";
    sServerDescription server{};
    if (client.GetServerDescription(&server) != 0)
        std::fputs("the server does not say what it is", stderr);
    else if (std::memcmp(server.bytes, kName, sizeof kName) != 0)
        std::fputs("this is not the simulated server", stderr);
    else
        return true;
    std::fputs(": the names and parents of its bones are in a layout that this program does not know\n", stderr);
    return false;
}

// Whatever the order of the bones; a parent that is none of them counts as none.
Skeleton Read(const sSkeletonInfo& info) {
    std::vector<BoneRecord> records(static_cast<std::size_t>(info.rigidBodyCount));
    std::map<int, int> places{{kNoParent, kNoParent}};
    for (std::size_t i = 0; i < records.size(); ++i) {
        std::memcpy(&records[i], &info.rigidBodies[i], sizeof records[i]);
        places.emplace(records[i].id, static_cast<int>(i));
    }
    Skeleton skeleton{Text(info.name), {}};
    for (const BoneRecord& record : records) {
        const auto parent = places.find(record.parentId);
        if (parent == places.end())
            std::fprintf(stderr, "%s: the parent of %s is none of the bones\n", skeleton.name.c_str(),
                         Text(record.name).c_str());
        skeleton.bones.push_back({Text(record.name), parent == places.end() ? kNoParent : parent->second});
    }
    return skeleton;
}

std::map<int, Skeleton> ReadSkeletons(TarvoSDKClient& client) {
    std::map<int, Skeleton> skeletons;
    sDataDescriptions* list = nullptr;
    if (client.GetDataDescriptions(&list) != 0 || list == nullptr) return skeletons;
    for (int i = 0; i < list->descriptionCount; ++i) {
        const sDescriptionEntry& entry = list->descriptions[i];
        if (entry.type != DescSkeleton || entry.data == nullptr) continue;
        const auto& info = *static_cast<const sSkeletonInfo*>(entry.data);
        skeletons[info.id] = Read(info);
    }
    client.FreeDataDescriptions(list);
    return skeletons;
}

void Print(const Skeleton& skeleton, const sSkeletonSample& sample) {
    if (sample.rigidBodyCount != static_cast<int>(skeleton.bones.size())) {
        std::printf("%s: %d bones, but %zu in its description\n", skeleton.name.c_str(), sample.rigidBodyCount,
                    skeleton.bones.size());
        return;
    }
    std::printf("%s\n", skeleton.name.c_str());
    for (std::size_t i = 0; i < skeleton.bones.size(); ++i) {
        const auto& [name, parent] = skeleton.bones[i];
        const Pose in = parent == kNoParent ? Pose{} : Global(sample.rigidBodies[parent]);
        const auto& [t, r] = RelativeTo(in, Global(sample.rigidBodies[i]));
        std::printf("  %-16s translation %8.4f %8.4f %8.4f  rotation %7.4f %7.4f %7.4f %7.4f\n", name.c_str(),
                    t[0], t[1], t[2], r.v[0], r.v[1], r.v[2], r.w);
    }
}

// 0 when all have come.
int PrintFrames(void* feed, const std::map<int, Skeleton>& skeletons, long wanted) {
    constexpr std::uint32_t kPatienceMs = 5000;
    const auto frame = std::make_unique<sFrameOfMocapData>();
    for (long seen = 0; seen < wanted; ++seen) {
        if (Quorin_NextFrame(feed, kPatienceMs, frame.get(), nullptr, nullptr) != 0) {
            std::fputs("no frame comes\n", stderr);
            return 1;
        }
        std::printf("frame %d\n", frame->frameNumber);
        for (int i = 0; i < frame->skeletonCount; ++i) {
            const auto described = skeletons.find(frame->skeletons[i].id);
            if (described != skeletons.end()) Print(described->second, frame->skeletons[i]);
        }
        Quorin_FreeFrame(frame.get());
    }
    return 0;
}

int Show(TarvoSDKClient& client, long wanted) {
    if (!IsSimulated(client)) return 1;
    const std::map<int, Skeleton> skeletons = ReadSkeletons(client);
    if (skeletons.empty()) {
        std::fputs("the server has described no skeleton\n", stderr);
        return 1;
    }
    void* feed = nullptr;
    if (const int result = Quorin_OpenFeed(&client, 8, &feed)) {
        std::fprintf(stderr, "no feed: %d\n", result);
        return 1;
    }
    const int result = PrintFrames(feed, skeletons, wanted);
    Quorin_CloseFeed(feed);
    return result;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s SERVER [FRAMES]\n", argv[0]);
        return 2;
    }
    TarvoSDKClient client;
    client.SetVerbosityLevel(0); // no log lines among the output
    if (const int result = client.Initialize(argv[1])) {
        std::fprintf(stderr, "no stream from %s: %d\n", argv[1], result);
        return 1;
    }
    const int result = Show(client, argc > 2 ? std::atol(argv[2]) : 3);
    return client.Uninitialize() != 0 ? 1 : result;
}
