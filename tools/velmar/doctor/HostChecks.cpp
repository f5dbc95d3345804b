// What this host's network layer takes away before a socket sees it.
#include <fmt/format.h>

#include <algorithm>

#include "Routes.h"
#include "doctor/Checks.h"
#include "doctor/Firewall.h"
#include "wire/Addresses.h"

namespace {

// The interfaces of which the reverse-path filter is on.
std::string FilteringInterfaces() {
    const std::string folder = "net/ipv4/conf/";
    std::string names;
    for (const Interface& interface : MulticastInterfaces())
        if (std::max(Setting(folder + "all/rp_filter"), Setting(folder + interface.name + "/rp_filter")) > 0)
            names += (names.empty() ? "" : ", ") + interface.name;
    return names;
}

} // namespace

Finding CheckReversePath(Examination& examination) {
    const std::string names = FilteringInterfaces();
    const long long dropped = examination.Grown("TcpExt.IPReversePathFilter");
    if (dropped > 0 && examination.seen.datagrams == 0)
        return {
            State::kFailure,
            fmt::format("the filter of {} dropped {} packets, whose sender is routed elsewhere", names, dropped),
            "reverse-path-filter",
            fmt::format("add a route to the sender through the interface of the stream, or turn the filter of {} "
                        "off: sysctl -w net.ipv4.conf.all.rp_filter=0 net.ipv4.conf.INTERFACE.rp_filter=0",
                        names)};
    return {State::kOk,
            names.empty() ? "no filter is on" : fmt::format("on for {}, {} packets dropped", names, dropped)};
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
        fmt::format("{} arrived, {} packets joined; a full datagram makes {} bytes, the MTU is {}", arrived,
                    joined, kFullPacket, mtu);
    const Observation& seen = examination.seen;
    const bool expected = arrived > 0 || seen.fragmentsOfLongest > 1;
    // A server may cut smaller: then messages of several datagrams are whole.
    if (expected && joined == 0 && seen.largest < kMaxDatagramSize && seen.longest <= seen.largest)
        return {
            State::kFailure, "full datagrams do not come: " + text, "ip-fragments-lost",
            fmt::format("let IP fragments through every firewall on the way; or have an MTU of {} on all of it",
                        kFullPacket)};
    return {examination.Grown("Ip.ReasmFails") > 0 ? State::kWarning : State::kOk, text};
}

Finding CheckFirewall(Examination& examination) {
    const std::optional<int> rules = CountFirewallRules();
    std::string text = "the rules of the packet filter cannot be read";
    if (rules)
        text = fmt::format("{} in the packet filter", *rules == 1 ? "1 rule" : fmt::format("{} rules", *rules));
    if (examination.seen.datagrams > 0) return {State::kOk, text};
    if (examination.reached == 0) return {State::kOk, text + "; nothing of the stream reaches this machine"};
    if (examination.reached)
        return {State::kFailure,
                fmt::format("{} datagrams of the stream reached this machine, and none the data port; {}",
                            *examination.reached, text),
                "firewall",
                fmt::format("let UDP to {} in: see nft list ruleset; with ufw, ufw allow {}/udp; with firewalld, "
                            "firewall-cmd --add-port={}/udp",
                            ToText(GroupAddress()), kDefaultDataPort, kDefaultDataPort)};
    return {
        State::kWarning,
        fmt::format("{}; {} multicast packets of all kinds reached this machine meanwhile: run this as root to "
                    "see whether the stream is among them",
                    text, examination.Grown("IpExt.InMcastPkts"))};
}
