#include "watch/JsonLines.h"

#include <fmt/format.h>

#include <cstdio>

#include "StatisticsJson.h"

namespace {

using Json = nlohmann::ordered_json;

void PrintLine(const StreamState& state, double rate, bool isLast) {
    Json line;
    line["rate_hz"] = rate;
    line["frame_number"] = state.frames > 0 ? Json(state.frameNumber) : Json();
    line["timecode"] = state.frames > 0 ? Json(state.timecode) : Json();
    line.update(AsJson(state.library));
    line["force_plate_doubt"] = state.plateDoubt.empty() ? Json() : Json(state.plateDoubt);
    if (isLast) line["final"] = true;
    fmt::print("{}\n", line.dump(-1, ' ', false, Json::error_handler_t::replace));
    std::fflush(stdout);
}

} // namespace

void JsonLines::Show(const StreamState& state) { PrintLine(state, m_rate.Next(state), false); }

void JsonLines::Log(const char* line) { fmt::print(stderr, "{}", line); }

void JsonLines::Finish(const StreamState& state) { PrintLine(state, MeanRate(state), true); }
