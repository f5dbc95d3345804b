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

Finding CheckRouteToGroup(Examination& examination) {
    const in_addr group = GroupAddress().sin_addr;
    const std::string remedy = LastingRoute(ToText(group), InterfaceName(InterfaceTo(examination.address)));
    examination.groupInterface = InterfaceTo(group);
    if (examination.groupInterface == 0) return {State::kFailure, RouteTo(group), "no-route-to-group", remedy};
    std::string all;
    bool carries = false;
    for (const Interface& interface : MulticastInterfaces()) {
        all += fmt::format("{}{} (MTU {} bytes)", all.empty() ? "" : ", ", interface.name, interface.mtu);
        carries = carries || interface.index == examination.groupInterface;
    }
    std::string text = fmt::format("{}; able to carry multicast: {}", RouteTo(group), all);
    if (carries) return {State::kOk, std::move(text)};
    return {State::kFailure, std::move(text), "no-multicast-on-interface",
            fmt::format("{}; or lead the group elsewhere: {}",
                        LastingMulticast(InterfaceName(examination.groupInterface)), remedy)};
}
