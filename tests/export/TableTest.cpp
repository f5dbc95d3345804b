// Tables with a row for each frame, what holds for all frames, and what no format lets pass.
#include <fmt/format.h>

#include <cmath>
#include <limits>

#include "Walk.h"
#include "support/CaptureFiles.h"

using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

const std::string kFormats[] = {"csv", "csv --wide", "json", "c3d", "opensim", "bvh"};

std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
    return parts;
}

// A bone of a description: its parent's identifier is -1 without one.
struct Bone {
    std::string name;
    int id;
    int parent;
};

// A skeleton that stands upright, each bone a tenth of a metre above its parent.
Bytes Described(const std::vector<Bone>& bones, const std::string& skeleton = "Ann", float w = 1) {
    Body list;
    list.U32(1, 2).Text(skeleton, 256).U32(15, bones.size());
    for (const auto& [name, id, parent] : bones)
        list.Text(name, 256).U32(id, parent).F32(0.F, 0.F, parent < 0 ? 1.F : 0.1F, 0.F, 0.F, 0.F, w);
    return list.bytes;
}

// A frame in which every bone of that skeleton has turned by nothing, and a marker set of one marker.
Bytes Frame(int number, const std::vector<Bone>& bones, const std::string& set = "Ann") {
    Body frame;
    frame.U32(number, 1).Text(set, 256).U32(1).F32(1.F, 2.F, 3.F).U32(0, 0, 1, 15, bones.size());
    for (std::size_t i = 0; i < bones.size(); ++i)
        frame.U32(bones[i].id)
            .F32(0.F, 0.F, 1.F + 0.1F * static_cast<float>(i), 0.F, 0.F, 0.F, 1.F)
            .U32(0)
            .F32(0.F)
            .U16(1);
    return frame.U32(0, 0).Fill(22).bytes;
}

std::string Recording(const std::string& name, const Bytes& server, const Bytes& list,
                      const std::vector<Bone>& bones, const std::string& set = "Ann", int frames = 20) {
    std::vector<std::string> packets;
    if (!server.empty()) packets.push_back(AnswerPacket(102, server));
    if (!list.empty()) packets.push_back(AnswerPacket(101, list));
    for (int i = 0; i < frames; ++i) packets.push_back(FramePacket(Frame(i + 1, bones, set)));
    return TemporaryFile(name, Capture(228, packets, 100));
}

const std::vector<Bone> kBones{{"Hips", 1, -1}, {"Spine", 2, 1}, {"Head", 3, 2}};

} // namespace

TEST(Table, EveryValueOfAFrameIsInItsRow) {
    const Walk& walk = Walk::Recorded();
    const auto lines = Split(Contents(walk.Export("--wide") + "/frames.csv"), '\n');
    ASSERT_EQ(lines.size(), walk.frames.size() + 1);
    const auto columns = Split(lines[0], ',');
    for (const std::size_t i : {std::size_t{0}, std::size_t{290}, walk.frames.size() - 1}) {
        const nlohmann::json& frame = walk.frames[i];
        const auto cells = Split(lines[i + 1], ',');
        ASSERT_EQ(cells.size(), columns.size());
        std::map<std::string, std::string> row;
        for (std::size_t k = 0; k < cells.size(); ++k) EXPECT_TRUE(row.emplace(columns[k], cells[k]).second);
        const auto equal = [&](const std::string& column, const nlohmann::json& value) {
            ASSERT_TRUE(row.contains(column)) << column;
            EXPECT_FLOAT_EQ(std::stof(row[column]), value.get<float>()) << column;
        };
        EXPECT_EQ(row["frame_number"], frame["frame_number"].dump());
        EXPECT_EQ(row["timecode"], frame["timecode"]);
        const auto place = [&](const std::string& what, const nlohmann::json& entry) {
            for (const char* const axis : {"x", "y", "z"})
                equal(fmt::format("{} {}_m", what, axis), entry[fmt::format("position_{}_m", axis)]);
        };
        const auto pose = [&](const std::string& what, const nlohmann::json& entry) {
            place(what, entry);
            for (const char* const part : {"x", "y", "z", "w"})
                equal(fmt::format("{} q{}", what, part), entry[fmt::format("orientation_{}", part)]);
        };
        for (const nlohmann::json& marker : frame["markers"])
            if (marker["marker_set"] != "") place("marker Figure1:" + std::string(marker["marker"]), marker);
        for (const nlohmann::json& bone : frame["skeleton_bones"])
            pose("bone Figure1:" + std::string(bone["bone"]), bone);
        pose("body Body1", frame["rigid_bodies"][0]);
        equal("analog 2", frame["analog"][1]["value"]);
        equal("plate 2 force_z_N", frame["force_plates"][1]["force_z_N"]);
        equal("plate 1 cop_y_m", frame["force_plates"][0]["center_of_pressure_y_m"]);
    }
}

TEST(Table, TheTakeSaysWhatHoldsForAllFrames) {
    const Walk& walk = Walk::Recorded();
    const nlohmann::json take = nlohmann::json::parse(Contents(walk.Export("") + "/take.json"));
    EXPECT_EQ(take["rate_hz"], 100);
    EXPECT_EQ(take["frames"], walk.frames.size());
    EXPECT_EQ(take["first_frame_number"], walk.frames.front()["frame_number"]);
    EXPECT_EQ(take["last_frame_number"], walk.frames.back()["frame_number"]);
    const int numbers = int(take["last_frame_number"]) - int(take["first_frame_number"]) + 1;
    EXPECT_EQ(take["lost"]["frames"], numbers - Walk::kFrames);
    EXPECT_GT(take["lost"]["frames"], 0);
    EXPECT_EQ(take["lost"]["recording"]["missing_never_seen"], take["lost"]["frames"]);
    EXPECT_NEAR(take["duration_s"], (numbers - 1) / Walk::kRate, 1e-6);
    EXPECT_EQ(take["force_plates"].size(), 2);
    EXPECT_FLOAT_EQ(take["force_plates"][0]["unloaded"][2], 0.92F);
    EXPECT_EQ(take["skeletons"][0]["bones"][1]["parent"], "Hips");
    EXPECT_NEAR(take["skeletons"][0]["bones"][1]["offset_m"][2], 0.1, 1e-6);
    // From one number to another, both of them in it, and time begins anew.
    const int first = walk.frames[100]["frame_number"];
    const std::string range =
        " --from " + std::to_string(first) + " --to " + walk.frames[149]["frame_number"].dump();
    const auto rows = Split(Contents(walk.Export(range) + "/auxiliary.csv"), '\n');
    ASSERT_EQ(rows.size(), 51);
    EXPECT_THAT(rows[1], ContainsRegex("^" + std::to_string(first) + ",[0-9.]+,0.000000,"));
}

TEST(Table, NamesAreBytesOfAnyKind) {
    const std::string endless(256, 'x');
    const std::string names[] = {"a,b\"c", "a,b", "tab\there", "line\nbreak", "\xFF\xFE", endless, "../up", ""};
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const std::vector<Bone> bones{{name, 1, -1}, {name, 2, 1}};
        const std::string path =
            Recording("named.pcap", SimulatedServer(100), Described(bones, name), bones, name);
        const std::string folder = Path("named");
        for (const std::string& format : kFormats) {
            SCOPED_TRACE(format);
            Output(fmt::format("export {} --force --format {} -o {}", path, format, folder), 0);
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
            EXPECT_EQ(entry.path().parent_path(), folder);
        EXPECT_FALSE(std::filesystem::exists(Path("up.bvh")));
        if (name == "a,b") {
            EXPECT_THAT(Contents(folder + "/markers.csv"), HasSubstr(",\"a,b\",0,"));
        }
        for (const std::string& line : Split(Contents(folder + "/frames.jsonl"), '\n'))
            EXPECT_TRUE(nlohmann::json::accept(line));
        const auto labels = Split(Split(Contents(folder + "/named.trc"), '\n').at(3), '\t');
        EXPECT_THAT(labels.at(2), testing::MatchesRegex("[A-Za-z0-9_.-]+"));
        std::filesystem::remove_all(folder);
    }
}

TEST(Table, WhatIsNotDescribedIsSaidAndNotGuessed) {
    const std::string bare = Recording("bare.pcap", {}, {}, kBones);
    for (const std::string& format : kFormats) {
        SCOPED_TRACE(format);
        const bool isRefused = format == "bvh";
        EXPECT_THAT(Output(fmt::format("export {} --force --format {} -o {}", bare, format, Path("bare")),
                           isRefused ? 1 : 0),
                    ContainsRegex("holds neither the server's description nor.*velmar record SERVER -o FILE"));
    }
    EXPECT_THAT(Contents(Path("bare/frames.csv")), HasSubstr(",marker Ann:1 x_m,"));
    const Bytes server = SimulatedServer(100);
    const std::tuple<Bytes, Bytes, std::vector<Bone>, const char*> refused[] = {
        {server, Described({{"Hips", 1, -1}, {"Spine", 2, 7}}), kBones, "no bone 7"},
        {server, Described({{"Hips", 1, -1}, {"A", 2, 3}, {"B", 3, 2}}), kBones, "circle"},
        {server, Described({{"A", 1, 2}, {"B", 2, 1}}), kBones, "0 bones without a parent"},
        {server, Described({{"A", 1, -1}, {"B", 2, -1}}), kBones, "2 bones without a parent"},
        {server, Described({{"A", 1, -1}, {"B", 1, 1}}), kBones, "two bones"},
        {server, Described(kBones, "Ann", 0), kBones, "no rotation"},
        {server, Described(kBones, "Ann", std::numeric_limits<float>::quiet_NaN()), kBones, "no rotation"},
        {Text("another server"), Described(kBones), kBones, "only its server knows"},
        {server, Described({{"Other", 9, -1}}), kBones, "no frame has a described skeleton"}};
    for (const auto& [who, list, bones, why] : refused) {
        const std::string path = Recording("refused.pcap", who, list, bones);
        const std::string said = Output("export " + path + " --format bvh -o " + Path("refused"), 1);
        EXPECT_THAT(said, ContainsRegex("velmar: " + path + ":?.*" + why));
        EXPECT_FALSE(std::filesystem::exists(Path("refused"))) << "an empty folder stays";
    }
}

TEST(Table, EveryFormatStandsTornRecordingsAndFullDisks) {
    const std::string path = Recording("torn.pcap", SimulatedServer(100), Described(kBones), kBones, "Ann", 300);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 5);
    for (const std::string& format : kFormats) {
        SCOPED_TRACE(format);
        const std::string command = fmt::format("export {} --format {} -o ", path, format);
        EXPECT_THAT(Output(command + Path("torn"), 3), HasSubstr("; 299 frames in 2.9"));
        EXPECT_GT(std::distance(std::filesystem::directory_iterator(Path("torn")), {}), 0);
        EXPECT_THAT(Output(command + Path("torn"), 1), HasSubstr(" exists: name another directory"));
        EXPECT_THAT(Output(command + Path("full"), 1, kOnAFullDisk),
                    ContainsRegex("\nvelmar: [^\n]* cannot be written: [^\n]*\n$"));
        EXPECT_FALSE(std::filesystem::exists(Path("full"))) << "something is left behind";
        std::filesystem::remove_all(Path("torn"));
    }
}
