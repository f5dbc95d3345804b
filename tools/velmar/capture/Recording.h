// What a capture file holds of a server.
#ifndef VELMAR_CAPTURE_RECORDING_H
#define VELMAR_CAPTURE_RECORDING_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "capture/CapturedDatagram.h"

// The server's answers, as message bodies, and the extent of its stream.
struct Recording {
    using Body = std::optional<std::vector<unsigned char>>;
    Body version; // one that accepts the client, if there is one
    Body server;
    Body descriptions;
    long long frames = 0;
    long long datagrams = 0; // of the stream
    long long bytes = 0;     // in these
    std::chrono::nanoseconds duration{};
    std::string damage; // a line that says what is wrong with the file; empty for a sound one
};

// Reads the whole file. Throws std::runtime_error naming the path: what CaptureFile throws, and when there is not
// a single frame.
Recording Survey(const std::string& path);

// Whether the datagram belongs to the stream.
bool IsStream(const CapturedDatagram& datagram);

#endif
