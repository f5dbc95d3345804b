#include "wire/StreamOutlet.h"

#include <fmt/format.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "Routes.h"
#include "UsageError.h"
#include "Wording.h"

StreamOutlet::StreamOutlet(const std::optional<std::string>& interface, int hops) : m_hops(hops) {
    const in_addr address = interface ? Resolve(*interface) : in_addr{};
    if (interface && !m_socket.SetMulticastInterface(address))
        throw UsageError(
            fmt::format("--interface: takes the address of an interface of this machine, not '{}'", *interface));
    m_interface = interface ? "interface " + InterfaceWith(address) : RouteTo(GroupAddress().sin_addr);
    m_socket.SetMulticastHops(hops);
    // The system keeps datagrams without a hop back only when somebody here is a member of the group.
    if (hops == 0) m_socket.BecomeMember(GroupAddress().sin_addr, address);
}

std::string StreamOutlet::Way() const {
    std::string reach = "to this machine only";
    if (m_hops == 1) reach = "to its network";
    if (m_hops > 1) reach = fmt::format("past {} at most", Counted(m_hops - 1, "router"));
    return fmt::format("over {}, {}: {}", m_interface, Counted(m_hops, "hop"), reach);
}

void StreamOutlet::ThrowNothingLeaves() {
    const std::string reason = std::generic_category().message(errno);
    std::string names;
    for (const Interface& interface : MulticastInterfaces())
        names += (names.empty() ? "" : ", or ") + fmt::format("ip route add 239.0.0.0/8 dev {}", interface.name);
    throw std::runtime_error(
        fmt::format("nothing can be sent to {}: {}. Name the address of a network interface with --interface, or "
                    "give the group a route ({})",
                    ToText(GroupAddress()), reason, names.empty() ? "once an interface is up" : names));
}
