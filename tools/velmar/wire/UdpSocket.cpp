#include "wire/UdpSocket.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

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

bool UdpSocket::SetMulticastInterface(in_addr interface) {
    return setsockopt(m_handle, IPPROTO_IP, IP_MULTICAST_IF, &interface, sizeof interface) == 0;
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

sockaddr_in MakeAddress(in_addr address, int port) {
    sockaddr_in record{};
    record.sin_family = AF_INET;
    record.sin_addr = address;
    record.sin_port = htons(static_cast<std::uint16_t>(port));
    return record;
}

in_addr Resolve(const std::string& host) {
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    if (const int error = getaddrinfo(host.c_str(), nullptr, &wanted, &found))
        throw std::runtime_error(
            fmt::format("'{}' is neither an IPv4 address nor a known host name ({})", host, gai_strerror(error)));
    const in_addr address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
    freeaddrinfo(found);
    return address;
}

std::string ToText(in_addr address) {
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &address, text, sizeof text);
}

std::string ToText(const sockaddr_in& address) {
    return fmt::format("{}:{}", ToText(address.sin_addr), ntohs(address.sin_port));
}
