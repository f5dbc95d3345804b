// Writes what the fuzzers start from: one folder for each target, below the folder that is named.
#include <fmt/format.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <string>

#include "AppDataModel.h"
#include "fuzz/RecordingStory.h"
#include "motion/WalkingFigure.h"
#include "simulate/DescriptionBody.h"
#include "wire/Messages.h"

namespace {

using Blob = std::vector<unsigned char>;

void Write(const std::filesystem::path& folder, const std::string& name, const Blob& bytes) {
    std::filesystem::create_directories(folder);
    std::ofstream(folder / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// A message's datagrams as the dispatch target reads them.
void Append(Blob& sequence, int type, const Blob& message) {
    CutMessage(type, 2, message, [&](Bytes datagram) {
        const auto size = static_cast<std::uint16_t>(datagram.size());
        sequence.insert(sequence.end(),
                        {static_cast<unsigned char>(size), static_cast<unsigned char>(size >> 8), 0});
        sequence.insert(sequence.end(), datagram.begin(), datagram.end());
        return true;
    });
}

// A recording as the recording target is told it.
struct Story {
    Story& Say(std::initializer_list<int> steps) {
        for (const int step : steps) bytes.push_back(static_cast<unsigned char>(step));
        return *this;
    }
    Story& Text(const std::string& text) {
        Say({static_cast<int>(text.size())});
        bytes.insert(bytes.end(), text.begin(), text.end());
        return *this;
    }
    template <typename T>
    Story& Value(T value) {
        const auto* const first = reinterpret_cast<const unsigned char*>(&value);
        bytes.insert(bytes.end(), first, first + sizeof value);
        return *this;
    }

    Blob bytes;
};

enum Parts { kPart = 1, kServer = 2, kDescribed = 4, kFaults = 8, kLeaps = 16, kParts = 32 };

// Of these parts; `known` is the description list that the frames belong to.
Story MakeRecording(int format, int parts, int known) {
    Story story;
    story.Say({1 << format});
    if ((parts & kPart) != 0)
        story.Say({15}).Text("11").Text("0.5s").Text("9-20").Value(99.0);
    else
        story.Say({0}).Value(0.0);
    using S = RecordingStory;
    if ((parts & kServer) != 0) story.Say({S::kServer}).Value((parts & kLeaps) != 0 ? 1e5F : 120.0F);
    if ((parts & kDescribed) != 0) story.Say({S::kKnown, known, S::kSend, PackageType_DataDescriptions});
    story.Say({S::kKnown, known + 1, S::kNumber}).Value(9).Say({S::kRun, 5});
    story.Say({S::kKnown, known + 2, S::kNumber}).Value(15).Say({S::kRun, 3});
    if ((parts & kLeaps) != 0) // with time enough for millions of frames each
        for (int i = 1; i < 5; ++i) story.Say({S::kTime, 5, S::kNumber}).Value(2'900'000 * i);
    if ((parts & kFaults) == 0) return story;
    // Lost, late and repeated ones, other bodies under the same number, numbers that begin anew, a body that is
    // cut.
    story.Say({S::kAgain, 4, S::kAgain, -2, S::kAgain, 0, S::kAgain, 9, S::kTime, 4, S::kAgain, 100, S::kTime, 1});
    story.Say({S::kKnown, 1, S::kNumber}).Value(18).Say({S::kKnown, 5, S::kNumber}).Value(18);
    story.Say({S::kPatch, 8, 0, 4, 0xFF, ',', '"', '\n', S::kRun, 2, S::kPatch, 8, 1, 4, 0xFF, 0xFF, 0x7F, 0x7F});
    story.Say({S::kNumber}).Value(-5).Say({S::kRun, 7, S::kNumber}).Value(0x7FFFFFFF).Say({S::kRun, 2});
    story.Say({S::kPatch, 4, 0, 1, 7, S::kRun, 2, S::kCut, 40, 0, S::kRun, 2, S::kDatagram, 2, 0, 'x', 'x', 0});
    return story;
}

void MakeRecordings(const std::filesystem::path& folder) {
    constexpr int kFormats = 6;
    for (const int known : {0, 1 + RecordingStory::kFrames})
        for (int format = 0; format < kFormats; ++format)
            for (int parts = 0; parts < kParts; ++parts)
                Write(folder, fmt::format("{}-{}-{}", known, format, parts),
                      MakeRecording(format, parts, known).bytes);
}

void MakeSeeds(const std::filesystem::path& top) {
    const WalkingFigure figure;
    const ForcePlateRig rig({PlateLayout::kEight, PlateLayout::kSix});
    Blob dispatch;
    for (const Load& load : {Load{}, Load{0, 0, 0, 0, 0, 0}, Load{2, 3, 1, 4, 5, 1}}) {
        FrameComposer composer(figure, rig, load);
        const std::string name = std::to_string(composer.BodySize());
        Blob frame(composer.BodySize());
        int length = 0;
        CAppDataModel().EncodeMocap(&composer.ComposeAt(1, 2.9), frame.data(), length);
        const Blob descriptions = DescribeStream(composer).bytes;
        Write(top / "frame", name, frame);
        Write(top / "description", name, descriptions);
        Append(dispatch, PackageType_Frame, frame);
        Append(dispatch, PackageType_DataDescriptions, descriptions);
    }
    for (int type = 0; type < 110; ++type) Append(dispatch, type, Blob(30, 'x'));
    Write(top / "dispatch", "all", dispatch);
    Write(top / "media", "short", Blob(40, 1));
    Blob plates{2, 64 + 14};
    std::vector<float> channels;
    rig.AppendChannels(figure.ContactsAt(2.9), channels);
    channels.resize(TARVO_MAX_ANALOG_VALUES);
    const auto append = [&](const void* from, std::size_t size) {
        const auto* const bytes = static_cast<const unsigned char*>(from);
        plates.insert(plates.end(), bytes, bytes + size);
    };
    append(channels.data(), channels.size() * sizeof(float));
    MakeRecordings(top / "recording");
    for (const sForcePlateInfo& plate : rig.Plates()) append(&plate, offsetof(sForcePlateInfo, opaque3));
    Write(top / "force_plate", "both", plates);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    MakeSeeds(argv[1]);
    return 0;
}
