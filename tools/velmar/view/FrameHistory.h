// The frames that pages can look at.
#ifndef VELMAR_VIEW_FRAME_HISTORY_H
#define VELMAR_VIEW_FRAME_HISTORY_H

#include <cstdint>
#include <memory>
#include <vector>

// A frame's body as it goes to pages; kept by whoever sends it, whatever becomes of the history.
using FrameBody = std::shared_ptr<const std::vector<unsigned char>>;

// Places count from 0 without end; the oldest frames may go. For one thread.
class FrameHistory {
public:
    FrameHistory() = default;
    virtual ~FrameHistory() = default;
    FrameHistory(const FrameHistory&) = delete;
    FrameHistory& operator=(const FrameHistory&) = delete;

    // The places that are kept: from Oldest() up to, not including, End(). None when they are equal.
    virtual std::uint64_t Oldest() const = 0;
    virtual std::uint64_t End() const = 0;

    // The frame of a place that is kept; null when it cannot be read.
    virtual FrameBody At(std::uint64_t place) const = 0;

    // When the frame of a place that is kept arrived, in milliseconds since 1970.
    virtual double ArrivalMs(std::uint64_t place) const = 0;

    virtual std::uint64_t Bytes() const = 0; // that the frames take

    // The place of the last frame that arrived up to this time; of the oldest one when none did. Only while frames
    // are kept. Clocks are set back now and then: among times that do not rise, any.
    std::uint64_t PlaceAt(double arrivalMs) const;
};

#endif
