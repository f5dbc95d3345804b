#include "wire/StreamOutlet.h"

#include <fmt/format.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "UsageError.h"

StreamOutlet::StreamOutlet(const std::optional<std::string>& interface, int hops) {
    const in_addr address = interface ? Resolve(*interface) : in_addr{};
    if (interface && !m_socket.SetMulticastInterface(address))
        throw UsageError(
            fmt::format("--interface: takes the address of an interface of this machine, not '{}'", *interface));
    m_socket.SetMulticastHops(hops);
    // The system keeps datagrams without a hop back only when somebody here is a member of the group.
    if (hops == 0) m_socket.BecomeMember(GroupAddress().sin_addr, address);
}

void StreamOutlet::ThrowNothingLeaves() {
    throw std::runtime_error(
        fmt::format("nothing can be sent to {}: {}. Name the address of a network interface with --interface, or "
                    "give the group a route (ip route add 239.0.0.0/8 dev IFACE)",
                    ToText(GroupAddress()), std::generic_category().message(errno)));
}
