#include "query/DescribeAsJson.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <bit>
#include <cctype>
#include <cstring>
#include <vector>

#include "NameText.h"
#include "Wording.h"
#include "simulate/ServerRecords.h"
#include "wire/Messages.h"

using json = FloatJson;

namespace {

// The printable text at the start of a record.
std::string LeadingText(const void* record, std::size_t size) {
    const auto* const bytes = static_cast<const unsigned char*>(record);
    std::string text;
    while (text.size() < size && std::isprint(bytes[text.size()]) != 0)
        text.push_back(static_cast<char>(bytes[text.size()]));
    return text;
}

json Server(const sServerDescription& server) {
    if (!IsSimulated(server))
        return {{"text", LeadingText(server.bytes, sizeof server.bytes)},
                {"bytes", std::vector<int>(std::begin(server.bytes), std::end(server.bytes))}};
    ServerRecord record{};
    std::memcpy(&record, server.bytes, sizeof server.bytes);
    return {{"name", NameText(record.name)},
            {"version", VersionText(record.version)},
            {"host", NameText(record.host)},
            {"frameRate", record.frameRate},
            {"acceptsClient", record.accepts != 0}};
}

json MarkerSet(const sMarkerSetInfo& info) {
    json names = json::array();
    for (int i = 0; i < info.markerCount; ++i)
        names.push_back(std::string(info.markerNames[i], strnlen(info.markerNames[i], TARVO_NAME_SIZE)));
    return {{"type", "marker set"}, {"name", NameText(info.name)}, {"markers", names}};
}

json RigidBody(const sRigidBodyInfo& info, bool simulated) {
    if (!simulated) return {{"name", LeadingText(&info, sizeof info)}, {"words", info.words}};
    const auto record = std::bit_cast<RigidBodyRecord>(info);
    return {{"name", NameText(record.name)},
            {"id", record.id},
            {"parentId", record.parentId},
            {"offset", record.offset},
            {"orientation", record.orientation}};
}

json Skeleton(const sSkeletonInfo& info, bool simulated) {
    json bones = json::array();
    for (int i = 0; i < info.rigidBodyCount; ++i) bones.push_back(RigidBody(info.rigidBodies[i], simulated));
    return {{"type", "skeleton"}, {"name", NameText(info.name)}, {"id", info.id}, {"bones", bones}};
}

json ForcePlate(const sForcePlateInfo& info) {
    return {{"type", "force plate"},
            {"id", info.id},
            {"channelLayout", info.channelLayout},
            {"scaleFactor", info.scaleFactor},
            {"origin", info.origin},
            {"sensorOffset", info.sensorOffset},
            {"rotation", info.rotation},
            {"calibration", info.calibration}};
}

json PointGroup(const sPointGroupInfo& info) {
    json points = json::array();
    for (int i = 0; i < info.pointCount; ++i) points.push_back(info.points[i].words);
    return {{"type", "point group"}, {"name", NameText(info.name)}, {"points", points}};
}

json Entry(const sDescriptionEntry& entry, bool simulated) {
    if (entry.data == nullptr) return {{"type", entry.type}, {"record", nullptr}};
    switch (entry.type) {
        case DescMarkerSet: return MarkerSet(*static_cast<const sMarkerSetInfo*>(entry.data));
        case DescSkeleton: return Skeleton(*static_cast<const sSkeletonInfo*>(entry.data), simulated);
        case DescForcePlate: return ForcePlate(*static_cast<const sForcePlateInfo*>(entry.data));
        case DescPointGroup: return PointGroup(*static_cast<const sPointGroupInfo*>(entry.data));
        case DescRigidBody: {
            json body = RigidBody(*static_cast<const sRigidBodyInfo*>(entry.data), simulated);
            body["type"] = "rigid body";
            return body;
        }
        default: return {{"type", entry.type}};
    }
}

std::string ListLine(const json& list, const char* what) {
    std::vector<std::string> names;
    for (const json& item : list)
        names.push_back(item.is_object() ? item.value("name", "") : item.get<std::string>());
    return fmt::format("{}: {}", Counted(list.size(), what), fmt::join(names, ", "));
}

const char* LayoutName(int layout) {
    if (layout == 3) return "eight force channels";
    if (layout == 4) return "three forces and three moments";
    return "not computed";
}

std::string EntryLine(const json& entry) {
    std::string line = fmt::format(
        "  {}", entry["type"].is_string() ? entry["type"].get<std::string>() : "type " + entry["type"].dump());
    if (entry.contains("name")) line += fmt::format(" \"{}\"", entry["name"].get<std::string>());
    if (entry.contains("id")) line += fmt::format(" id {}", entry["id"].dump());
    if (entry.contains("markers")) line += ": " + ListLine(entry["markers"], "marker");
    if (entry.contains("bones")) line += ": " + ListLine(entry["bones"], "bone");
    if (entry.contains("points")) line += ": " + Counted(entry["points"].size(), "point");
    if (entry.contains("channelLayout"))
        line += fmt::format(": {}, origin {} m, sensor offset {} m", LayoutName(entry["channelLayout"].get<int>()),
                            entry["origin"].dump(), entry["sensorOffset"].dump());
    return line + "\n";
}

} // namespace

json DescribeAsJson(const sServerDescription& server, const sDataDescriptions& list) {
    json entries = json::array();
    for (int i = 0; i < list.descriptionCount; ++i)
        entries.push_back(Entry(list.descriptions[i], IsSimulated(server)));
    return {{"server", Server(server)}, {"descriptions", entries}};
}

std::string DescribeAsText(const json& document) {
    std::string text = "server\n";
    for (const auto& [key, value] : document["server"].items())
        if (!value.is_array())
            text += fmt::format("  {} {}{}\n", key, value.is_string() ? value.get<std::string>() : value.dump(),
                                key == "frameRate" ? " Hz" : "");
    text += Counted(document["descriptions"].size(), "description") + "\n";
    for (const json& entry : document["descriptions"]) text += EntryLine(entry);
    return text;
}
