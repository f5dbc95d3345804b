// The latest frames of a running stream.
#ifndef VELMAR_VIEW_RECENT_FRAMES_H
#define VELMAR_VIEW_RECENT_FRAMES_H

#include <chrono>
#include <deque>

#include "view/FrameHistory.h"

// Bounded by age, and by memory where frames are many or large.
class RecentFrames : public FrameHistory {
public:
    static constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 29U;

    explicit RecentFrames(std::chrono::duration<double> longest, std::uint64_t mostBytes = kMostBytes)
        : m_longest(longest), m_mostBytes(mostBytes) {}

    // The frame of place End(). Its delivery, on the program's clock, is what its age is counted from: nobody sets
    // it.
    void Add(FrameBody body, double arrivalMs, double deliveredMs);

    std::uint64_t Oldest() const override { return m_oldest; }
    std::uint64_t End() const override { return m_oldest + m_frames.size(); }
    FrameBody At(std::uint64_t place) const override { return Frame(place).body; }
    double ArrivalMs(std::uint64_t place) const override { return Frame(place).arrivalMs; }
    std::uint64_t Bytes() const override { return m_bytes; }

private:
    struct Kept {
        FrameBody body;
        double arrivalMs;
        double deliveredMs;
    };

    static constexpr std::uint64_t kOverhead = 128; // of a frame beside its bytes
    static std::uint64_t SizeOf(const Kept& frame) { return frame.body->size() + kOverhead; }
    const Kept& Frame(std::uint64_t place) const { return m_frames[static_cast<std::size_t>(place - m_oldest)]; }

    std::chrono::duration<double, std::milli> m_longest;
    std::uint64_t m_mostBytes;
    std::deque<Kept> m_frames;
    std::uint64_t m_oldest = 0;
    std::uint64_t m_bytes = 0;
};

#endif
