#include "simulate/FramePacer.h"

#include <algorithm>

std::optional<FramePacer::Clock::time_point> FramePacer::Deadline() const {
    if (m_paused) return std::nullopt;
    const std::chrono::duration<double> since(static_cast<double>(m_count) / m_rate);
    return m_start + std::chrono::duration_cast<Clock::duration>(since);
}

void FramePacer::Advance(Clock::time_point now) {
    constexpr double kInterruption = 1; // seconds
    const double lateness = std::chrono::duration<double>(now - *Deadline()).count();
    m_worstLateness = std::max(m_worstLateness, lateness);
    if (lateness > kInterruption) Rebase(now);
    ++m_count;
}

void FramePacer::SetRate(double rate, Clock::time_point now) {
    Rebase(now);
    m_rate = rate;
}

void FramePacer::Resume(Clock::time_point now) {
    if (!m_paused) return;
    m_paused = false;
    Rebase(now);
}

void FramePacer::Rebase(Clock::time_point now) {
    m_secondsBefore = StreamSeconds();
    m_start = now;
    m_count = 0;
}
