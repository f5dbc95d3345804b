// The walking figure and its force plates against the mechanics.
#include <gtest/gtest.h>

#include <cmath>

#include "client/ForcePlateModel.h"
#include "motion/Gait.h"
#include "motion/WalkingFigure.h"
#include "simulate/ForcePlateRig.h"
#include "watch/StreamStatistics.h"

// A body that walks on keeps its height, so the ground carries its weight on the average.
TEST(Walk, TheGroundCarriesTheWeight) {
    double sum = 0;
    constexpr int kSamples = 20000;
    for (int i = 0; i < kSamples; ++i)
        for (const GroundContact& contact : Gait::ContactsAt(Gait::kRoundSeconds * i / kSamples))
            sum += static_cast<double>(contact.force.z);
    EXPECT_NEAR(sum / kSamples, Gait::kBodyWeight, 1);
}

TEST(Walk, LimbsKeepTheirLengthAndNothingJumps) {
    const WalkingFigure figure;
    constexpr double kStep = 1.0 / 240;
    constexpr float kFastest = 6; // metres a second: a swinging toe
    std::vector<JointPose> before = figure.PoseAt(0);
    const auto length = [&](const std::vector<JointPose>& poses, std::size_t joint) {
        return (poses[joint].position - poses[static_cast<std::size_t>(figure.Joints()[joint].parent)].position)
            .Length();
    };
    for (double time = kStep; time < 2 * Gait::kRoundSeconds; time += kStep) {
        const std::vector<JointPose> poses = figure.PoseAt(time);
        for (std::size_t joint = 0; joint < poses.size(); ++joint) {
            SCOPED_TRACE(figure.Joints()[joint].name + " at " + std::to_string(time));
            ASSERT_LT((poses[joint].position - before[joint].position).Length(), kFastest * kStep);
            if (joint == 0) continue;
            ASSERT_NEAR(length(poses, joint), length(before, joint), 0.002);
        }
        before = poses;
    }
}

// What the plates' channels say through the library's model is what the walk did to the ground.
TEST(Walk, ThePlatesMeasureTheSteps) {
    const ForcePlateRig rig({PlateLayout::kEight, PlateLayout::kSix});
    std::vector<float> unloaded;
    rig.AppendChannels({}, unloaded);
    std::array<int, 2> loaded{};
    for (double time = 0; time < Gait::kRoundSeconds; time += 0.01) {
        for (const GroundContact& contact : Gait::ContactsAt(time)) {
            std::vector<float> channels;
            rig.AppendChannels({contact}, channels);
            for (std::size_t i = 0, first = 0; i < 2; ++i) {
                const sForcePlateInfo& plate = rig.Plates()[i];
                const std::size_t count = ForcePlateModel::ChannelCount(plate.channelLayout);
                const auto sample = ForcePlateModel::Compute(plate, std::span(channels).subspan(first, count),
                                                             std::span(unloaded).first(8));
                first += count;
                if (std::abs(sample.force[2]) < 20) continue;
                ++loaded[i];
                ASSERT_NEAR(sample.force[0], contact.force.x, 0.05) << time;
                ASSERT_NEAR(sample.force[2], contact.force.z, 0.05) << time;
                ASSERT_NEAR(sample.centerOfPressure[0], contact.point.x, 0.001) << time;
                ASSERT_NEAR(sample.centerOfPressure[1], contact.point.y, 0.001) << time;
                ASSERT_NEAR(sample.freeMoment, contact.freeMoment, 0.05) << time;
            }
        }
    }
    EXPECT_GT(loaded[0], 55); // of the 67 samples of a stance
    EXPECT_GT(loaded[1], 55);
}

TEST(Walk, TheStrongestForceOfEachPlateStays) {
    StreamStatistics statistics;
    const float steps[][3] = {{0, 0, 100}, {0, -600, 800}, {0, 0, 300}};
    for (const auto& force : steps) {
        sForcePlates plates{};
        plates.plateCount = 2;
        std::copy(std::begin(force), std::end(force), plates.plates[1].force);
        StreamStatistics::OnForcePlates(&plates, &statistics);
    }
    EXPECT_FLOAT_EQ(statistics.State().peakForce[0], 0);
    EXPECT_FLOAT_EQ(statistics.State().peakForce[1], 1000);
}
