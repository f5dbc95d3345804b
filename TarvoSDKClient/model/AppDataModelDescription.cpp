// The description codec: a description body to a new list and back, and the list's release.
#include <cstring>
#include <limits>
#include <new>

#include "AppDataModel.h"
#include "model/WireReader.h"
#include "model/WireWriter.h"

namespace {

constexpr std::size_t kNameSize = TARVO_NAME_SIZE;

// ---- Decoding. A reader of a block returns false when the body cannot hold the block. A record for which
// memory runs out stays null; its block is skipped by the counts in it.

// The count of a list inside a block; a negative one is refused.
bool ReadCount(WireReader& in, std::int32_t& count) { return in.Read(count) && count >= 0; }

void ReleaseMarkerSet(sMarkerSetInfo* info) {
    if (info == nullptr) return;
    if (info->markerNames != nullptr)
        for (int i = 0; i < info->markerCount; ++i) delete[] info->markerNames[i];
    delete[] info->markerNames;
    delete info;
}

void ReleasePointGroup(sPointGroupInfo* info) {
    if (info == nullptr) return;
    delete[] info->points;
    delete info;
}

// The names of a marker set, whose bytes are known to be there: all are passed, and kept as far as there is
// memory. False when some are missing.
bool ReadMarkerNames(WireReader& in, sMarkerSetInfo& info) {
    const auto count = static_cast<std::size_t>(info.markerCount);
    info.markerNames = new (std::nothrow) char* [count] {};
    bool complete = info.markerNames != nullptr;
    for (std::size_t i = 0; i < count; ++i) {
        if (complete) info.markerNames[i] = new (std::nothrow) char[kNameSize];
        complete = complete && info.markerNames[i] != nullptr;
        if (complete)
            in.ReadArray(info.markerNames[i], kNameSize);
        else
            in.Skip(1, kNameSize);
    }
    return complete;
}

bool ReadMarkerSet(WireReader& in, void*& data) {
    sMarkerSetInfo head{};
    if (!ReadCount(in, head.markerCount) || !in.Read(head.name)) return false;
    const auto count = static_cast<std::size_t>(head.markerCount);
    if (!in.Has(count, kNameSize)) return false;
    auto* info = new (std::nothrow) sMarkerSetInfo(head);
    if (info == nullptr) return in.Skip(count, kNameSize);
    if (ReadMarkerNames(in, *info))
        data = info;
    else
        ReleaseMarkerSet(info);
    return true;
}

// A record whose wire form is its image.
template <typename T>
bool ReadImage(WireReader& in, void*& data) {
    if (!in.Has(1, sizeof(T))) return false;
    auto* info = new (std::nothrow) T;
    data = info;
    return info == nullptr ? in.Skip(1, sizeof(T)) : in.Read(*info);
}

bool ReadSkeleton(WireReader& in, void*& data) {
    char name[kNameSize];
    std::int32_t id = 0;
    std::int32_t bodies = 0;
    if (!in.Read(name) || !in.Read(id) || !ReadCount(in, bodies) || bodies > TARVO_MAX_SKELETON_BODIES)
        return false;
    const auto count = static_cast<std::size_t>(bodies);
    if (!in.Has(count, sizeof(sRigidBodyInfo))) return false;
    auto* info = new (std::nothrow) sSkeletonInfo;
    data = info;
    if (info == nullptr) return in.Skip(count, sizeof(sRigidBodyInfo));
    std::memcpy(info->name, name, kNameSize);
    info->id = id;
    info->rigidBodyCount = bodies;
    std::memset(info->rigidBodies + count, 0, sizeof info->rigidBodies - count * sizeof(sRigidBodyInfo));
    return in.ReadArray(info->rigidBodies, count);
}

bool ReadPointGroup(WireReader& in, void*& data) {
    sPointGroupInfo head{};
    if (!ReadCount(in, head.pointCount) || !in.Read(head.name)) return false;
    const auto count = static_cast<std::size_t>(head.pointCount);
    if (!in.Has(count, sizeof(sPointItem))) return false;
    auto* info = new (std::nothrow) sPointGroupInfo(head);
    if (info != nullptr) {
        info->points = new (std::nothrow) sPointItem[count];
        if (info->points != nullptr) {
            data = info;
            return in.ReadArray(info->points, count);
        }
        delete info;
    }
    return in.Skip(count, sizeof(sPointItem));
}

bool ReadEntry(WireReader& in, sDescriptionEntry& entry) {
    if (!in.Read(entry.type)) return false;
    switch (entry.type) {
        case DescMarkerSet: return ReadMarkerSet(in, entry.data);
        case DescRigidBody: return ReadImage<sRigidBodyInfo>(in, entry.data);
        case DescSkeleton: return ReadSkeleton(in, entry.data);
        case DescForcePlate: return ReadImage<sForcePlateInfo>(in, entry.data);
        case DescPointGroup: return ReadPointGroup(in, entry.data);
        default: return true;
    }
}

bool ReadList(WireReader& in, sDataDescriptions& list) {
    if (!in.Read(list.descriptionCount) || list.descriptionCount > TARVO_MAX_DESCRIPTIONS) return false;
    for (int i = 0; i < list.descriptionCount; ++i)
        if (!ReadEntry(in, list.descriptions[i])) return false;
    return true;
}

// ---- Encoding

void WriteMarkerSet(WireWriter& out, const sMarkerSetInfo* info) {
    if (info == nullptr || info->markerCount < 1) {
        out.WriteZeros(sizeof info->markerCount + kNameSize);
        return;
    }
    out.Write(info->markerCount);
    out.Write(info->name);
    for (int i = 0; i < info->markerCount; ++i) {
        const char* const name = info->markerNames == nullptr ? nullptr : info->markerNames[i];
        if (name == nullptr)
            out.WriteZeros(kNameSize);
        else
            out.WriteArray(name, TARVO_NAME_SIZE);
    }
}

template <typename T>
void WriteImage(WireWriter& out, const T* info) {
    if (info == nullptr)
        out.WriteZeros(sizeof(T));
    else
        out.Write(*info);
}

void WriteSkeleton(WireWriter& out, const sSkeletonInfo* info) {
    if (info == nullptr) {
        out.WriteZeros(kNameSize + sizeof info->id + sizeof info->rigidBodyCount);
        return;
    }
    out.Write(info->name);
    out.Write(info->id);
    out.Write(info->rigidBodyCount);
    out.WriteArray(info->rigidBodies, info->rigidBodyCount);
}

void WritePointGroup(WireWriter& out, const sPointGroupInfo* info) {
    if (info == nullptr) {
        out.WriteZeros(sizeof info->pointCount + kNameSize);
        return;
    }
    out.Write(info->pointCount);
    out.Write(info->name);
    out.WriteArray(info->points, info->pointCount);
}

void WriteEntry(WireWriter& out, const sDescriptionEntry& entry) {
    out.Write(entry.type);
    switch (entry.type) {
        case DescMarkerSet: return WriteMarkerSet(out, static_cast<const sMarkerSetInfo*>(entry.data));
        case DescRigidBody: return WriteImage(out, static_cast<const sRigidBodyInfo*>(entry.data));
        case DescSkeleton: return WriteSkeleton(out, static_cast<const sSkeletonInfo*>(entry.data));
        case DescForcePlate: return WriteImage(out, static_cast<const sForcePlateInfo*>(entry.data));
        case DescPointGroup: return WritePointGroup(out, static_cast<const sPointGroupInfo*>(entry.data));
        default: return;
    }
}

// ---- Releasing

void ReleaseEntry(sDescriptionEntry& entry) {
    switch (entry.type) {
        case DescMarkerSet: ReleaseMarkerSet(static_cast<sMarkerSetInfo*>(entry.data)); break;
        case DescRigidBody: delete static_cast<sRigidBodyInfo*>(entry.data); break;
        case DescSkeleton: delete static_cast<sSkeletonInfo*>(entry.data); break;
        case DescForcePlate: delete static_cast<sForcePlateInfo*>(entry.data); break;
        case DescPointGroup: ReleasePointGroup(static_cast<sPointGroupInfo*>(entry.data)); break;
        default: return;
    }
    entry.data = nullptr;
}

} // namespace

int CAppDataModel::EncodeDescription(sDataDescriptions* list, unsigned char* buffer, int& length) {
    WireWriter out(buffer);
    out.Write(list->descriptionCount);
    for (int i = 0; i < list->descriptionCount; ++i) WriteEntry(out, list->descriptions[i]);
    length = out.Written();
    return 0;
}

int CAppDataModel::DecodeDescription(const unsigned char* buffer, int& length, sDataDescriptions*& list) {
    return DecodeDescription(buffer, std::numeric_limits<unsigned int>::max(), length, list);
}

int CAppDataModel::DecodeDescription(const unsigned char* buffer, unsigned int available, int& length,
                                     sDataDescriptions*& list) {
    // All entries start without a record, so a list that is given up half-way is released like any other.
    list = new (std::nothrow) sDataDescriptions{};
    if (list == nullptr) return 1;
    WireReader in(buffer, available);
    if (!ReadList(in, *list)) {
        ReleaseDescription(list);
        list = nullptr;
        return 1;
    }
    length = in.Consumed();
    return 0;
}

int CAppDataModel::ReleaseDescription(sDataDescriptions* list) {
    if (list == nullptr) return 0;
    for (int i = 0; i < list->descriptionCount && i < TARVO_MAX_DESCRIPTIONS; ++i)
        ReleaseEntry(list->descriptions[i]);
    delete list;
    return 0;
}
