// What reaches this machine before its packet filter decides.
#ifndef VELMAR_DOCTOR_PACKET_TAP_H
#define VELMAR_DOCTOR_PACKET_TAP_H

#include <netinet/in.h>

#include <optional>

// Counts from its construction on. Taps are for root: for others it counts nothing.
class PacketTap {
public:
    // Of the UDP packets to this address and port.
    explicit PacketTap(const sockaddr_in& destination);
    ~PacketTap();
    PacketTap(const PacketTap&) = delete;
    PacketTap& operator=(const PacketTap&) = delete;

    // Of a packet in fragments, the first one counts.
    std::optional<long long> Packets() const;

private:
    int m_handle;
};

#endif
