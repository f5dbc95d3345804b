// Where each frame of a recording stands in time: by its number and the frame rate, not by when it happened to
// arrive.
#ifndef VELMAR_TAKE_FRAME_TIMELINE_H
#define VELMAR_TAKE_FRAME_TIMELINE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "take/TakeRange.h"

// Each frame has a slot: so many frame times lie between it and the first one. A number that is left out leaves
// its slot empty, if the frames' arrivals leave room for it; a frame that comes late goes to its own slot. Where
// numbers begin anew, or jump further than time has passed, time goes on by one frame. A frame whose number has
// just come already is a repetition and has no slot of its own.
class FrameTimeline {
public:
    // Frames a second that a server may have; what is said or measured beyond them is not a rate.
    static constexpr double kSlowest = 0.01;
    static constexpr double kFastest = 100'000;

    enum class RateSource { kStated, kArrivals, kUnknown };

    struct Place {
        bool isIn = false; // in the range, and no repetition
        bool isRepeated = false;
        long long slot = 0; // since the range's first one; of a repetition that of its number
    };
    struct Gap { // slots without a frame
        long long slot;
        long long count;
    };

    // In the order of arrival.
    void Add(std::int32_t number, std::chrono::nanoseconds arrival) { m_entries.push_back({number, arrival, 0}); }

    // When all are added: gives every frame its slot. Without a stated rate, arrivals tell it.
    void Settle(std::optional<double> statedRate);
    // Thereafter: only these count.
    void Restrict(const TakeRange& range);

    double Rate() const { return m_rate; } // frames a second; 1 when it is unknown
    RateSource Source() const { return m_source; }
    std::optional<double> Measured() const { return m_measured; } // what the arrivals tell, whatever is stated
    double Seconds(long long slot) const { return static_cast<double>(slot) / m_rate; }

    std::size_t Added() const { return m_entries.size(); }
    Place At(std::size_t ordinal) const;
    std::int32_t Number(std::size_t ordinal) const { return m_entries[ordinal].number; }

    // Of the range.
    long long Frames() const { return m_frames; } // that have a slot
    long long Slots() const { return m_slots; }   // from the first frame to the last
    long long Repeated() const { return m_repeated; }
    const std::vector<Gap>& Gaps() const { return m_gaps; }
    const std::vector<long long>& Breaks() const { return m_breaks; } // slots at which numbers begin anew

private:
    struct Entry {
        std::int32_t number;
        std::chrono::nanoseconds arrival;
        long long slot; // of the whole recording
        bool isRepeated = false;
        bool beginsAnew = false;
        bool isIn = true;
    };
    class Walk;

    std::optional<double> RateOfArrivals() const;
    void Summarise();

    std::vector<Entry> m_entries;
    double m_rate = 1;
    RateSource m_source = RateSource::kUnknown;
    std::optional<double> m_measured;
    long long m_first = 0; // slot of the range's first frame
    long long m_frames = 0;
    long long m_slots = 0;
    long long m_repeated = 0;
    std::vector<Gap> m_gaps;
    std::vector<long long> m_breaks;
};

#endif
