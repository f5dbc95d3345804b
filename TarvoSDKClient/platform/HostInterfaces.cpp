#include "platform/HostInterfaces.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "platform/SocketCalls.h"

namespace System::HostInterfaces {

namespace {

constexpr unsigned int kLoopbackNet = 127;

unsigned int AddressOf(const ifaddrs& entry) {
    sockaddr_in address{};
    std::memcpy(&address, entry.ifa_addr, sizeof address);
    return address.sin_addr.s_addr;
}

void Describe(const ifaddrs& entry, Interface& found) {
    found.address = AddressOf(entry);
    found.index = if_nametoindex(entry.ifa_name);
    found.name.fill('\0');
    std::memcpy(found.name.data(), entry.ifa_name, strnlen(entry.ifa_name, found.name.size() - 1));
}

// The first interface with an IPv4 address that fits.
template <typename Fits>
bool FindFirst(Interface& found, const Fits& fits) {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return false;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, &freeifaddrs);
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET || !fits(*entry)) continue;
        Describe(*entry, found);
        return true;
    }
    return false;
}

// A datagram socket that nothing is sent or received with.
class CScratchSocket {
public:
    CScratchSocket() : m_handle(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
    ~CScratchSocket() {
        if (m_handle != -1) close(m_handle);
    }
    CScratchSocket(const CScratchSocket&) = delete;
    CScratchSocket& operator=(const CScratchSocket&) = delete;
    int Get() const { return m_handle; }

private:
    int m_handle;
};

// Connecting a datagram socket sends nothing, and makes the system choose the way.
bool LocalAddressTowards(unsigned int address, unsigned int port, unsigned int& local) {
    const CScratchSocket scratch;
    const sockaddr_in peer = Calls::MakeAddress(ntohl(address), port);
    if (connect(scratch.Get(), reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0) return false;
    sockaddr_in own{};
    socklen_t size = sizeof own;
    if (getsockname(scratch.Get(), reinterpret_cast<sockaddr*>(&own), &size) != 0) return false;
    local = own.sin_addr.s_addr;
    return true;
}

bool FindByAddress(unsigned int address, Interface& found) {
    return FindFirst(found, [&](const ifaddrs& entry) { return AddressOf(entry) == address; });
}

} // namespace

bool Find(const char* nameOrAddress, Interface& found) {
    in_addr address{};
    if (inet_pton(AF_INET, nameOrAddress, &address) == 1) return FindByAddress(address.s_addr, found);
    return FindFirst(found, [&](const ifaddrs& entry) { return std::strcmp(entry.ifa_name, nameOrAddress) == 0; });
}

bool FindLoopback(Interface& found) {
    return FindFirst(found, [](const ifaddrs& entry) { return (entry.ifa_flags & IFF_LOOPBACK) != 0; });
}

bool Resolve(const char* text, unsigned int& address) {
    in_addr dotted{};
    const bool isDotted = inet_aton(text, &dotted) != 0;
    if (!isDotted && !Calls::LookUpHost(text, address)) return false;
    address = isDotted ? dotted.s_addr : htonl(address);
    return true;
}

bool FindFacing(unsigned int address, unsigned int port, Interface& found) {
    unsigned int local = 0;
    return LocalAddressTowards(address, port, local) && FindByAddress(local, found);
}

bool IsOwn(unsigned int address) {
    Interface ignored;
    return ntohl(address) >> 24 == kLoopbackNet || address == INADDR_ANY || FindByAddress(address, ignored);
}

bool IsUp(unsigned int index) {
    ifreq request{};
    if (if_indextoname(index, request.ifr_name) == nullptr) return false;
    const CScratchSocket scratch;
    return ioctl(scratch.Get(), SIOCGIFFLAGS, &request) != 0 || (request.ifr_flags & IFF_UP) != 0;
}

} // namespace System::HostInterfaces
