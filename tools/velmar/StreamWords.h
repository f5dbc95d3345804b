// The library's account of a stream in words: what was lost and why, and what became of the interface.
#ifndef VELMAR_STREAM_WORDS_H
#define VELMAR_STREAM_WORDS_H

#include <cstdint>
#include <optional>
#include <string>

#include "TarvoStream.h"

// Why a frame number is missing.
struct LossCause {
    std::uint64_t sStreamStatistics::*count;
    const char* words;
};
inline constexpr LossCause kLossCauses[] = {
    {&sStreamStatistics::missingTooSlow, "this machine too slow"},
    {&sStreamStatistics::missingIncomplete, "incomplete"},
    {&sStreamStatistics::missingUndecodable, "not decodable"},
    {&sStreamStatistics::missingNeverSeen, "never seen"},
};

// Missing numbers, whatever their cause.
std::uint64_t Lost(const sStreamStatistics& statistics);

// " (2 incomplete, 1 never seen)", for after that number; empty when nothing is missing.
std::string LossCauses(const sStreamStatistics& statistics);

// "interface eth1", or "no interface" of a client that has not joined.
std::string JoinedInterface(const sStreamStatistics& statistics);

// Tells once that the interface of the stream has gone, and once that frames come again.
class InterfaceNotice {
public:
    // With the statistics as they are, again and again. Nothing when there is nothing to tell.
    std::optional<std::string> Follow(const sStreamStatistics& statistics);

private:
    bool m_gone = false;
    std::uint64_t m_framesThen = 0; // when it was last seen gone
};

#endif
