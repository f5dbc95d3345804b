// The simulated capture server: streams frames on time and answers what comes in meanwhile.
#ifndef VELMAR_SIMULATE_CAPTURE_SERVER_H
#define VELMAR_SIMULATE_CAPTURE_SERVER_H

#include <optional>
#include <string>

#include "simulate/FrameStream.h"
#include "simulate/RequestDesk.h"

struct ServerOptions {
    double rate = 120;
    std::optional<long long> frames; // and then it ends; without it, it runs until stopped
    StreamOptions stream{};
    RequestDesk::Policy policy{};
    Faults faults{}; // of all that the server sends
};

class CaptureServer {
public:
    // Takes the command port. The composer must outlive the server. Throws what FrameStream throws.
    CaptureServer(const ServerOptions& options, FrameComposer& composer);

    // Returns after the last frame, or when SIGINT or SIGTERM arrives. Throws std::runtime_error when not a
    // single frame can be sent.
    void Run();

    std::string Summary() const;

private:
    bool Finished() const { return m_options.frames && m_desk.Frames() >= *m_options.frames; }
    void AwaitNext();
    void AnswerAll();
    void SendDueFrames();
    void SendFrame();

    ServerOptions m_options;
    FramePacer m_pacer;
    RequestDesk m_desk;
    MessageJoiner m_joiner;
    UdpSocket m_commands;
    FaultyLink m_link;
    FrameStream m_stream;
    long long m_cutShort = 0; // frames of which the system did not take every datagram
    FramePacer::Clock::time_point m_started{};
    FramePacer::Clock::time_point m_lastFrame{};
};

#endif
