// Writes what the fuzzers start from: one folder for each target, below the folder that is named.
#include <cstring>
#include <filesystem>
#include <fstream>
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

// Recordings as the recording target is told them.
void MakeRecordings(const std::filesystem::path& folder) {
    using Story = RecordingStory;
    const auto number = [](auto value) {
        const auto* const first = reinterpret_cast<const unsigned char*>(&value);
        return Blob(first, first + sizeof value);
    };
    const auto join = [](const std::vector<Blob>& parts) {
        Blob joined;
        for (const Blob& part : parts) joined.insert(joined.end(), part.begin(), part.end());
        return joined;
    };
    const Blob all = join({{0x3F, 0}, number(0.0)}); // formats, and no options
    const Blob some =
        join({{0x3F, 15, 2}, {'1', '1', 4}, {'0', '.', '5', 's', 4}, {'9', '-', '2', '0'}, number(99.0)});
    const Blob server = join({{Story::kServer}, number(120.0F)});
    for (const int known : {0, 4}) {
        const auto take = [](int body) { return Blob{Story::kKnown, static_cast<unsigned char>(body)}; };
        const Blob described = join({take(known), {Story::kSend, PackageType_DataDescriptions}});
        const Blob frames = join({take(known + 1),
                                  {Story::kNumber},
                                  number(9),
                                  {Story::kRun, 5},
                                  take(known + 2),
                                  {Story::kNumber},
                                  number(15),
                                  {Story::kRun, 3}});
        // Lost, late and repeated ones, and numbers that begin anew.
        const Blob faults =
            join({{Story::kAgain, 4, Story::kAgain, 254, Story::kAgain, 0, Story::kAgain, 9},
                  {Story::kTime, 4, Story::kAgain, 100, Story::kTime, 1},
                  {Story::kNumber},
                  number(-5),
                  {Story::kRun, 7},
                  {Story::kNumber},
                  number(0x7FFFFFFF),
                  {Story::kRun, 2},
                  {Story::kPatch, 4, 0, 1, 7, Story::kRun, 2, Story::kCut, 40, 0, Story::kRun, 2}});
        const std::string name(1, static_cast<char>('0' + known));
        Write(folder, name + "whole", join({all, server, described, frames}));
        Write(folder, name + "faults", join({all, server, described, frames, faults}));
        Write(folder, name + "part", join({some, server, described, frames, faults}));
        Write(folder, name + "unknown", join({all, described, frames, faults}));
        Write(folder, name + "undescribed", join({all, server, frames, {Story::kDatagram, 20, 0}, Blob(20, 'x')}));
    }
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
