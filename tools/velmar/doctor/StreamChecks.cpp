// What the datagrams on the data port are.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Routes.h"
#include "Wording.h"
#include "doctor/Checks.h"
#include "doctor/PacketTap.h"
#include "doctor/Remedies.h"
#include "wire/Addresses.h"

namespace {

constexpr const char* kFindLosses =
    "find what loses or swaps datagrams on the way: wireless links, bonded links, an overloaded switch";

Finding NoStream(State state, std::string text) {
    return {state, std::move(text), "no-stream",
            fmt::format("see whether the server streams, and to {}; whether a switch on the way keeps multicast "
                        "back (IGMP snooping without a querier); and the firewalls of both machines",
                        ToText(GroupAddress()))};
}

// Of a stream of which messages arrive. What comes twice, a client drops; messages that miss a part are lost.
Finding JudgeSome(const Observation& seen, std::string text, const std::string& interface) {
    if (seen.HasBrokenMessages())
        return {State::kLoss, std::move(text), "frames-broken",
                fmt::format("{}; the counts of this machine: ip -s link show dev {}", kFindLosses, interface)};
    if (seen.repeated > 0)
        return {State::kWarning, std::move(text), "datagrams-repeated",
                fmt::format("find what sends datagrams twice into the network of {}: a loop between switches, a "
                            "mirrored port, a bridge",
                            interface)};
    return {State::kOk, std::move(text)};
}

} // namespace

long long Examination::Grown(const std::string& counter) const {
    const auto old = before.find(counter);
    const auto now = after.find(counter);
    return old == before.end() || now == after.end() ? 0 : now->second - old->second;
}

Finding CheckArrivals(Examination& examination) {
    constexpr std::chrono::seconds kObservation(2);
    const Bytes hello(reinterpret_cast<const unsigned char*>(kHelloText), sizeof kHelloText);
    examination.before = ReadCounters();
    examination.dropsBefore = DropsOnPort(kDefaultDataPort);
    CutMessage(PackageType_Hello, 0, hello, [&](Bytes part) {
        return examination.commands.SendTo(MakeAddress(examination.address, kDefaultCommandPort), part);
    });
    const PacketTap tap(GroupAddress());
    Observation& seen = examination.seen;
    seen.Listen(examination.data, kObservation);
    examination.reached = tap.Packets();
    examination.after = ReadCounters();
    examination.account = examination.client.Statistics();
    if (seen.datagrams == 0)
        return NoStream(State::kWarning,
                        fmt::format("no datagram on port {} within {} s", kDefaultDataPort, kObservation.count()));
    const std::string senders = fmt::format("{}", fmt::join(seen.senders, ", "));
    const std::string text =
        fmt::format("{} within {} s, the largest of {}, from {}", Counted(seen.datagrams, "datagram"),
                    kObservation.count(), Counted(seen.largest, "byte"), senders);
    if (seen.senders.size() == 1) return {State::kOk, text};
    return {seen.HasBrokenMessages() ? State::kLoss : State::kWarning,
            text + ": servers that stream at once break each other's frames", "several-senders",
            fmt::format("let only one of {} stream to {}", senders, ToText(GroupAddress()))};
}

Finding CheckInterface(Examination& examination) {
    const std::string own = InterfaceName(examination.groupInterface);
    std::string others;
    bool comesHere = false;
    for (const auto& [interface, datagrams] : examination.seen.byInterface) {
        const bool isJoined = interface == examination.groupInterface || interface == examination.defaultInterface;
        comesHere = comesHere || isJoined;
        if (!isJoined) others += (others.empty() ? "" : ", ") + InterfaceName(interface);
    }
    if (others.empty()) return {State::kOk, "nothing comes beside " + own};
    if (comesHere)
        return {State::kWarning, fmt::format("datagrams come on {}, but also on {}", own, others),
                "several-interfaces",
                fmt::format("let the server stream through the network of {} only, and no other server stream to "
                            "{} on {}",
                            own, ToText(GroupAddress()), others)};
    return {State::kFailure, fmt::format("the stream comes on {}, clients join on {}", others, own),
            "wrong-interface",
            fmt::format("join on {}: {}; or let the server stream through the network of {}", others,
                        JoiningOn(others.substr(0, others.find(','))), own)};
}

Finding CheckProtocol(Examination& examination) {
    const Observation& seen = examination.seen;
    const std::string text =
        fmt::format("{} of {} do not belong to this protocol", seen.foreign, Counted(seen.datagrams, "datagram"));
    if (seen.foreign == 0) return {State::kOk, text};
    const std::string move =
        fmt::format("another program sends to {}: move it to another group or port", ToText(GroupAddress()));
    if (seen.foreign < seen.datagrams) return {State::kWarning, text, "foreign-datagrams", move};
    return {State::kFailure, text, "foreign-protocol", move + ", and see whether the server streams"};
}

Finding CheckMessageFragments(Examination& examination) {
    const Observation& seen = examination.seen;
    const std::vector<unsigned int> missing = seen.MissingFragments();
    const std::string text =
        fmt::format("{} of {} did not continue a message, {} came twice, {} not finished", seen.broken,
                    Counted(seen.datagrams, "datagram"), seen.repeated,
                    seen.unfinished == 1 ? "1 message was" : Counted(seen.unfinished, "message") + " were");
    if (seen.frames + seen.otherMessages > 0 || seen.foreign == seen.datagrams)
        return JudgeSome(seen, text, InterfaceName(examination.groupInterface));
    if (missing.empty() && seen.broken == 0)
        return {State::kFailure, "they continue each other, and never reach the length that they state",
                "message-never-complete",
                "let the server state the payload bytes of the whole message in the header of each datagram"};
    if (missing.empty()) return {State::kFailure, text, "fragments-out-of-order", kFindLosses};
    std::string list;
    for (const unsigned int index : missing) list += fmt::format("{}{}", list.empty() ? "" : ", ", index);
    return {State::kFailure, fmt::format("fragment {} of 0 to {} never comes", list, seen.fragmentsOfLongest - 1),
            "fragment-missing",
            fmt::format("find what drops datagram {} of every frame on the way: a limit on bursts in a switch, a "
                        "firewall",
                        list)};
}

Finding CheckFrames(Examination& examination) {
    const Observation& seen = examination.seen;
    const std::string text = Counted(seen.frames, "whole frame");
    if (seen.frames > 0) return {State::kOk, text};
    if (seen.otherMessages > 0)
        return {State::kFailure,
                fmt::format("{}, {} that cannot be decoded as one, the latest of {}", text,
                            Counted(seen.otherMessages, "message"), seen.latestOther),
                "other-version",
                "use the version of the library that belongs to the server that streams; whoever writes a server "
                "compares its frames with docs/protocol.md"};
    return NoStream(State::kFailure, text);
}
