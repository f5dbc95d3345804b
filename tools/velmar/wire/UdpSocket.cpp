#include "wire/UdpSocket.h"

#include <fmt/format.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "Routes.h"
#include "wire/Addresses.h"

namespace {

[[noreturn]] void ThrowLastError(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

UdpSocket::UdpSocket() : m_handle(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    if (m_handle == -1) ThrowLastError("no UDP socket");
    // Bursts of fragments wait here, on either side; the system grants what it allows.
    constexpr int kBufferSize = 4 << 20;
    setsockopt(m_handle, SOL_SOCKET, SO_SNDBUF, &kBufferSize, sizeof kBufferSize);
    setsockopt(m_handle, SOL_SOCKET, SO_RCVBUF, &kBufferSize, sizeof kBufferSize);
}

UdpSocket::~UdpSocket() { close(m_handle); }

void UdpSocket::Bind(int port) {
    const sockaddr_in local = MakeAddress({htonl(INADDR_ANY)}, port);
    if (bind(m_handle, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
        ThrowLastError(fmt::format("UDP port {} cannot be had", port));
}

void UdpSocket::SetMulticastHops(int hops) {
    if (setsockopt(m_handle, IPPROTO_IP, IP_MULTICAST_TTL, &hops, sizeof hops) != 0)
        ThrowLastError("the multicast hop limit cannot be set");
}

void UdpSocket::SetMulticastInterface(unsigned int interface, in_addr sender) {
    const ip_mreqn way{{}, sender, static_cast<int>(interface)};
    if (setsockopt(m_handle, IPPROTO_IP, IP_MULTICAST_IF, &way, sizeof way) != 0)
        ThrowLastError("the interface of multicast datagrams cannot be set");
}

bool UdpSocket::SendTo(const sockaddr_in& to, Bytes datagram) {
    const auto sent = sendto(m_handle, datagram.data(), datagram.size(), MSG_NOSIGNAL,
                             reinterpret_cast<const sockaddr*>(&to), sizeof to);
    return sent == static_cast<ssize_t>(datagram.size());
}

std::optional<std::size_t> UdpSocket::Receive(std::span<unsigned char> buffer, sockaddr_in& from) {
    socklen_t size = sizeof from;
    const auto received =
        recvfrom(m_handle, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
    if (received < 0) return std::nullopt;
    return static_cast<std::size_t>(received);
}

void UdpSocket::JoinGroup(const sockaddr_in& group, in_addr server) {
    const int yes = 1;
    if (setsockopt(m_handle, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
        bind(m_handle, reinterpret_cast<const sockaddr*>(&group), sizeof group) != 0 ||
        !BecomeMemberTowards(group.sin_addr, server))
        ThrowLastError(fmt::format("the group {} cannot be joined", ToText(group)));
}

bool UdpSocket::BecomeMemberTowards(in_addr group, in_addr server) {
    const unsigned int facing = InterfaceTo(server);
    const bool isMember = facing != 0 && BecomeMember(group, facing);
    // Of the ways to a machine's own addresses there is no other than the loopback interface.
    if (isMember && facing != if_nametoindex("lo")) return true;
    return BecomeMember(group, 0) || isMember;
}

bool UdpSocket::BecomeMember(in_addr group, unsigned int interface) {
    const ip_mreqn membership{group, {}, static_cast<int>(interface)};
    return setsockopt(m_handle, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership) == 0;
}

void UdpSocket::StampArrivals() {
    const int yes = 1;
    if (setsockopt(m_handle, SOL_SOCKET, SO_TIMESTAMPNS, &yes, sizeof yes) != 0)
        ThrowLastError("the system does not tell when datagrams arrive");
    setsockopt(m_handle, SOL_SOCKET, SO_RXQ_OVFL, &yes, sizeof yes);
    setsockopt(m_handle, IPPROTO_IP, IP_PKTINFO, &yes, sizeof yes);
}

std::optional<UdpSocket::Arrival> UdpSocket::ReceiveStamped(std::span<unsigned char> buffer) {
    Arrival arrival{};
    iovec area{buffer.data(), buffer.size()};
    alignas(cmsghdr) char extras[256];
    msghdr message{};
    message.msg_name = &arrival.from;
    message.msg_namelen = sizeof arrival.from;
    message.msg_iov = &area;
    message.msg_iovlen = 1;
    message.msg_control = extras;
    message.msg_controllen = sizeof extras;
    const ssize_t size = recvmsg(m_handle, &message, 0);
    if (size < 0) return std::nullopt;
    arrival.size = static_cast<std::size_t>(size);
    for (cmsghdr* extra = CMSG_FIRSTHDR(&message); extra != nullptr; extra = CMSG_NXTHDR(&message, extra)) {
        if (extra->cmsg_level == IPPROTO_IP && extra->cmsg_type == IP_PKTINFO) {
            in_pktinfo info{};
            std::memcpy(&info, CMSG_DATA(extra), sizeof info);
            arrival.interface = static_cast<unsigned int>(info.ipi_ifindex);
        }
        if (extra->cmsg_level != SOL_SOCKET) continue;
        if (extra->cmsg_type == SCM_TIMESTAMPNS) {
            timespec stamp{};
            std::memcpy(&stamp, CMSG_DATA(extra), sizeof stamp);
            arrival.time = std::chrono::seconds(stamp.tv_sec) + std::chrono::nanoseconds(stamp.tv_nsec);
        }
        if (extra->cmsg_type == SO_RXQ_OVFL)
            std::memcpy(&arrival.lost.emplace(), CMSG_DATA(extra), sizeof(std::uint32_t));
    }
    return arrival;
}

sockaddr_in UdpSocket::LocalAddress(const sockaddr_in& peer) const {
    const UdpSocket probe;
    sockaddr_in route{};
    sockaddr_in own{};
    socklen_t size = sizeof own;
    getsockname(m_handle, reinterpret_cast<sockaddr*>(&own), &size);
    if (connect(probe.m_handle, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0 &&
        getsockname(probe.m_handle, reinterpret_cast<sockaddr*>(&route), &size) == 0)
        own.sin_addr = route.sin_addr;
    return own;
}
