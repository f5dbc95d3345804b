// Whether and through which interfaces the server and the group are reached.
#include <fmt/format.h>

#include "Routes.h"
#include "doctor/Checks.h"
#include "doctor/Remedies.h"
#include "wire/Addresses.h"

Finding CheckRouteToServer(Examination& examination) {
    if (InterfaceTo(examination.address) == 0)
        return {State::kFailure, RouteTo(examination.address), "no-route-to-server",
                fmt::format("connect this machine to the network of {}: see ip address and ip route",
                            ToText(examination.address))};
    return {State::kOk, RouteTo(examination.address)};
}

// Where the library will join: on the interface that was chosen or that faces the server, and of a server on this
// machine on that of the route to the group too, if there is one.
Finding CheckInterfaceToJoin(Examination& examination) {
    const unsigned int facing = InterfaceTo(examination.address);
    examination.groupInterface = examination.chosen ? InterfaceNamed(*examination.chosen) : facing;
    if (!examination.chosen && IsLoopback(facing))
        examination.defaultInterface = InterfaceTo(GroupAddress().sin_addr);
    const std::string name = InterfaceName(examination.groupInterface);
    std::string all;
    bool carries = false;
    for (const Interface& interface : MulticastInterfaces()) {
        all += fmt::format("{}{} (MTU {} bytes)", all.empty() ? "" : ", ", interface.name, interface.mtu);
        carries = carries || interface.index == examination.groupInterface;
    }
    std::string text = fmt::format("interface {}, {}; able to carry multicast: {}", name,
                                   examination.chosen ? "which was chosen" : "which faces the server",
                                   all.empty() ? "none" : all);
    if (carries) return {State::kOk, std::move(text)};
    return {State::kFailure, std::move(text), "no-multicast-on-interface",
            fmt::format("{}; or join elsewhere: {}", LastingMulticast(name), JoiningOn("NAME"))};
}
