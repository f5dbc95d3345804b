#include "replay/Player.h"

#include <algorithm>

Player::Player(std::string path, const Recording& recording, const Options& options)
    : m_path(std::move(path)),
      m_options(options),
      m_pause(std::max<std::chrono::nanoseconds>(recording.duration / std::max(recording.frames - 1, 1LL),
                                                 std::chrono::milliseconds(1))),
      m_file(m_path),
      m_next(ReadStream()),
      m_outlet(options.interface) {}

void Player::Start(Clock::time_point now) {
    m_start = now;
    if (m_next) m_origin = m_next->time;
}

Player::Clock::time_point Player::Deadline() const {
    constexpr std::chrono::hours kLongest(24 * 365); // slowed down, it might not be countable
    const std::chrono::duration<double, std::nano> since = m_next->time - m_origin;
    return m_start + std::chrono::duration_cast<Clock::duration>(
                         std::min<std::chrono::duration<double, std::nano>>(since / m_options.speed, kLongest));
}

void Player::Send() {
    constexpr std::chrono::seconds kInterruption(1);
    // After an interruption of the whole machine, the rest keeps its distances.
    if (const auto now = Clock::now(); now - Deadline() > kInterruption) Start(now);
    if (!m_outlet.Send(m_next->payload)) {
        if (m_sent == 0) m_outlet.ThrowNothingLeaves();
        ++m_notTaken;
    }
    ++m_sent;
    std::string problem;
    const auto message = m_joiner.Take(m_next->from, m_next->payload, problem);
    m_messageEnded = message.has_value();
    if (message && message->type == PackageType_Frame) ++m_frames;
    Advance();
}

void Player::SendMessage() {
    do {
        Send();
    } while (!AtEnd() && !m_messageEnded);
}

void Player::Advance() {
    const auto before = m_next->time;
    const auto due = Deadline();
    m_next = ReadStream();
    // Clocks are set: then nothing tells how long it took.
    constexpr std::chrono::hours kLongestPause(1);
    if (m_next && (m_next->time < before || m_next->time - before > kLongestPause)) Start(due);
    if (m_next || !m_options.loop) return;
    m_file.emplace(m_path);
    m_next = ReadStream();
    Start(due + std::chrono::duration_cast<Clock::duration>(m_pause / m_options.speed));
}

std::optional<CapturedDatagram> Player::ReadStream() {
    while (const CapturedDatagram* const datagram = m_file->Next())
        if (IsStream(*datagram)) return *datagram;
    return std::nullopt;
}
