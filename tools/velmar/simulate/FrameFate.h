// What becomes of a frame of the stream on its way to the sockets.
#ifndef VELMAR_SIMULATE_FRAME_FATE_H
#define VELMAR_SIMULATE_FRAME_FATE_H

#include <cstdint>
#include <string>

// How many datagrams met what.
struct FaultCounts {
    long long lost = 0;
    long long unsent = 0; // the system did not take them, or one before them in their message
    long long duplicated = 0;
    long long reordered = 0; // swaps
    long long corrupted = 0;
    long long corruptedHeader = 0; // of the corrupted ones, in their header
    long long truncated = 0;
    long long truncatedHeader = 0; // of the truncated ones, left without a whole header
    long long wrongMagic = 0;
    long long foreign = 0; // of another protocol, sent before one of these
    long long torn = 0;    // completed a message that is no frame as it was sent
};

struct FrameFate {
    std::uint64_t frame = 0;    // another one for every frame
    unsigned int datagrams = 0; // that it was cut into
    FaultCounts counts{};

    // Its datagrams all left unchanged, in their order and with nothing between them but what clients drop: it has
    // to reach every client that loses nothing itself.
    bool leftWhole = false;

    // "whole datagrams=3 duplicated=1": the counts that are not zero, by the names of the frame log.
    std::string Text() const;
};

#endif
