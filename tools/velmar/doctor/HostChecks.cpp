// What this host's network layer takes away before a socket sees it.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "Routes.h"
#include "Wording.h"
#include "doctor/Checks.h"
#include "doctor/Firewall.h"
#include "doctor/Remedies.h"
#include "wire/Addresses.h"

namespace {

constexpr long long kBytesOfRoom = 4 << 20; // what a system grants to fragments when nobody says otherwise

// The interfaces of which the reverse-path filter is on.
std::vector<std::string> FilteringInterfaces() {
    const std::string folder = "net/ipv4/conf/";
    std::vector<std::string> names;
    for (const Interface& interface : MulticastInterfaces())
        if (std::max(Setting(folder + "all/rp_filter"), Setting(folder + interface.name + "/rp_filter")) > 0)
            names.push_back(interface.name);
    return names;
}

std::string WithoutFilter(const std::vector<std::string>& interfaces) {
    std::string settings = "net.ipv4.conf.all.rp_filter=0";
    // A dot in a name would be taken for a step of the path.
    for (std::string name : interfaces) {
        std::replace(name.begin(), name.end(), '.', '/');
        settings += fmt::format(" net.ipv4.conf.{}.rp_filter=0", name);
    }
    return LastingSettings(settings);
}

} // namespace

Finding CheckReversePath(Examination& examination) {
    const std::vector<std::string> interfaces = FilteringInterfaces();
    const std::string names = fmt::format("{}", fmt::join(interfaces, ", "));
    const long long dropped = examination.Grown("TcpExt.IPReversePathFilter");
    if (dropped > 0 && examination.seen.datagrams == 0)
        return {
            State::kFailure,
            fmt::format("the filter of {} dropped {}, whose sender is routed elsewhere", names,
                        Counted(dropped, "packet")),
            "reverse-path-filter",
            fmt::format("add a route to the sender through the interface of the stream, or turn the filter of {} "
                        "off: {}",
                        names, WithoutFilter(interfaces))};
    return {State::kOk, names.empty() ? "no filter is on"
                                      : fmt::format("on for {}, {} dropped", names, Counted(dropped, "packet"))};
}

// A message of several datagrams begins with a full one, which an MTU of 1500 lets pass in two IP fragments only.
Finding CheckIpFragments(Examination& examination) {
    constexpr std::size_t kFullPacket = kMaxDatagramSize + 28; // with the headers of IP and UDP
    int mtu = 0;
    for (const Interface& interface : MulticastInterfaces())
        if (interface.index == examination.groupInterface) mtu = interface.mtu;
    const long long arrived = examination.Grown("Ip.ReasmReqds");
    const long long joined = examination.Grown("Ip.ReasmOKs");
    const std::string text =
        fmt::format("{} arrived, {} joined; a full datagram makes {}, the MTU is {}", Counted(arrived, "fragment"),
                    Counted(joined, "packet"), Counted(kFullPacket, "byte"), Counted(mtu, "byte"));
    const Observation& seen = examination.seen;
    const bool expected = arrived > 0 || seen.fragmentsOfLongest > 1;
    // A server may cut smaller: then messages of several datagrams are whole.
    if (expected && joined == 0 && seen.largest < kMaxDatagramSize && seen.longest <= seen.largest)
        return {
            State::kFailure, "full datagrams do not come: " + text, "ip-fragments-lost",
            fmt::format("let IP fragments through every firewall on the way; or have an MTU of {} on all of it, "
                        "here: {}",
                        kFullPacket, LastingMtu(InterfaceName(examination.groupInterface), kFullPacket))};
    const long long failed = examination.Grown("Ip.ReasmFails");
    if (failed == 0) return {State::kOk, text};
    return {State::kWarning, fmt::format("{}; {} could not be joined", text, Counted(failed, "packet")),
            "ip-fragments-incomplete",
            "find what drops fragments on the way; or give them room: " +
                LastingSetting("net.ipv4.ipfrag_high_thresh", 4 * kBytesOfRoom)};
}

Finding CheckFirewall(Examination& examination) {
    const std::optional<int> rules = CountFirewallRules();
    const State state = rules ? State::kOk : State::kUnknown;
    const std::string text = rules ? Counted(*rules, "rule") + " in the packet filter"
                                   : "the rules of the packet filter cannot be read by this user";
    if (examination.seen.datagrams > 0) return {state, text};
    if (examination.reached == 0) return {state, text + "; nothing of the stream reaches this machine"};
    if (!examination.reached)
        return {State::kUnknown,
                fmt::format("{}; {} of all kinds reached this machine meanwhile: run this as root to see whether "
                            "the stream is among them",
                            text, Counted(examination.Grown("IpExt.InMcastPkts"), "multicast packet"))};
    const std::string group = ToText(GroupAddress().sin_addr);
    return {
        State::kFailure,
        fmt::format("{} of the stream reached this machine, and none the data port; {}",
                    Counted(*examination.reached, "datagram"), text),
        "firewall",
        fmt::format("let UDP port {1} of {0} in through {2}: nft list ruleset shows the rule that does not, and "
                    "what stands in /etc/nftables.conf lasts; with ufw, ufw allow in on {2} to {0} port {1} "
                    "proto udp; with firewalld, firewall-cmd --permanent --add-port={1}/udp && firewall-cmd "
                    "--reload",
                    group, kDefaultDataPort, InterfaceName(examination.groupInterface))};
}
