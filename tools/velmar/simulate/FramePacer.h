// When the next frame is due.
#ifndef VELMAR_SIMULATE_FRAME_PACER_H
#define VELMAR_SIMULATE_FRAME_PACER_H

#include <chrono>
#include <optional>

// Deadlines are computed from a start and a count, so that no error adds up. A frame that is late goes out at
// once and moves no other one; after an interruption of the whole machine the count starts anew.
class FramePacer {
public:
    using Clock = std::chrono::steady_clock;

    explicit FramePacer(double rate) : m_rate(rate) {}

    void Start(Clock::time_point now) { m_start = now; }

    // Nothing while paused.
    std::optional<Clock::time_point> Deadline() const;
    double StreamSeconds() const { return m_secondsBefore + static_cast<double>(m_count) / m_rate; }

    // The frame that was due has left.
    void Advance(Clock::time_point now);

    double Rate() const { return m_rate; } // frames a second
    void SetRate(double rate, Clock::time_point now);
    bool Paused() const { return m_paused; }
    void Pause() { m_paused = true; }
    void Resume(Clock::time_point now);

    double WorstLateness() const { return m_worstLateness; } // seconds

private:
    void Rebase(Clock::time_point now);

    double m_rate;
    bool m_paused = false;
    Clock::time_point m_start{};
    long long m_count = 0;      // frames since m_start
    double m_secondsBefore = 0; // of the stream, when m_start was
    double m_worstLateness = 0;
};

#endif
