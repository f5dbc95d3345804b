// The frames on their way to the multicast group.
#ifndef VELMAR_SIMULATE_FRAME_STREAM_H
#define VELMAR_SIMULATE_FRAME_STREAM_H

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
    std::optional<long long> restartEvery; // frames, after which their numbers begin anew
};

// Every frame carries a checksum of its body in auxValue32 (taken with that field zero). The frame log has a
// line for each: its time in microseconds (the frame's auxValue64, different for every frame), its number, the
// checksum, and "whole" or "broken" by what the link did to its datagrams.
class FrameStream {
public:
    // The composer and the link must outlive the stream. Throws std::system_error, and UsageError naming the
    // option that cannot be had.
    FrameStream(const StreamOptions& options, FrameComposer& composer, FaultyLink& link);

    // The next frame of the stream, at this time of it. False with errno set when the system did not take all.
    bool Send(double seconds);

    const StreamOutlet& Outlet() const { return m_outlet; }

private:
    Bytes Encode(sFrameOfMocapData& frame);

    StreamOptions m_options;
    FrameComposer& m_composer;
    FaultyLink& m_link;
    StreamOutlet m_outlet;
    std::vector<unsigned char> m_body;
    std::ofstream m_log;
    long long m_sent = 0;
};

#endif
