// Frames as they go to pages.
#ifndef VELMAR_VIEW_FRAME_MESSAGE_H
#define VELMAR_VIEW_FRAME_MESSAGE_H

#include <cstdint>

#include "TarvoStream.h"
#include "view/FrameHistory.h"

struct FrameStamp {
    std::uint64_t place = 0;
    double arrivalMs = 0;   // wall clock, since 1970
    double deliveredMs = 0; // on the program's clock; 0 of a recorded frame
    double kernelMs = 0;    // from arrival to delivery
};

// The program's clock is the monotonic one of the system.
double NowMs();
double WallMs(); // since 1970
FrameStamp StampOf(std::uint64_t place, const sFrameTimes& times);

// The body of PageProtocol.h. Counts of the frame are within their bounds, as the library has checked.
FrameBody EncodeFrame(const sFrameOfMocapData& frame, const sForcePlates& plates, const FrameStamp& stamp);

#endif
