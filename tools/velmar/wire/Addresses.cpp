#include "wire/Addresses.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netdb.h>
#include <sys/socket.h>

#include <stdexcept>

#include "StopSignal.h"
#include "TarvoWire.h"

sockaddr_in GroupAddress() {
    in_addr group{};
    inet_pton(AF_INET, kDefaultMulticastGroup, &group);
    return MakeAddress(group, kDefaultDataPort);
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
    const StopSignal::EndsAtOnce unansweredQueriesTakeLong;
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
