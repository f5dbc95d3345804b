// Recordings whose frames do not simply follow each other, long ones and wide ones: what the formats with a row
// for each frame time make of them.
#include <array>
#include <cmath>
#include <limits>
#include <optional>

#include "LongTake.h"
#include "OpenSimReader.h"
#include "support/CaptureFiles.h"
#include "tool/ToolRun.h"

using testing::Each;
using testing::ElementsAre;

namespace {

constexpr float kNone = std::numeric_limits<float>::quiet_NaN();

// A skeleton of two bones, and a plate in whose axes a force is what its channels read.
Bytes Descriptions() {
    Body list;
    list.U32(2, 2).Text("Ann", 256).U32(15, 2);
    list.Text("Hips", 256).U32(1, -1).F32(0.F, 0.F, 1.F, 0.F, 0.F, 0.F, 1.F);
    list.Text("Spine", 256).U32(2, 1).F32(0.F, 0.F, 0.5F, 0.F, 0.F, 0.F, 1.F);
    return list.U32(3).Put(Plate()).bytes;
}

struct Shown {
    int number;
    std::vector<std::array<float, 3>> markers = {};
    std::optional<int> identifier = {}; // of a labelled marker
    std::vector<float> plate = {0.F, 0.F, 0.F, 0.F, 0.F, 0.F};
    float degrees = 0;   // that the figure has turned
    int axis = 2;        // about which it has
    float stretched = 0; // by which the second bone is off its offset, upwards, metres
    bool hasSkeleton = true;

    std::string Packet() const {
        Body body;
        body.U32(number, 1).Text("Ann", 256).U32(markers.size());
        for (const auto& [x, y, z] : markers) body.F32(x, y, z);
        body.U32(0, 0, hasSkeleton ? 1 : 0);
        if (hasSkeleton) {
            body.U32(15, 2);
            PutBone(body, 1, {0.F, 0.F, 0.F});
            PutBone(body, 2, Turned({0.F, 0.F, 0.5F + stretched}));
        }
        body.U32(identifier ? 1 : 0);
        if (identifier) body.U32(*identifier).F32(1.F, 2.F, 3.F, 0.01F).U32(-1);
        body.U32(plate.size());
        for (const float value : plate) body.F32(value);
        return FramePacket(body.Fill(22).bytes);
    }

private:
    // About x or z.
    std::array<float, 3> Turned(const std::array<float, 3>& v) const {
        const float angle = degrees / 180 * std::acos(-1.F);
        const std::size_t from = axis == 2 ? 0 : 1;
        std::array<float, 3> turned = v;
        turned[from] = std::cos(angle) * v[from] - std::sin(angle) * v[from + 1];
        turned[from + 1] = std::sin(angle) * v[from] + std::cos(angle) * v[from + 1];
        return turned;
    }
    void PutBone(Body& body, int id, const std::array<float, 3>& from) const {
        const float half = degrees / 360 * std::acos(-1.F);
        body.U32(id).F32(from[0] + 0.01F * static_cast<float>(number), from[1], from[2] + 1);
        for (int i = 0; i < 3; ++i) body.F32(i == axis ? std::sin(half) : 0.F);
        body.F32(std::cos(half)).U32(0).F32(0.F).U16(1);
    }
};

// The frames at 100 Hz, one in each hundredth of a second; where there is none, it passes without.
std::string Recorded(const std::string& name, const std::vector<std::optional<Shown>>& frames) {
    std::vector<std::string> packets{AnswerPacket(102, SimulatedServer(100)), AnswerPacket(101, Descriptions())};
    for (const auto& frame : frames) packets.push_back(frame ? frame->Packet() : Packet(6));
    return TemporaryFile(name + ".pcap", Capture(228, packets, 100));
}

// The folder with what came of it.
std::string Exported(const std::string& recording, const std::string& options) {
    static int exports = 0;
    std::string folder = Path("time" + std::to_string(++exports));
    Output("export " + recording + " --format " + options + " -o " + folder, 0);
    return folder;
}

// The numbers behind the hierarchy, as many in each frame as it has channels.
std::vector<std::vector<double>> Channels(const std::string& path) {
    std::ifstream file(path);
    std::size_t channels = 0;
    std::string word;
    while (file >> word && word != "MOTION") {
        std::size_t more = 0;
        if (word == "CHANNELS" && file >> more) channels += more;
    }
    std::size_t frames = 0;
    double frameTime = 0;
    file >> word >> frames >> word >> word >> frameTime >> std::ws;
    EXPECT_NEAR(frameTime, 0.01, 1e-9);
    std::vector<std::vector<double>> rows;
    for (std::string line; std::getline(file, line);) {
        std::istringstream numbers(line);
        rows.emplace_back(std::istream_iterator<double>(numbers), std::istream_iterator<double>());
        EXPECT_EQ(rows.back().size(), channels);
    }
    EXPECT_EQ(rows.size(), frames);
    return rows;
}

std::vector<double> Column(const std::vector<std::vector<double>>& rows, std::size_t column) {
    std::vector<double> values;
    values.reserve(rows.size());
    for (const auto& row : rows) values.push_back(row.at(column));
    return values;
}

// Two are lost and one comes late and one twice, then the numbers begin anew, and jump.
const std::vector<std::optional<Shown>>& Disorder() {
    static const std::array<float, 3> here{1.F, 2.F, 3.F};
    static const std::vector<float> loaded{1.F, 2.F, 4.F, 4.F, 8.F, 10.F};
    static const std::vector<std::optional<Shown>> frames{
        Shown{10, {here, here}},
        Shown{11, {here, {1.F, kNone, 3.F}}, 7, loaded},
        Shown{12, {here}, 7, loaded},
        Shown{12, {here}, 7, loaded},
        Shown{14, {here, here}, {}, {1.F, 2.F, 4.F, 4.F, 8.F}}, // too few for the plate
        Shown{13, {here, here}, {}, loaded},
        std::nullopt,
        Shown{17, {here, here}, {}, loaded},
        Shown{18, {here, here}, {}, loaded, 0, 2, 0, false},
        Shown{1, {here, here}, {}, loaded},
        Shown{2, {here, here}, {}, loaded},
        Shown{5000, {here, here}, {}, loaded}};
    return frames;
}

} // namespace

TEST(TimeLine, EveryFrameTimeHasItsRow) {
    const std::string recording = Recorded("disorder", Disorder());
    const std::string folder = Exported(recording, "opensim");
    const OpenSim::Table trc = OpenSim::ReadTrc(folder + "/disorder.trc");
    ASSERT_EQ(trc.rows.size(), 12);
    std::string there[3]; // of each marker, a letter for each row
    for (std::size_t row = 0; row < 12; ++row)
        for (std::size_t i = 0; i < 3; ++i) {
            const std::string label = i < 2 ? "Ann_" + std::to_string(i + 1) : "Marker7";
            const bool isThere = !std::isnan(trc.At(row, label));
            there[i] += isThere ? 'x' : '-';
            for (const std::size_t behind : {1UL, 2UL})
                EXPECT_EQ(std::isnan(trc.At(row, label, behind)), !isThere) << "in part";
        }
    EXPECT_THAT(there, ElementsAre("xxxxx--xxxxx", "x--xx--xxxxx", "-xx---------"));

    const OpenSim::Table mot = OpenSim::ReadMot(folder + "/disorder_grf.mot");
    EXPECT_THAT(mot.times,
                testing::Pointwise(testing::DoubleNear(1e-9), {0., .01, .02, .03, .07, .08, .09, .1, .11}));
    EXPECT_THAT(mot.rows[0], ElementsAre(0, 0, 0, 10, 30, -20, 0, 0, 0)) << "unloaded";
    for (std::size_t row = 1; row < mot.rows.size(); ++row)
        EXPECT_THAT(mot.rows[row], ElementsAre(1, 4, -2, -1990, 30, -1020, 0, 15000, 0));

    const auto pose = Channels(Exported(recording, "bvh") + "/Ann.bvh");
    EXPECT_THAT(Column(pose, 0),
                testing::Pointwise(testing::DoubleNear(1e-3), {10, 11, 12, 13, 14, 14, 14, 17, 17, 1, 2, 5000}));
}

TEST(TimeLine, APartBeginsAtZero) {
    const std::string recording = Recorded("part", Disorder());
    for (const char* const part : {" --from 0.02s --to 0.07s", " --from 12 --to 17"}) {
        SCOPED_TRACE(part);
        const std::string folder = Exported(recording, "opensim" + std::string(part));
        const OpenSim::Table trc = OpenSim::ReadTrc(folder + "/part.trc");
        EXPECT_EQ(trc.rows.size(), 6);
        const OpenSim::Table mot = OpenSim::ReadMot(folder + "/part_grf.mot");
        EXPECT_THAT(mot.times, testing::Pointwise(testing::DoubleNear(1e-9), {0., .01, .05}));
        EXPECT_EQ(mot.At(0, "ground_force_1_vy"), 4) << "less what the recording's first frame reads";
    }
    const std::string folder = Exported(recording, "opensim --unloaded 10-12"); // 4 N in three of four
    const OpenSim::Table mot = OpenSim::ReadMot(folder + "/part_grf.mot");
    EXPECT_NEAR(mot.At(4, "ground_force_1_vy"), 1, 1e-5);
}

TEST(TimeLine, AnglesGoOnAndBonesMayStretch) {
    constexpr int kTurns = 80; // ten degrees each
    for (const int axis : {0, 2}) {
        std::vector<std::optional<Shown>> frames;
        std::vector<double> angles;
        for (int i = 0; i < kTurns; ++i) {
            frames.push_back(Shown{.number = i + 1, .degrees = 10.F * static_cast<float>(i), .axis = axis});
            angles.push_back(10 * i);
        }
        const std::string turning = Recorded("turning", frames);
        const auto rows = Channels(Exported(turning, "bvh") + "/Ann.bvh");
        ASSERT_EQ(rows[0].size(), 9);
        // Up is z in the volume and y in the file.
        const std::size_t turned = axis == 2 ? 5 : 4;
        EXPECT_THAT(Column(rows, turned), testing::Pointwise(testing::DoubleNear(0.01), angles));
        for (const std::size_t other : {3UL, 9 - turned, 6UL, 7UL, 8UL})
            EXPECT_THAT(Column(rows, other), Each(testing::DoubleNear(0, 0.01))) << other;

        frames[40]->stretched = 0.02F;
        const std::string stretching = Recorded("stretching", frames);
        const auto stretched = Channels(Exported(stretching, "bvh") + "/Ann.bvh");
        ASSERT_EQ(stretched[0].size(), 12);
        for (std::size_t i = 0; i < kTurns; ++i)
            EXPECT_NEAR(stretched[i][7], i == 40 ? 52 : 50, 1e-3) << "upwards, in the parent's axes";
    }
}

TEST(TimeLine, AllFramesOfALongTakeAreThere) {
    constexpr int kFrames = static_cast<int>(kLongTake);
    std::vector<std::optional<Shown>> frames;
    frames.reserve(kFrames);
    for (int i = 0; i < kFrames; ++i)
        frames.push_back(Shown{
            i + 1, {{static_cast<float>(i), 2.F, 3.F}}, {}, {0.F, 0.F, i % 2 == 0 ? 0.F : 1.F, 0.F, 0.F, 0.F}});
    const std::string folder = Exported(Recorded("long", frames), "opensim");
    const OpenSim::Table trc = OpenSim::ReadTrc(folder + "/long.trc");
    const OpenSim::Table mot = OpenSim::ReadMot(folder + "/long_grf.mot");
    ASSERT_EQ(trc.rows.size(), kFrames);
    ASSERT_EQ(mot.rows.size(), kFrames);
    for (std::size_t i = 0; i < kFrames; ++i) {
        ASSERT_NEAR(trc.times[i], 0.01 * static_cast<double>(i), 1e-6);
        ASSERT_NEAR(mot.times[i], 0.01 * static_cast<double>(i), 1e-6);
        ASSERT_EQ(trc.rows[i][0], 1000. * static_cast<double>(i));
        ASSERT_EQ(mot.rows[i][1], static_cast<double>(i % 2));
    }
}

TEST(TimeLine, FourHundredMarkersHaveLabelsOfTheirOwn) {
    Body frame;
    frame.U32(1, 2);
    for (const std::string name : {"a b", "a_b"}) {
        frame.Text(name, 256).U32(200);
        for (int i = 0; i < 200; ++i) frame.F32(static_cast<float>(i + 1), name == "a b" ? 0.F : 1.F, 3.F);
    }
    std::vector<std::string> packets{AnswerPacket(102, SimulatedServer(100)), AnswerPacket(101, Descriptions())};
    packets.push_back(FramePacket(frame.U32(0, 0, 0, 0, 0).Fill(22).bytes));
    const std::string recording = TemporaryFile("wide.pcap", Capture(228, packets, 100));
    const OpenSim::Table trc = OpenSim::ReadTrc(Exported(recording, "opensim") + "/wide.trc");
    ASSERT_EQ(trc.columns.size(), 400);
    for (int i = 1; i <= 200; ++i)
        for (const int set : {0, 1}) {
            const std::string label = "a_b_" + std::to_string(i) + (set == 1 ? "_2" : "");
            ASSERT_EQ(trc.At(0, label), 1000 * i);
            ASSERT_EQ(trc.At(0, label, 2), set == 1 ? -1000 : 0);
        }
}
