// Skeletons, as the programs of animators read them.
#include <assimp/scene.h>

#include <assimp/Importer.hpp>
#include <cmath>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <numbers>

#include "tool/ToolRun.h"

namespace {

using Vector = aiVector3t<double>;
using Transform = aiMatrix4x4t<double>;

// Places of a file's joints in each of its frames, in its own unit.
class Motion {
public:
    explicit Motion(const std::string& path) {
        m_scene = m_importer.ReadFile(path, 0);
        if (m_scene == nullptr || m_scene->mNumAnimations != 1)
            throw std::runtime_error(m_importer.GetErrorString());
        const aiAnimation& animation = *m_scene->mAnimations[0];
        for (unsigned int i = 0; i < animation.mNumChannels; ++i)
            m_channels[animation.mChannels[i]->mNodeName.C_Str()] = animation.mChannels[i];
        for (const auto& [name, channel] : m_channels) m_frames = std::max(m_frames, channel->mNumRotationKeys);
        rate = animation.mTicksPerSecond;
    }

    unsigned int Frames() const { return m_frames; }

    std::map<std::string, Vector> At(unsigned int frame) const {
        std::map<std::string, Vector> places;
        Place(*m_scene->mRootNode, {}, frame, places);
        return places;
    }

    double rate = 0;

private:
    void Place(const aiNode& node, const Transform& parent, unsigned int frame,
               std::map<std::string, Vector>& places) const {
        const aiMatrix4x4& rest = node.mTransformation;
        Vector position(rest.a4, rest.b4, rest.c4);
        aiQuaterniont<double> rotation;
        const auto channel = m_channels.find(node.mName.C_Str());
        if (channel != m_channels.end()) {
            const aiNodeAnim& keys = *channel->second;
            const aiQuaternion& q = keys.mRotationKeys[frame].mValue;
            rotation = {q.w, q.x, q.y, q.z};
            rotation.Normalize();
            const aiVector3D& p = keys.mPositionKeys[keys.mNumPositionKeys > 1 ? frame : 0].mValue;
            if (keys.mNumPositionKeys > 0) position = {p.x, p.y, p.z};
        }
        Transform own(rotation.GetMatrix());
        own.a4 = position.x;
        own.b4 = position.y;
        own.c4 = position.z;
        const Transform global = parent * own;
        if (channel != m_channels.end()) places[node.mName.C_Str()] = {global.a4, global.b4, global.c4};
        for (unsigned int i = 0; i < node.mNumChildren; ++i) Place(*node.mChildren[i], global, frame, places);
    }

    Assimp::Importer m_importer;
    const aiScene* m_scene = nullptr;
    std::map<std::string, const aiNodeAnim*> m_channels;
    unsigned int m_frames = 0;
};

// 40 frames of eight joints in centimetres, each of which turns in its own way.
std::string SmallMotion() {
    std::string text =
        "HIERARCHY\nROOT Hips\n{\nOFFSET 1 2 3\nCHANNELS 6 Xposition Yposition Zposition Zrotation Yrotation "
        "Xrotation\n";
    const auto joint = [&](const char* name, const char* offset) {
        text += std::string("JOINT ") + name + "\n{\nOFFSET " + offset +
                "\nCHANNELS 3 Zrotation Yrotation Xrotation\n";
    };
    const std::string end = "End Site\n{\nOFFSET 0 9 0\n}\n}\n";
    joint("Spine", "0 20 1.5");
    joint("Head", "0 45 -2");
    text += end;
    joint("LeftArm", "18 38 0");
    joint("LeftHand", "50 -3 4");
    text += end + "}\n}\n";
    joint("LeftLeg", "9 -5 0");
    joint("LeftFoot", "1 -42 0");
    joint("LeftToe", "0 -40 6");
    text += end + "}\n}\n}\nMOTION\nFrames: 40\nFrame Time: .0083333\n";
    for (int frame = 0; frame < 40; ++frame) {
        const double phase = 2 * std::numbers::pi * frame / 40;
        text += std::to_string(30 * std::sin(phase)) + " " + std::to_string(90 + 5 * std::cos(phase)) + " " +
                std::to_string(7.0 * frame);
        for (int i = 0; i < 24; ++i) text += " " + std::to_string(170 * std::sin(phase + i));
        text += "\n";
    }
    return TemporaryFile("small.bvh", text);
}

// How far the joints lie from their middle, together.
double Spread(const std::map<std::string, Vector>& places) {
    Vector middle;
    for (const auto& [name, place] : places) middle += place / static_cast<double>(places.size());
    double spread = 0;
    for (const auto& [name, place] : places) spread += (place - middle).Length();
    return spread;
}

// The largest distance of a joint in one file from the same one in the other, in millimetres, of three passes of
// `file` that were streamed, recorded and exported.
double LargestDistance(const std::string& file, const std::string& scale) {
    const std::string recording = Path("motion.pcap");
    const Motion streamed(file);
    const long rate = std::lround(streamed.rate);
    const unsigned int frames = 3 * streamed.Frames() + 5;
    {
        Server server("--rate " + std::to_string(rate) + " --motion " + file + scale);
        Output("record 127.0.0.1 --frames " + std::to_string(frames) + " -o " + recording, 0);
    }
    Output("export " + recording + " --format bvh --force -o " + Path("motion"), 0);
    const nlohmann::json info = nlohmann::json::parse(Output("info " + recording + " --json", 0));
    const unsigned int first = info["recording"]["first_frame_number"];
    const Motion exported(Path("motion/Figure1.bvh"));
    EXPECT_EQ(exported.Frames(), frames);
    EXPECT_NEAR(exported.rate, static_cast<double>(rate), 1e-3);
    const auto truthOf = [&](unsigned int frame) { return streamed.At((first - 1 + frame) % streamed.Frames()); };
    const double unit = scale.empty() ? Spread(exported.At(0)) / Spread(truthOf(0)) : 1; // a guessed one
    double largest = 0;
    for (unsigned int i = 0; i < exported.Frames(); ++i) {
        const auto places = exported.At(i);
        const auto truth = truthOf(i);
        EXPECT_EQ(places.size(), truth.size());
        for (const auto& [name, place] : truth)
            largest = std::max(largest, 10 * (places.at(name) - place * unit).Length());
    }
    return largest;
}

} // namespace

TEST(Bvh, EveryFrameOfEveryPassIsThatOfTheStreamedFile) {
    EXPECT_LT(LargestDistance(SmallMotion(), " --scale 0.01"), 0.1);
}

// With the path of a motion in VELMAR_MOTION: of 500 frames at 120 Hz or so, whose passes a run has time for.
TEST(Bvh, AMotionOfOnesOwnComesBack) {
    const char* const path = std::getenv("VELMAR_MOTION"); // NOLINT(concurrency-mt-unsafe): no other thread runs
    if (path == nullptr) GTEST_SKIP() << "no motion is named";
    const double largest = LargestDistance(path, "");
    RecordProperty("largest_mm", std::to_string(largest));
    EXPECT_LT(largest, 0.1);
}
