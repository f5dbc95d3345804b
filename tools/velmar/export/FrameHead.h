// What the rows of tables and the objects of frames begin with.
#ifndef VELMAR_EXPORT_FRAME_HEAD_H
#define VELMAR_EXPORT_FRAME_HEAD_H

#include <fmt/format.h>

#include <string>

#include "Wording.h"
#include "take/TakeFrames.h"

struct FrameHead {
    int number;
    std::string arrival; // seconds since the epoch, with nine decimals
    std::string time;    // seconds since the first frame by the frame rate, with six
    std::string timecode;

    explicit FrameHead(const TakeFrame& item)
        : number(item.frame->frameNumber),
          time(fmt::format("{:.6f}", item.seconds)),
          timecode(TimecodeText(item.frame->timecode, item.frame->timecodeSubframe)) {
        const auto whole = std::chrono::duration_cast<std::chrono::seconds>(item.arrival);
        arrival = fmt::format("{}.{:09}", whole.count(), (item.arrival - whole).count());
    }
};

#endif
