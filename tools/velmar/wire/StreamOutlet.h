// Where a stream leaves to the multicast group.
#ifndef VELMAR_WIRE_STREAM_OUTLET_H
#define VELMAR_WIRE_STREAM_OUTLET_H

#include <optional>
#include <string>

#include "Routes.h"
#include "wire/Addresses.h"
#include "wire/UdpSocket.h"

class StreamOutlet {
public:
    // Through the interface of this name or address, or else the loopback interface; so many hops far: with 0 to
    // this machine only, with 1 to the interface's network. Without a number, whoever names an interface reaches
    // its network. Neither way needs a route to the group. Throws UsageError for an interface that this machine
    // does not have.
    explicit StreamOutlet(const std::optional<std::string>& interface, std::optional<int> hops = {});

    // "over interface lo, 0 hops: to this machine only".
    std::string Way() const;

    // False with errno set when the system does not take the datagram.
    bool Send(Bytes datagram) { return m_socket.SendTo(GroupAddress(), datagram); }

    // Of a stream none of which was taken, for the reason in errno: what failed and what helps.
    [[noreturn]] void ThrowNothingLeaves() const;

private:
    OwnInterface m_interface;
    int m_hops;
    UdpSocket m_socket;
};

#endif
