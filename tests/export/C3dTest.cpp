// Points, channels, force platforms and events, as a reader has them that shares nothing with the writer.
#include <limits>

#include "C3dReader.h"
#include "LongTake.h"
#include "Walk.h"
#include "support/CaptureFiles.h"

using testing::ElementsAre;
using testing::Pair;

namespace {

// A frame with labelled markers, each at a place of its number, and a timecode of zeros.
Bytes Marked(int number, const std::vector<int>& ids, float x = 0) {
    Body frame;
    frame.U32(number, 0, 0, 0, 0, ids.size());
    for (const int id : ids)
        frame.U32(id).F32(x, static_cast<float>(id), static_cast<float>(number), 0.01F).U32(-1);
    return frame.U32(0).Fill(22).bytes;
}

C3d::File Exported(const std::string& name, const std::vector<Bytes>& frames, std::size_t rate = 100) {
    std::vector<std::string> packets{AnswerPacket(102, SimulatedServer(static_cast<float>(rate)))};
    for (const Bytes& frame : frames) packets.push_back(FramePacket(frame));
    const std::string path = TemporaryFile(name + ".pcap", Capture(228, packets, rate));
    Output("export " + path + " --force --format c3d -o " + Path(name), 0);
    return C3d::File(Path(name + "/" + name + ".c3d"));
}

// By frame: 1 where the point is there.
std::string Presence(const C3d::File& file, std::size_t point) {
    std::string text;
    for (std::size_t i = 0; i < file.Frames(); ++i) text += file.Point(i, point) ? '1' : '0';
    return text;
}

std::size_t IndexOf(const std::vector<std::string>& labels, const std::string& label) {
    return static_cast<std::size_t>(std::find(labels.begin(), labels.end(), label) - labels.begin());
}

} // namespace

TEST(C3d, PointsAreThoseOfTheStream) {
    const Walk& walk = Walk::Recorded();
    const C3d::File file(walk.Export("--format c3d") + "/walk.c3d");
    EXPECT_EQ(file.Rate(), 100);
    EXPECT_EQ(file.Get("POINT:UNITS").texts.at(0), "mm");
    const auto labels = file.Labels("POINT:LABELS");
    std::vector<bool> isThere(file.Frames());
    for (const nlohmann::json& frame : walk.frames) {
        const auto at = static_cast<std::size_t>(std::lround(double(frame["time_s"]) * Walk::kRate));
        isThere.at(at) = true;
        for (const nlohmann::json& marker : frame["markers"]) {
            if (marker["marker_set"] == "") continue; // without a label
            const auto point = file.Point(at, IndexOf(labels, "Figure1:" + std::string(marker["marker"])));
            ASSERT_TRUE(point);
            EXPECT_NEAR(point->at(0), 1000 * double(marker["position_x_m"]), 1e-3);
            EXPECT_NEAR(point->at(1), 1000 * double(marker["position_y_m"]), 1e-3);
            EXPECT_NEAR(point->at(2), 1000 * double(marker["position_z_m"]), 1e-3);
        }
    }
    const auto lost = static_cast<std::size_t>(std::count(isThere.begin(), isThere.end(), false));
    EXPECT_EQ(lost + walk.frames.size(), file.Frames());
    for (std::size_t i = 0; i < isThere.size(); ++i) EXPECT_EQ(file.Point(i, 0).has_value(), isThere[i]);
    ASSERT_FALSE(file.Events().empty());
    const auto [seconds, label] = file.Events().front();
    EXPECT_EQ(label, "Lost");
    EXPECT_EQ(std::lround(seconds * Walk::kRate),
              std::find(isThere.begin(), isThere.end(), false) - isThere.begin());
}

TEST(C3d, PlatformsMeasureWhatTheLibraryDoes) {
    const Walk& walk = Walk::Recorded();
    const C3d::File file(walk.Export("--format c3d") + "/walk.c3d");
    ASSERT_EQ(file.Platforms(), 2);
    EXPECT_THAT(file.Get("FORCE_PLATFORM:TYPE").numbers, ElementsAre(3, 4));
    int loaded[] = {0, 0};
    for (const nlohmann::json& frame : walk.frames) {
        const auto at = static_cast<std::size_t>(std::lround(double(frame["time_s"]) * Walk::kRate));
        for (const nlohmann::json& plate : frame["force_plates"]) {
            const std::size_t index = plate["plate_index"];
            const C3d::Wrench measured = file.Platform(at, index);
            EXPECT_NEAR(measured.force[0], plate["force_x_N"], 1);
            EXPECT_NEAR(measured.force[1], plate["force_y_N"], 1);
            EXPECT_NEAR(measured.force[2], plate["force_z_N"], 1);
            if (plate["force_z_N"] < 20) continue;
            ++loaded[index];
            EXPECT_NEAR(measured.point[0], 1000 * double(plate["center_of_pressure_x_m"]), 1);
            EXPECT_NEAR(measured.point[1], 1000 * double(plate["center_of_pressure_y_m"]), 1);
            EXPECT_NEAR(measured.point[2], 1000 * double(plate["center_of_pressure_z_m"]), 1);
            // About an axis that points down.
            EXPECT_NEAR(-measured.freeMoment, 1000 * double(plate["free_moment_Nm"]), 10);
        }
    }
    EXPECT_GT(loaded[0], 50) << "somebody walked over the plates";
    EXPECT_GT(loaded[1], 50);
    const auto labels = file.Labels("ANALOG:LABELS");
    EXPECT_EQ(labels.size(), 16);
    const nlohmann::json& last = walk.frames.back();
    EXPECT_NEAR(file.Analog(file.Frames() - 1, IndexOf(labels, "Analog2")), last["analog"][1]["value"], 1e-6);
}

TEST(C3d, EveryFrameTimeHasItsFrame) {
    const float none = std::numeric_limits<float>::quiet_NaN();
    // Two are lost, one comes late, one twice, then the numbers begin anew; one marker comes and goes, one is no
    // number once.
    const C3d::File file =
        Exported("disorder", {Marked(5, {1, 2}), Marked(8, {1}), Marked(10, {1, 2}), Marked(9, {1}),
                              Marked(10, {1, 2}), Marked(11, {1, 2}, none), Marked(1, {1, 2}), Marked(2, {2})});
    EXPECT_THAT(file.Labels("POINT:LABELS"), ElementsAre("Marker1", "Marker2"));
    EXPECT_EQ(Presence(file, 0), "100111010");
    EXPECT_EQ(Presence(file, 1), "100001011");
    EXPECT_EQ(file.Point(4, 0)->at(2), 9000);
    EXPECT_THAT(file.Events(), ElementsAre(Pair(testing::DoubleNear(0.01, 1e-6), "Lost"),
                                           Pair(testing::DoubleNear(0.07, 1e-6), "Restart")));
    EXPECT_EQ(file.Get("EVENT:DESCRIPTIONS").texts.at(0), "2 frames");
}

// Two sets of one name, and two labelled markers of one identifier.
TEST(C3d, WhatHasTheNameOfAnotherIsThereToo) {
    Body frame;
    frame.U32(1, 2)
        .Text("A", 256)
        .U32(1)
        .F32(1.F, 0.F, 0.F)
        .Text("A", 256)
        .U32(1)
        .F32(2.F, 0.F, 0.F)
        .U32(0, 0, 0, 2);
    for (const float x : {3.F, 4.F}) frame.U32(9).F32(x, 0.F, 0.F, 0.01F).U32(-1);
    const C3d::File file = Exported("twins", {frame.U32(0).Fill(22).bytes});
    EXPECT_THAT(file.Labels("POINT:LABELS"), ElementsAre("A:1", "A:1_2", "Marker9", "Marker9_2"));
    for (const std::size_t i : {0UL, 1UL, 2UL, 3UL})
        EXPECT_EQ(file.Point(0, i)->at(0), 1000.0 * static_cast<double>(i + 1));
}

TEST(C3d, LongTakesAndManyMarkersAreWhole) {
    std::vector<Bytes> frames;
    for (std::size_t i = 0; i < kLongTake; ++i)
        if (i % 250 != 100) frames.push_back(Marked(static_cast<int>(i), {7})); // the others are lost
    const C3d::File lengthy = Exported("long", frames, 1000);
    ASSERT_EQ(lengthy.Frames(), kLongTake);
    for (std::size_t i = 0; i < kLongTake; ++i) {
        const auto point = lengthy.Point(i, 0);
        ASSERT_EQ(point.has_value(), i % 250 != 100) << i;
        if (!point) continue;
        ASSERT_EQ(point->at(2), 1000 * static_cast<float>(i));
    }
    const auto events = lengthy.Events();
    ASSERT_EQ(events.size(), kLongTake / 250); // of a long take more than a list holds
    EXPECT_NEAR(events.back().first, static_cast<double>(kLongTake - 150) / 1000, 1e-4);

    std::vector<int> ids(400);
    for (std::size_t i = 0; i < ids.size(); ++i) ids[i] = static_cast<int>(i) + 1;
    const C3d::File wide = Exported("wide", {Marked(1, ids), Marked(2, ids)});
    const auto labels = wide.Labels("POINT:LABELS");
    ASSERT_EQ(labels.size(), 400);
    EXPECT_EQ(labels[399], "Marker400");
    EXPECT_EQ(wide.Get("POINT:LABELS").dimensions.at(1), 255);
    for (std::size_t i = 0; i < 400; ++i) EXPECT_EQ(wide.Point(1, i)->at(1), 1000.0 * static_cast<double>(i + 1));
}
