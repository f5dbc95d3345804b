#include "Routes.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <ifaddrs.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>

#include "wire/Addresses.h"
#include "wire/UdpSocket.h"

namespace {

// A request for the route to one address, as the kernel wants it.
struct RouteRequest {
    nlmsghdr header;
    rtmsg route;
    rtattr attribute;
    in_addr destination;
};

// The answer's interface number, 0 when there is none; a refusal leaves its reason in errno.
unsigned int InterfaceIn(const unsigned char* answer, std::size_t size) {
    nlmsghdr header{};
    if (size < sizeof header) return 0;
    std::memcpy(&header, answer, sizeof header);
    if (header.nlmsg_type == NLMSG_ERROR && size >= sizeof header + sizeof(int)) {
        int error = 0;
        std::memcpy(&error, answer + sizeof header, sizeof error);
        errno = -error;
        return 0;
    }
    for (std::size_t at = NLMSG_LENGTH(sizeof(rtmsg)); at + sizeof(rtattr) <= size;) {
        rtattr attribute{};
        std::memcpy(&attribute, answer + at, sizeof attribute);
        if (attribute.rta_type == RTA_OIF && at + sizeof attribute + sizeof(unsigned int) <= size) {
            unsigned int index = 0;
            std::memcpy(&index, answer + at + sizeof attribute, sizeof index);
            return index;
        }
        at += RTA_ALIGN(std::max<std::size_t>(attribute.rta_len, sizeof attribute));
    }
    return 0;
}

struct ListRelease {
    void operator()(ifaddrs* list) const { freeifaddrs(list); }
};
using InterfaceList = std::unique_ptr<ifaddrs, ListRelease>;

InterfaceList ReadInterfaces() {
    ifaddrs* list = nullptr;
    return InterfaceList(getifaddrs(&list) == 0 ? list : nullptr);
}

int MtuOf(const UdpSocket& socket, const char* name) {
    ifreq request{};
    std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
    return ioctl(socket.Handle(), SIOCGIFMTU, &request) == 0 ? request.ifr_mtu : 0;
}

} // namespace

unsigned int InterfaceTo(in_addr address) {
    const int netlink = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (netlink == -1) return 0;
    RouteRequest request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETROUTE;
    request.header.nlmsg_flags = NLM_F_REQUEST;
    request.route.rtm_family = AF_INET;
    request.route.rtm_dst_len = 32;
    request.attribute = {sizeof request.attribute + sizeof request.destination, RTA_DST};
    request.destination = address;
    unsigned char answer[4096];
    unsigned int index = 0;
    if (send(netlink, &request, sizeof request, 0) == sizeof request) {
        const ssize_t size = recv(netlink, answer, sizeof answer, 0);
        if (size > 0) index = InterfaceIn(answer, static_cast<std::size_t>(size));
    }
    const int reason = errno;
    close(netlink);
    errno = reason;
    return index;
}

std::string InterfaceName(unsigned int index) {
    char name[IF_NAMESIZE];
    return if_indextoname(index, name) == nullptr ? std::to_string(index) : name;
}

std::string RouteTo(in_addr address) {
    const unsigned int index = InterfaceTo(address);
    if (index == 0)
        return fmt::format("no interface, for there is no route ({})", std::generic_category().message(errno));
    return "interface " + InterfaceName(index);
}

std::optional<OwnInterface> FindInterface(const std::string& nameOrAddress, std::string& problem) {
    in_addr wanted{};
    const bool isAddress = inet_pton(AF_INET, nameOrAddress.c_str(), &wanted) == 1;
    const unsigned int named = if_nametoindex(nameOrAddress.c_str());
    const InterfaceList list = ReadInterfaces();
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
        sockaddr_in own{};
        std::memcpy(&own, entry->ifa_addr, sizeof own);
        const unsigned int index = if_nametoindex(entry->ifa_name); // which may be a label of the address
        if (isAddress ? own.sin_addr.s_addr == wanted.s_addr : index == named && named != 0)
            return OwnInterface{index, InterfaceName(index), own.sin_addr, (entry->ifa_flags & IFF_LOOPBACK) != 0};
    }
    problem = named != 0 ? fmt::format("{} has no IPv4 address", nameOrAddress)
                         : fmt::format("takes the address of an interface of this machine, or its name, not '{}'",
                                       nameOrAddress);
    return std::nullopt;
}

unsigned int InterfaceNamed(const std::string& nameOrAddress) {
    std::string problem;
    const std::optional<OwnInterface> found = FindInterface(nameOrAddress, problem);
    return found ? found->index : 0;
}

bool IsLoopback(unsigned int index) {
    ifreq request{};
    const UdpSocket socket;
    return if_indextoname(index, request.ifr_name) != nullptr &&
           ioctl(socket.Handle(), SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_LOOPBACK) != 0;
}

std::vector<Interface> MulticastInterfaces() {
    std::vector<Interface> interfaces;
    const InterfaceList list = ReadInterfaces();
    const UdpSocket socket;
    for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
        const bool isLink = entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_PACKET;
        const bool carries = (entry->ifa_flags & (IFF_MULTICAST | IFF_LOOPBACK)) != 0;
        if (isLink && carries && (entry->ifa_flags & IFF_UP) != 0)
            interfaces.push_back(
                {if_nametoindex(entry->ifa_name), entry->ifa_name, MtuOf(socket, entry->ifa_name)});
    }
    return interfaces;
}
