// A network that misbehaves, between the server and its sockets.
#ifndef VELMAR_SIMULATE_FAULTY_LINK_H
#define VELMAR_SIMULATE_FAULTY_LINK_H

#include <functional>
#include <optional>
#include <random>
#include <vector>

#include "wire/UdpSocket.h"

// Fractions of the datagrams, 0 to 1.
struct Faults {
    double loss = 0;
    double duplicate = 0;
    double reorder = 0;  // held back until the next one has left
    double corrupt = 0;  // one byte changed
    double truncate = 0; // cut somewhere
    double foreign = 0;  // another protocol's datagram goes before
    int burst = 1;       // datagrams that are lost together
    std::uint64_t seed = 1;
};

// Datagrams pass in their order; what happens to each follows from the seed alone. It also keeps account of the
// frames of the stream: one whose datagrams all left unchanged, in their order and with nothing between them but
// repetitions of the latest one and foreign datagrams, has to reach every client that loses nothing itself.
class FaultyLink {
public:
    using Sink = std::function<bool(Bytes)>; // false: the system did not take the datagram

    // Where a datagram of the stream belongs; datagrams of other messages have none.
    struct Place {
        std::uint64_t frame;
        unsigned int index;
        unsigned int count; // datagrams of the frame
    };

    explicit FaultyLink(const Faults& faults) : m_faults(faults), m_random(faults.seed) {}

    bool Send(Bytes datagram, const std::optional<Place>& place, const Sink& sink);

    // Whether this frame has left whole; asked when all its datagrams have been sent.
    bool LeftWhole(std::uint64_t frame) const {
        return m_run.next > 0 && m_run.frame == frame && m_run.next == m_run.count;
    }

    std::string Summary() const;

private:
    struct Parcel {
        std::vector<unsigned char> bytes;
        std::optional<Place> place;
        bool changed = false;
        Sink sink;
    };
    struct Run {
        std::uint64_t frame = 0;
        unsigned int next = 0; // index; 0 when nothing fits any more
        unsigned int count = 0;
    };

    bool Happens(double fraction) { return fraction > 0 && m_chance(m_random) < fraction; }
    bool IsLost();
    void Damage(Parcel& parcel);
    bool Deliver(const Parcel& parcel);
    void Follow(const Parcel& parcel);

    Faults m_faults;
    std::mt19937_64 m_random;
    std::uniform_real_distribution<double> m_chance{0, 1};
    std::optional<Parcel> m_held;
    Run m_run;
    int m_stillToLose = 0;
    struct {
        long long lost, duplicated, reordered, corrupted, truncated, foreign;
    } m_done{};
};

#endif
