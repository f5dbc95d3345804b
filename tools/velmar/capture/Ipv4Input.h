// UDP datagrams out of captured packets.
#ifndef VELMAR_CAPTURE_IPV4_INPUT_H
#define VELMAR_CAPTURE_IPV4_INPUT_H

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "capture/CapturedDatagram.h"
#include "wire/UdpSocket.h"

// The IPv4 packet in a captured one of this link type (a DLT_ code); nothing when it carries something else.
std::optional<Bytes> Ipv4PacketIn(int linkType, Bytes packet);
bool IsKnownLinkType(int linkType);

// Puts IPv4 fragments together, in whatever order they come.
class Ipv4Input {
public:
    // Whether this packet, captured at this time, completes a datagram, which then is `datagram`. Checksums are
    // not looked at: where they were captured, the network card may not have filled them in yet.
    bool Take(Bytes packet, std::chrono::nanoseconds time, CapturedDatagram& datagram);

    // UDP packets of which the capture holds only a part.
    long long CutPackets() const { return m_cutPackets; }

private:
    // Source, destination, identification.
    using Key = std::tuple<std::uint32_t, std::uint32_t, std::uint16_t>;
    struct Partial {
        Key key;
        std::chrono::nanoseconds time;                           // of the first piece that came
        std::map<std::size_t, std::vector<unsigned char>> parts; // by offset
        std::optional<std::size_t> size;                         // known with the last fragment
        std::size_t bytes = 0;                                   // of all that came
    };

    static constexpr std::size_t kMaxPartials = 64; // the oldest gives way
    // Of a packet's pieces, some of which may come twice: what brings more is not one packet.
    static constexpr std::size_t kMaxBytes = std::size_t{4} * 65'536;
    // Identifications come round: what is older than this has lost a piece, and waits for one of another packet.
    static constexpr std::chrono::seconds kPatience{1};

    std::optional<std::vector<unsigned char>> Join(const Partial& begun, std::size_t offset, bool more,
                                                   Bytes part);

    std::list<Partial> m_partials; // the oldest first
    long long m_cutPackets = 0;
};

#endif
