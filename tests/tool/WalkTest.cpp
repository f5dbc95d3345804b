// The walking figure and its force plates against the mechanics, and a recorded motion against its file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>

#include "AppDataModel.h"
#include "OwnedDescriptions.h"
#include "UsageError.h"
#include "client/ForcePlateModel.h"
#include "motion/Gait.h"
#include "motion/MotionFile.h"
#include "motion/WalkingFigure.h"
#include "simulate/DescriptionBody.h"
#include "simulate/ForcePlateRig.h"
#include "simulate/ServerRecords.h"
#include "watch/StreamStatistics.h"

namespace {

// Two bones on a root, each with an offset in every direction, that turn: the root so slowly that its keys are
// hardly apart; y up. The root's x is the frame's number.
std::unique_ptr<MotionFile> ThreeBones(int frames, const char* frameTime, double scale) {
    const std::string path = testing::TempDir() + "three-bones-" + std::to_string(getpid()) + ".bvh";
    std::ofstream file(path);
    file << "HIERARCHY\nROOT Hips\n{\n OFFSET 0 0 0\n"
            " CHANNELS 6 Xposition Yposition Zposition Zrotation Yrotation Xrotation\n"
            " JOINT Chest\n {\n  OFFSET 1 8 -2\n  CHANNELS 3 Zrotation Yrotation Xrotation\n"
            "  JOINT Head\n  {\n   OFFSET -3 5 4\n   CHANNELS 3 Zrotation Yrotation Xrotation\n"
            "   End Site\n   {\n    OFFSET 0 1 0\n   }\n  }\n }\n}\nMOTION\nFrames: "
         << frames << "\nFrame Time: " << frameTime << '\n';
    for (int i = 0; i < frames; ++i)
        file << i << " 20 -30 " << 90 - i << ' ' << i << " 25 " << 11 * i << " -40 0 " << -5 * i << " 0 0\n";
    file.close();
    auto motion = std::make_unique<MotionFile>(path, UpAxis::kY, scale);
    std::remove(path.c_str());
    return motion;
}

using Bones = std::vector<RigidBodyRecord>;

// Of each skeleton that the server of these frames describes.
std::vector<Bones> DescribedBones(FrameComposer& composer) {
    const DescriptionBody body = DescribeStream(composer);
    sDataDescriptions* list = nullptr;
    int length = 0;
    EXPECT_EQ(CAppDataModel().DecodeDescription(body.bytes.data(), length, list), 0);
    const OwnedDescriptions owned(list);
    std::vector<Bones> skeletons;
    for (int i = 0; i < list->descriptionCount; ++i) {
        if (list->descriptions[i].type != DescSkeleton) continue;
        const auto& info = *static_cast<const sSkeletonInfo*>(list->descriptions[i].data);
        Bones& bones = skeletons.emplace_back();
        for (int k = 0; k < info.rigidBodyCount; ++k)
            bones.push_back(std::bit_cast<RigidBodyRecord>(info.rigidBodies[k]));
    }
    return skeletons;
}

aiVector3D Vector(const float (&v)[3]) { return {v[0], v[1], v[2]}; }

// How far a bone is at most from where its parent and its description have it.
float FarthestFromOffset(const Bones& bones, const sSkeletonSample& skeleton) {
    float farthest = 0;
    for (std::size_t k = 0; k < bones.size(); ++k) {
        if (bones[k].parentId < 0) continue;
        const sRigidBodySample& parent = skeleton.rigidBodies[bones[k].parentId - 1];
        const auto& [x, y, z, w] = parent.orientation;
        const aiVector3D expected =
            Vector(parent.position) + aiQuaternion(w, x, y, z).Rotate(Vector(bones[k].offset));
        farthest = std::max(farthest, (Vector(skeleton.rigidBodies[k].position) - expected).Length());
    }
    return farthest;
}

} // namespace

TEST(Walk, ABoneIsAtItsOffsetInTheAxesOfItsParent) {
    const WalkingFigure figure;
    const auto file = ThreeBones(40, "0.01", 0.05);
    const ForcePlateRig none({});
    for (const Motion* motion : {static_cast<const Motion*>(&figure), static_cast<const Motion*>(file.get())}) {
        SCOPED_TRACE(motion->Summary());
        FrameComposer composer(*motion, none, {.skeletons = 2});
        const std::vector<Bones> described = DescribedBones(composer);
        ASSERT_EQ(described.size(), 2);
        for (double time = 0; time < 2.5 * Gait::kRoundSeconds; time += 1.0 / 240) {
            const sFrameOfMocapData& frame = composer.ComposeAt(1, time);
            for (std::size_t i = 0; i < 2; ++i)
                ASSERT_LT(FarthestFromOffset(described[i], frame.skeletons[i]), 5e-6F) << time;
        }
    }
}

// A body that walks on keeps its height, so the ground carries its weight on the average.
TEST(Walk, TheGroundCarriesTheWeight) {
    double sum = 0;
    constexpr int kSamples = 20000;
    for (int i = 0; i < kSamples; ++i)
        for (const GroundContact& contact : Gait::ContactsAt(Gait::kRoundSeconds * i / kSamples))
            sum += static_cast<double>(contact.force.z);
    EXPECT_NEAR(sum / kSamples, Gait::kBodyWeight, 1);
}

TEST(Walk, ARecordingIsDescribedInItsRestPose) {
    const auto file = ThreeBones(2, "0.01", 0.05);
    const ForcePlateRig none({});
    FrameComposer composer(*file, none, {.skeletons = 2});
    const std::vector<Bones> described = DescribedBones(composer);
    for (std::size_t i = 0; i < 2; ++i) {
        const aiVector3D offsets[] = {
            {6 * static_cast<float>(i), 0, 0}, {0.05F, 0.4F, -0.1F}, {-0.15F, 0.25F, 0.2F}};
        for (std::size_t k = 0; k < 3; ++k) {
            EXPECT_LT((Vector(described[i][k].offset) - offsets[k]).Length(), 1e-6F) << i << k;
            const auto& [x, y, z, w] = described[i][k].orientation; // a quarter turn about x, from y up to z up
            EXPECT_NEAR(x * w, 0.5, 1e-6);
            EXPECT_NEAR(x * x + w * w, 1, 1e-6);
        }
    }
}

TEST(Walk, NothingJumps) {
    const WalkingFigure figure;
    constexpr double kStep = 1.0 / 240;
    constexpr float kFastest = 6; // metres a second: a swinging toe
    std::vector<JointPose> before = figure.PoseAt(0);
    for (double time = kStep; time < 2 * Gait::kRoundSeconds; time += kStep) {
        const std::vector<JointPose> poses = figure.PoseAt(time);
        for (std::size_t joint = 0; joint < poses.size(); ++joint)
            ASSERT_LT((poses[joint].position - before[joint].position).Length(), kFastest * kStep)
                << figure.Joints()[joint].name << " at " << time;
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

TEST(Walk, ARecordingWithoutALengthIsRefused) {
    for (const auto& [frames, frameTime] : {std::pair(1, "0.01"), std::pair(3, "0")})
        EXPECT_THROW(ThreeBones(frames, frameTime, 1), UsageError) << frameTime;
}

// Frame for frame at the rate that the file's rounded frame time stands for, and anew from the file's first frame.
TEST(Walk, EveryPassOfARecordingIsTheRecording) {
    constexpr int kFrames = 43;
    const struct {
        const char* frameTime;
        double rate;
    } rows[] = {{".0083333", 120},  {"0.008333", 120},           {"0.0333333", 30},
                {"0.0416667", 24},  {"0.041708", 24000 / 1001.}, {"0.0166833", 60000 / 1001.},
                {"0.0128", 78.125}, {"0.00512", 195.3125}};
    for (const auto& [frameTime, rate] : rows) {
        SCOPED_TRACE(frameTime);
        const auto file = ThreeBones(kFrames, frameTime, 1);
        std::vector<std::vector<JointPose>> first;
        for (int i = 0; i < 40 * kFrames; ++i) {
            const std::vector<JointPose> poses = file->PoseAt(i / rate);
            if (i < kFrames) first.push_back(poses);
            const std::vector<JointPose>& expected = first[static_cast<std::size_t>(i % kFrames)];
            ASSERT_EQ(poses[0].position.x, static_cast<float>(i % kFrames)) << i;
            for (std::size_t k = 0; k < poses.size(); ++k) {
                ASSERT_EQ(poses[k].position, expected[k].position) << i;
                ASSERT_EQ(poses[k].orientation, expected[k].orientation) << i;
            }
        }
    }
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
