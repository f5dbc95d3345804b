// One UDP datagram of a recording.
#ifndef VELMAR_CAPTURE_CAPTURED_DATAGRAM_H
#define VELMAR_CAPTURE_CAPTURED_DATAGRAM_H

#include <netinet/in.h>

#include <chrono>
#include <vector>

struct CapturedDatagram {
    std::chrono::nanoseconds time{}; // of its arrival, since the epoch
    sockaddr_in from{};
    sockaddr_in to{};
    std::vector<unsigned char> payload;
};

#endif
