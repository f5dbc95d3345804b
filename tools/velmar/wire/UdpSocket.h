// A UDP socket of the tool.
#ifndef VELMAR_WIRE_UDP_SOCKET_H
#define VELMAR_WIRE_UDP_SOCKET_H

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

using Bytes = std::span<const unsigned char>;

// Open from construction to destruction; never blocks. What the system refuses at set-up is thrown as
// std::system_error.
class UdpSocket {
public:
    UdpSocket();
    ~UdpSocket();
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    int Handle() const { return m_handle; }
    void Bind(int port);

    // Receives what this server sends to the group, beside other programs that do. Joined as clients of the
    // library join: on the interface that faces the server; for a server of this machine, that is the loopback
    // interface, and that of the route to the group is joined besides; where neither can be, that of the route.
    void JoinGroup(const sockaddr_in& group, in_addr server);

    // Makes this machine a member on the interface with this number, with 0 on that of the route to the group;
    // false when the system refuses. What is sent to the group arrives at sockets of its port only.
    bool BecomeMember(in_addr group, unsigned int interface);

    // How far multicast datagrams go (0: they stay on this machine), and through which interface, with which of
    // its addresses as their sender's.
    void SetMulticastHops(int hops);
    void SetMulticastInterface(unsigned int interface, in_addr sender);

    // False with errno set when the system does not take the datagram.
    bool SendTo(const sockaddr_in& to, Bytes datagram);

    // The size of the datagram that was waiting, cut to the buffer; nothing when none was.
    std::optional<std::size_t> Receive(std::span<unsigned char> buffer, sockaddr_in& from);

    struct Arrival {
        std::size_t size; // of the datagram, cut to the buffer
        sockaddr_in from;
        std::chrono::nanoseconds time;     // by the system, since the epoch
        std::optional<std::uint32_t> lost; // datagrams so far for which the socket had no room, when it says so
        unsigned int interface;            // number of the one through which it came
    };
    // From here on, every datagram is received with the time at which the system took it, and where.
    void StampArrivals();
    std::optional<Arrival> ReceiveStamped(std::span<unsigned char> buffer);

    // The address from which this socket's datagrams to the peer leave. Sends nothing.
    sockaddr_in LocalAddress(const sockaddr_in& peer) const;

private:
    bool BecomeMemberTowards(in_addr group, in_addr server);

    int m_handle;
};

#endif
