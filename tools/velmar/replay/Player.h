// The stream of a recording, datagram by datagram, with the times at which each is due.
#ifndef VELMAR_REPLAY_PLAYER_H
#define VELMAR_REPLAY_PLAYER_H

#include <chrono>
#include <optional>
#include <string>

#include "capture/CaptureFile.h"
#include "capture/Recording.h"
#include "wire/Messages.h"
#include "wire/StreamOutlet.h"

class Player {
public:
    using Clock = std::chrono::steady_clock;

    struct Options {
        double speed = 1;
        bool loop = false;
        std::optional<std::string> interface;
    };

    // Throws what CaptureFile throws, and UsageError for an interface that cannot be had.
    Player(std::string path, const Recording& recording, const Options& options);

    bool AtEnd() const { return !m_next; }

    std::string Way() const { return m_outlet.Way(); }

    // The next datagram is due now, the others as the recording has them.
    void Start(Clock::time_point now);
    Clock::time_point Deadline() const; // not at the end

    // The next datagram. Throws std::runtime_error when the system does not take the very first one.
    void Send();

    // All that is left of the next message.
    void SendMessage();

    long long Frames() const { return m_frames; } // of which the last datagram has been sent
    long long NotTaken() const { return m_notTaken; }

private:
    void Advance();
    std::optional<CapturedDatagram> ReadStream();

    std::string m_path;
    Options m_options;
    std::chrono::nanoseconds m_pause; // between the last frame and the first of the next round
    std::optional<CaptureFile> m_file;
    std::optional<CapturedDatagram> m_next;
    StreamOutlet m_outlet;
    MessageJoiner m_joiner;
    Clock::time_point m_start{};
    std::chrono::nanoseconds m_origin{}; // time of the recording at m_start
    bool m_messageEnded = false;         // with the latest datagram
    long long m_frames = 0;
    long long m_sent = 0;
    long long m_notTaken = 0;
};

#endif
