#include "wire/StreamOutlet.h"

#include <fmt/format.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "UsageError.h"
#include "Wording.h"

namespace {

OwnInterface Choose(const std::optional<std::string>& named) {
    std::string problem;
    if (const auto interface = FindInterface(named.value_or("127.0.0.1"), problem)) return *interface;
    if (named) throw UsageError("--interface: " + problem);
    throw std::runtime_error(
        "the loopback interface, which the stream takes unless another one is named with --interface, has no "
        "address 127.0.0.1: see whether it is up (ip link set lo up)");
}

} // namespace

StreamOutlet::StreamOutlet(const std::optional<std::string>& interface, std::optional<int> hops)
    : m_interface(Choose(interface)), m_hops(hops.value_or(interface ? 1 : 0)) {
    m_socket.SetMulticastInterface(m_interface.index, m_interface.address);
    m_socket.SetMulticastHops(m_hops);
    // The system keeps datagrams without a hop back only when somebody here is a member of the group.
    if (m_hops == 0) m_socket.BecomeMember(GroupAddress().sin_addr, m_interface.index);
}

std::string StreamOutlet::Way() const {
    std::string reach = "to its network";
    if (m_hops > 1) reach = fmt::format("past {} at most", Counted(m_hops - 1, "router"));
    if (m_hops == 0 || m_interface.isLoopback) reach = "to this machine only";
    return fmt::format("over interface {}, {}: {}", m_interface.name, Counted(m_hops, "hop"), reach);
}

void StreamOutlet::ThrowNothingLeaves() const {
    const std::string reason = std::generic_category().message(errno);
    throw std::runtime_error(fmt::format(
        "nothing can be sent to {} over interface {}: {}. See whether it is up (ip link set {} up), or "
        "name another one with --interface",
        ToText(GroupAddress()), m_interface.name, reason, m_interface.name));
}
