// Which channels the force plates take, what they refuse, and their limits. Known loads go through the stream: see
// the end-to-end tests.
#include <gtest/gtest.h>

#include <cstdlib>

#include "ForcePlateStatics.h"
#include "client/ForcePlateMananger.h"

using Statics::LoadedPlate;

namespace {

const std::vector<float> kUnloaded{0.5F, -0.25F, 2.0F, 1.0F, -1.5F, 0.75F, 3.0F, -2.0F};

// Hands the plates over as a server's descriptions, between others that are none.
int Init(std::vector<sForcePlateInfo>& plates) {
    sRigidBodyInfo body{};
    sDataDescriptions list{};
    list.descriptions[list.descriptionCount++] = {DescRigidBody, &body};
    for (sForcePlateInfo& plate : plates) {
        list.descriptions[list.descriptionCount++] = {DescForcePlate, &plate};
        list.descriptions[list.descriptionCount++] = {99, nullptr};
    }
    return ForcePlateMananger::Instance().InitPlateManager(&list);
}

sFrameOfMocapData* NewFrame(const std::vector<float>& analog) {
    static sFrameOfMocapData frame;
    frame.analogCount = static_cast<int>(analog.size());
    std::copy(analog.begin(), analog.end(), frame.analogValues);
    return &frame;
}

std::vector<float> Analog(const sFrameOfMocapData& frame) {
    return {frame.analogValues, frame.analogValues + frame.analogCount};
}

int Compute(sFrameOfMocapData* frame, sForcePlates& out) {
    return ForcePlateMananger::Instance().GetSForcePlates(frame, &out);
}

// The baseline is taken once in a process: by the first plate computed, here an unloaded eight-channel one.
void CaptureBaseline() {
    static const bool captured = [] {
        sForcePlateInfo plate{};
        plate.channelLayout = 3;
        std::vector<sForcePlateInfo> plates{plate};
        sForcePlates out;
        return Init(plates) == 0 && Compute(NewFrame(kUnloaded), out) == 0;
    }();
    ASSERT_TRUE(captured);
}

} // namespace

TEST(ForcePlate, TakesOnlyTheChannelsOfPlatesThatFit) {
    CaptureBaseline();
    sForcePlateInfo six{};
    six.channelLayout = 4;
    sForcePlateInfo eight{};
    eight.channelLayout = 3;
    struct Row {
        const char* what;
        std::vector<sForcePlateInfo> plates;
        int channels;
        int result;
        int plateCount;
        int left;
    };
    for (const Row& row :
         {Row{"one of six, four others", {six}, 10, 0, 1, 4}, Row{"exactly one", {six}, 6, 0, 1, 0},
          Row{"the second does not fit", {six, six}, 10, 0, 1, 4},
          Row{"the first does not fit, nor then the second", {eight, six}, 7, 0, 0, 7},
          Row{"five of six", {six, six, six, six, six, six}, 32, 0, 5, 2}, Row{"no channels", {six}, 0, 1, 0, 0},
          Row{"no plates", {}, 10, 1, 0, 10}}) {
        SCOPED_TRACE(row.what);
        std::vector<sForcePlateInfo> plates = row.plates;
        ASSERT_EQ(Init(plates), 0);
        EXPECT_EQ(ForcePlateMananger::Instance().isValid(), !plates.empty());
        std::vector<float> analog(static_cast<std::size_t>(row.channels));
        for (std::size_t k = 0; k < analog.size(); ++k) analog[k] = static_cast<float>(k + 1);
        sFrameOfMocapData* const frame = NewFrame(analog);
        sForcePlates out{};
        EXPECT_EQ(Compute(frame, out), row.result);
        EXPECT_EQ(out.plateCount, row.plateCount);
        EXPECT_EQ(Analog(*frame), std::vector<float>(analog.end() - row.left, analog.end()));
    }
}

TEST(ForcePlate, RefusesWhatItCannotUse) {
    CaptureBaseline();
    sForcePlateInfo six{};
    six.channelLayout = 4;
    std::vector<sForcePlateInfo> plates{six};
    ASSERT_EQ(Init(plates), 0);
    sForcePlates out;
    sFrameOfMocapData* const frame = NewFrame(std::vector<float>(32, 1.0F));
    EXPECT_EQ(ForcePlateMananger::Instance().GetSForcePlates(nullptr, &out), 1);
    EXPECT_EQ(ForcePlateMananger::Instance().GetSForcePlates(frame, nullptr), 1);
    for (const int count : {33, -1, 1 << 30}) {
        frame->analogCount = count;
        EXPECT_EQ(Compute(frame, out), 1) << count;
        EXPECT_EQ(frame->analogCount, count);
    }
    sDataDescriptions list{};
    for (const int count : {201, -1}) {
        list.descriptionCount = count;
        EXPECT_EQ(ForcePlateMananger::Instance().InitPlateManager(&list), 1) << count;
        EXPECT_TRUE(ForcePlateMananger::Instance().isValid()) << "the former plates are kept";
        EXPECT_EQ(Compute(NewFrame({1, 2, 3, 4, 5, 6}), out), 1) << "but not computed";
    }
    EXPECT_EQ(ForcePlateMananger::Instance().InitPlateManager(nullptr), 1);
}

// The point of application of next to no load cannot be told: the plate's origin stands for it.
TEST(ForcePlate, AnUnloadedPlateActsAtItsOrigin) {
    CaptureBaseline();
    sForcePlateInfo plate{};
    plate.channelLayout = 4;
    plate.scaleFactor = -1;
    plate.origin[0] = 0.5F;
    plate.rotation[0][0] = plate.rotation[1][1] = plate.rotation[2][2] = 1;
    for (int k = 0; k < 8; ++k) plate.calibration[k][k] = 1;
    std::vector<sForcePlateInfo> plates{plate};
    ASSERT_EQ(Init(plates), 0);
    for (const float fz : {0.0F, 0.000001F, -0.000001F, 0.5F}) {
        std::vector<float> analog(kUnloaded.begin(), kUnloaded.begin() + 6);
        analog[4] += 0.001F; // a pitching moment of 1
        // The unloaded reading of the vertical channel is 2: a load this small is lost in it, so it is made 0.
        sForcePlateInfo exact = plate;
        exact.calibration[2][2] = fz;
        analog[2] = 3.0F;
        plates = {exact};
        ASSERT_EQ(Init(plates), 0);
        sForcePlates out;
        ASSERT_EQ(Compute(NewFrame(analog), out), 0);
        EXPECT_EQ(out.plates[0].force[2], fz);
        if (fz < 0.5F)
            EXPECT_EQ(out.plates[0].centerOfPressure[0], 0.5F) << fz;
        else
            EXPECT_NEAR(out.plates[0].centerOfPressure[0], 0.5F - 2.0F, 1e-2);
    }
}

// In a process of its own, since the baseline is taken only once: the first plate has six channels, so the
// seventh and eighth of a later plate have no unloaded reading.
TEST(ForcePlateDeathTest, ChannelsWithoutABaselineCountFromZero) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            sForcePlateInfo six{};
            six.channelLayout = 4;
            std::vector<sForcePlateInfo> plates{six};
            sForcePlates out;
            const std::vector<float> unloaded(kUnloaded.begin(), kUnloaded.begin() + 6);
            bool fine = Init(plates) == 0 && Compute(NewFrame(unloaded), out) == 0;
            std::mt19937 random(5);
            const LoadedPlate eight(3, random);
            plates = {eight.info};
            fine = fine && Init(plates) == 0 && Compute(NewFrame(eight.Channels(unloaded)), out) == 0;
            for (std::size_t i = 0; i < 3; ++i)
                fine = fine && std::abs(out.plates[0].centerOfPressure[i] - eight.CenterOfPressure()[i]) < 2e-5;
            std::_Exit(fine ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}
