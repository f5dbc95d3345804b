// A network that misbehaves, between the server and its sockets.
#ifndef VELMAR_SIMULATE_FAULTY_LINK_H
#define VELMAR_SIMULATE_FAULTY_LINK_H

#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "simulate/FrameFate.h"
#include "wire/UdpSocket.h"

// Fractions of the datagrams, 0 to 1; of the frames, where they say so.
struct Faults {
    double loss = 0;
    double duplicate = 0;
    double reorder = 0;    // held back until the next one has left
    double corrupt = 0;    // one byte changed
    double truncate = 0;   // cut somewhere
    double wrongMagic = 0; // otherwise as they were
    double foreign = 0;    // another protocol's datagram goes before
    double loseFrames = 0; // frames, with all their datagrams
    double loseMiddle = 0; // frames of three datagrams or more, of which one inner datagram
    int burst = 1;         // datagrams that are lost together
    std::uint64_t seed = 1;
};

// Datagrams pass in their order; what happens to each follows from the seed alone. It also keeps account of what
// it does to the frames of the stream, and joins what is left as clients do. A swap stands at the frame of the
// datagram that was held back, and, when it was another frame's that went before, at that one too. A message that
// fragments of several frames make, or one with a changed byte, stands as torn at the frame that completes it;
// nothing is said about what follows from a changed header.
class FaultyLink {
public:
    using Sink = std::function<bool(Bytes)>; // false: the system did not take the datagram

    // Where a datagram of the stream belongs; datagrams of other messages have none. The frame must live until all
    // its datagrams have been sent and the link holds none of them.
    struct Place {
        FrameFate* frame;
        unsigned int index;
    };

    explicit FaultyLink(const Faults& faults) : m_faults(faults), m_random(faults.seed) {}

    bool Send(Bytes datagram, const std::optional<Place>& place, const Sink& sink);

    // Whether one of the frame's datagrams is held back.
    bool Holds(const FrameFate& frame) const { return m_held && m_held->place && m_held->place->frame == &frame; }

    // Delivers what is held back. To be called when nothing follows.
    bool Release();

    // Decides on something that happens to this fraction of all cases.
    bool Happens(double fraction) { return fraction > 0 && m_chance(m_random) < fraction; }

    std::string Summary() const;

private:
    struct Parcel {
        std::vector<unsigned char> bytes;
        std::optional<Place> place;
        Sink sink;
        enum { kIntact, kAltered, kRejected, kUnclear } state = kIntact; // for a client
    };
    struct Joined { // of the message that a client is joining
        std::uint64_t frame = 0;
        unsigned int next = 0; // index; 0 when there is none
        bool torn = false;
    };

    std::size_t Below(std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(m_random);
    }
    void Note(const std::optional<Place>& place, long long FaultCounts::*what);
    void NoteSwap(const Parcel& before);
    void PlanFrame(const FrameFate& frame);
    bool IsLost(const std::optional<Place>& place);
    void Damage(Parcel& parcel);
    bool Deliver(const Parcel& parcel);
    void Join(const Parcel& parcel);

    Faults m_faults;
    std::mt19937_64 m_random;
    std::uniform_real_distribution<double> m_chance{0, 1};
    std::optional<Parcel> m_held;
    Joined m_joined;
    bool m_losesFrame = false;       // all datagrams of the present one
    unsigned int m_middleToLose = 0; // index in the present frame; 0: none
    int m_stillToLose = 0;
    FaultCounts m_done;
};

#endif
