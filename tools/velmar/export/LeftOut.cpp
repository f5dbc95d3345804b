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
    note(take.timeline.Repeated(), "frame", "whose number had come already");
    return notes;
}
