// The frames of a take, for whoever writes them down.
#ifndef VELMAR_TAKE_TAKE_FRAMES_H
#define VELMAR_TAKE_TAKE_FRAMES_H

#include <chrono>
#include <map>
#include <memory>
#include <span>
#include <vector>

#include "capture/RecordedFrames.h"
#include "take/Take.h"

struct TakeFrame {
    long long slot = 0;                       // since the first frame
    double seconds = 0;                       // the same by the frame rate
    std::chrono::nanoseconds arrival{};       // since the epoch
    const sFrameOfMocapData* frame = nullptr; // without the channels of the plates; null: it was lost
    sForcePlates plates{};
    std::span<const float> readings{}; // of the plates' channels, as they were recorded
};

class TakeFrames {
public:
    enum class Order {
        kArrival, // as they came, repeated ones too, and no lost ones
        kSlots    // a frame for each slot
    };

    // The take must outlive the frames.
    TakeFrames(const Take& take, Order order);

    // The next one, valid until the next call. Null at the end; throws std::runtime_error when a signal arrives.
    const TakeFrame* Next();

private:
    struct Release {
        void operator()(sFrameOfMocapData* frame) const;
    };
    struct Kept {
        TakeFrame item;
        std::unique_ptr<sFrameOfMocapData, Release> frame;
        std::vector<float> readings;
    };

    bool Read();
    void Keep();
    const TakeFrame* NextSlot();

    const Take& m_take;
    Order m_order;
    RecordedFrames m_frames;
    std::size_t m_ordinal = 0; // of the next recorded frame
    TakeFrame m_item;
    long long m_slot = 0;              // the next one
    std::size_t m_gap = 0;             // the next one
    std::map<long long, Kept> m_early; // came before their turn, by slot: as many as a network delays a frame
    Kept m_inHand;
};

#endif
