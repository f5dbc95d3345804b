// A recording as a JSON document, and that document as text.
#ifndef VELMAR_TAKE_TAKE_AS_JSON_H
#define VELMAR_TAKE_TAKE_AS_JSON_H

#include <nlohmann/json.hpp>
#include <string>

#include "take/Take.h"

// {"file", "frames", "first_frame_number", "last_frame_number", "duration_s", "rate_hz", "rate_source", "lost":
// {...}, "concerns": [...]}: of the whole recording, whatever the take's range.
nlohmann::ordered_json TakeAsJson(const Take& take);

// What a client would have counted of the recorded stream, without what happens in a client.
nlohmann::ordered_json RecordedStatistics(const sStreamStatistics& statistics);

std::string TakeAsText(const Take& take);

// "stated", "arrivals" or "unknown".
const char* RateSourceName(FrameTimeline::RateSource source);

#endif
