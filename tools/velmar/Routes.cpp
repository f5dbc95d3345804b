#include "Routes.h"

#include <fmt/format.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

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
