// What the datagrams on the data port are.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Routes.h"
#include "doctor/Checks.h"
#include "doctor/PacketTap.h"
#include "wire/Addresses.h"

long long Examination::Grown(const std::string& counter) const {
    const auto old = before.find(counter);
    const auto now = after.find(counter);
    return old == before.end() || now == after.end() ? 0 : now->second - old->second;
}

Finding CheckArrivals(Examination& examination) {
    constexpr std::chrono::seconds kObservation(2);
    const Bytes hello(reinterpret_cast<const unsigned char*>(kHelloText), sizeof kHelloText);
    examination.before = ReadCounters();
    CutMessage(PackageType_Hello, 0, hello, [&](Bytes part) {
        return examination.commands.SendTo(MakeAddress(examination.address, kDefaultCommandPort), part);
    });
    const PacketTap tap(GroupAddress());
    Observation& seen = examination.seen;
    seen.Listen(examination.data, kObservation);
    examination.reached = tap.Packets();
    examination.after = ReadCounters();
    if (seen.datagrams == 0)
        return {State::kWarning,
                fmt::format("no datagram on port {} within {} s", kDefaultDataPort, kObservation.count())};
    const std::string text =
        fmt::format("{} datagrams within {} s, the largest of {} bytes, from {}", seen.datagrams,
                    kObservation.count(), seen.largest, fmt::join(seen.senders, ", "));
    if (seen.senders.size() == 1) return {State::kOk, text};
    return {State::kWarning, text + ": two servers that stream at once break each other's frames"};
}

Finding CheckInterface(Examination& examination) {
    const std::string own = InterfaceName(examination.groupInterface);
    std::string others;
    for (const auto& [interface, datagrams] : examination.seen.byInterface)
        if (interface != examination.groupInterface)
            others += (others.empty() ? "" : ", ") + InterfaceName(interface);
    if (others.empty()) return {State::kOk, "nothing comes beside " + own};
    if (examination.seen.byInterface.contains(examination.groupInterface))
        return {State::kWarning, fmt::format("datagrams come on {}, but also on {}", own, others)};
    return {State::kFailure, fmt::format("the stream comes on {}, the library joins on {}", others, own),
            "wrong-interface",
            fmt::format("ip route replace {} dev {}; or let the server stream through the network of {}",
                        kDefaultMulticastGroup, others, own)};
}

Finding CheckProtocol(Examination& examination) {
    const Observation& seen = examination.seen;
    const std::string text =
        fmt::format("{} of {} datagrams are another protocol's", seen.foreign, seen.datagrams);
    if (seen.foreign == 0) return {State::kOk, text};
    if (seen.foreign < seen.datagrams) return {State::kWarning, text};
    return {State::kFailure, text, "foreign-protocol",
            fmt::format("another program uses {}:{}: move it elsewhere, and see whether the server streams",
                        kDefaultMulticastGroup, kDefaultDataPort)};
}

Finding CheckMessageFragments(Examination& examination) {
    const Observation& seen = examination.seen;
    const std::vector<unsigned int> missing = seen.MissingFragments();
    const std::string text =
        fmt::format("{} of {} datagrams did not continue a message", seen.broken, seen.datagrams);
    if (seen.frames + seen.otherMessages > 0 || seen.foreign == seen.datagrams)
        return {seen.broken == 0 ? State::kOk : State::kWarning, text};
    if (missing.empty() && seen.broken == 0)
        return {State::kFailure, "they continue each other, and never reach the length that they state",
                "message-never-complete",
                "let the server state the payload bytes of the whole message in the header of each datagram"};
    if (missing.empty())
        return {
            State::kFailure, text, "fragments-out-of-order",
            "find what loses or swaps datagrams on the way: wireless links, bonded links, an overloaded switch"};
    std::string list;
    for (const unsigned int index : missing) list += fmt::format("{}{}", list.empty() ? "" : ", ", index);
    return {State::kFailure,
            fmt::format("fragment {} of 0 to {} never comes ({})", list, seen.fragmentsOfLongest - 1, text),
            "fragment-missing",
            fmt::format("find what drops datagram {} of every frame on the way: a limit on bursts in a switch, a "
                        "firewall",
                        list)};
}

Finding CheckFrames(Examination& examination) {
    const Observation& seen = examination.seen;
    const std::string text = fmt::format("{} whole frames", seen.frames);
    if (seen.frames > 0) return {State::kOk, text};
    if (seen.otherMessages > 0)
        return {State::kFailure,
                fmt::format("{}, {} messages that are none, the latest of {}", text, seen.otherMessages,
                            seen.latestOther),
                "other-version",
                "use the version of the library that belongs to the server that streams; whoever writes a server "
                "compares its frames with docs/protocol.md"};
    return {
        State::kFailure, text, "no-stream",
        fmt::format("see whether the server streams, and to {}:{}; whether a switch on the way keeps multicast "
                    "back (IGMP snooping without a querier); and the firewalls of both machines",
                    kDefaultMulticastGroup, kDefaultDataPort)};
}
