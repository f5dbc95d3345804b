// Where a stream leaves to the multicast group.
#ifndef VELMAR_WIRE_STREAM_OUTLET_H
#define VELMAR_WIRE_STREAM_OUTLET_H

#include <optional>
#include <string>

#include "wire/Addresses.h"
#include "wire/UdpSocket.h"

class StreamOutlet {
public:
    // Through the interface with this address, or else that of the route to the group; so many hops far: with 0
    // to this machine only, with 1 to the interface's network. Throws UsageError for an interface that this
    // machine does not have.
    StreamOutlet(const std::optional<std::string>& interface, int hops);

    // "over interface lo, 0 hops: to this machine only".
    std::string Way() const;

    // False with errno set when the system does not take the datagram.
    bool Send(Bytes datagram) { return m_socket.SendTo(GroupAddress(), datagram); }

    // Of a stream none of which was taken, for the reason in errno: what failed and what helps.
    [[noreturn]] static void ThrowNothingLeaves();

private:
    std::string m_interface; // in words
    int m_hops;
    UdpSocket m_socket;
};

#endif
