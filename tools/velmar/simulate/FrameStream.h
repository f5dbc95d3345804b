// The frames on their way to the multicast group.
#ifndef VELMAR_SIMULATE_FRAME_STREAM_H
#define VELMAR_SIMULATE_FRAME_STREAM_H

#include <deque>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "simulate/FaultyLink.h"
#include "simulate/FrameComposer.h"
#include "wire/StreamOutlet.h"

struct StreamOptions {
    std::optional<std::string> interface; // as StreamOutlet takes it, and so the hops
    std::optional<int> hops;
    std::optional<std::string> frameLog;   // a file that gets a line for every frame
    std::optional<long long> restartEvery; // numbers, after which they begin anew
    double skip = 0;                       // fraction of the frames before which a number is left out
};

// Every frame carries a checksum of its body in auxValue32 (taken with that field zero). The frame log has a
// line for each, in their order: its time in microseconds (the frame's auxValue64, different for every frame), its
// number, the checksum, and what the link did to its datagrams, with "whole" or "broken" before the counts. A
// number that is left out has "0 NUMBER 00000000 skipped" in its place. Where numbers begin anew, the next one
// is 1.
class FrameStream {
public:
    // The composer and the link must outlive the stream. Throws std::system_error, and UsageError naming the
    // option that cannot be had.
    FrameStream(const StreamOptions& options, FrameComposer& composer, FaultyLink& link);

    // The next frame of the stream, at this time of it. False with errno set when the system did not take all.
    bool Send(double seconds);

    // The last frame has been sent, or given up: nothing stays behind. False as above.
    bool Finish();

    const StreamOutlet& Outlet() const { return m_outlet; }
    long long LeftOut() const { return m_leftOut; } // numbers

private:
    // A frame that the link may still hold a part of, or a number without one.
    struct Line {
        std::int32_t number;
        std::uint32_t checksum = 0;
        std::optional<FrameFate> fate{};
    };

    std::int32_t TakeNumber();
    Bytes Encode(sFrameOfMocapData& frame);
    void WriteSettled();

    StreamOptions m_options;
    FrameComposer& m_composer;
    FaultyLink& m_link;
    StreamOutlet m_outlet;
    std::vector<unsigned char> m_body;
    std::ofstream m_log;
    std::deque<Line> m_lines; // not written yet; the link knows where their fates are
    long long m_numbers = 0;  // taken since they began
    long long m_leftOut = 0;
};

#endif
