#include "Wording.h"

#include <fmt/format.h>

#include "TarvoSDKClient.h"

std::string Counted(long long count, std::string_view thing) {
    if (count == 1) return fmt::format("1 {}", thing);
    if (thing.ends_with('y')) return fmt::format("{} {}ies", count, thing.substr(0, thing.size() - 1));
    return fmt::format("{} {}s", count, thing);
}

std::string TimecodeText(std::uint32_t timecode, std::uint32_t subframe) {
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    int frames = 0;
    int asGiven = 0;
    Quorin_DecodeTimecode(timecode, subframe, &hours, &minutes, &seconds, &frames, &asGiven);
    return fmt::format("{:02}:{:02}:{:02}:{:02}.{:02}", hours, minutes, seconds, frames, subframe);
}
