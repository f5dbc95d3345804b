#include "export/LeftOut.h"

#include <fmt/format.h>

#include "Wording.h"

std::vector<std::string> LeftOutOf(const Take& take) {
    std::vector<std::string> notes;
    const auto note = [&](long long count, const char* thing, const char* why) {
        if (count > 0) notes.push_back(fmt::format("left out: {}, {}", Counted(count, thing), why));
    };
    note(take.otherMarkers, "unlabelled marker", "which are the same ones in no two frames");
    note(take.bodyMarkers, "rigid-body marker", "which have no name");
    if (!take.IsSimulated())
        note(take.labeledMarkers, "labelled marker", "of which only the server knows what they say");
    return notes;
}

std::vector<std::string> LeftOutOfSlots(const Take& take) {
    std::vector<std::string> notes = LeftOutOf(take);
    if (take.timeline.Repeated() > 0)
        notes.push_back(
            fmt::format("left out: {} whose number had come already", Counted(take.timeline.Repeated(), "frame")));
    return notes;
}

std::vector<std::string> LeftOutOfOpenSim(const Take& take) {
    std::vector<std::string> notes = LeftOutOfSlots(take);
    if (take.bodies.Count() > 0)
        notes.push_back(fmt::format("left out: {}: the files have points only",
                                    Counted(take.bodies.Count(), "body or bone pose")));
    if (take.analogChannels > 0)
        notes.push_back(fmt::format("left out: {} behind those of force plates",
                                    Counted(take.analogChannels, "analog channel")));
    return notes;
}
