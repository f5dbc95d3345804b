// Whether this host gives the library what it asks for: the data port, the membership and the receive buffer.
#include <fmt/format.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

#include "Routes.h"
#include "StopSignal.h"
#include "StreamWords.h"
#include "Wording.h"
#include "doctor/Checks.h"
#include "doctor/Remedies.h"
#include "wire/Addresses.h"

namespace {

int Set(const UdpSocket& socket, int level, int option, const auto& value) {
    return setsockopt(socket.Handle(), level, option, &value, sizeof value);
}

} // namespace

Finding CheckDataPort(Examination& examination) {
    Set(examination.data, SOL_SOCKET, SO_REUSEADDR, 1);
    Set(examination.data, SOL_SOCKET, SO_RCVBUF, kSocketReceiveBuffer);
    try {
        examination.data.StampArrivals();
        examination.data.Bind(kDefaultDataPort);
    } catch (const std::system_error& error) {
        return {State::kFailure, error.what(), "port-held",
                fmt::format("end the program that holds UDP port {} without sharing it: ss -ulpn 'sport = :{}'",
                            kDefaultDataPort, kDefaultDataPort)};
    }
    return {State::kOk, fmt::format("UDP port {} can be had", kDefaultDataPort)};
}

// Joins where the library does, and then on every other interface, so that a stream is seen that comes elsewhere.
Finding CheckMembership(Examination& examination) {
    const in_addr group = GroupAddress().sin_addr;
    const std::string name = InterfaceName(examination.groupInterface);
    const bool joined = Set(examination.data, IPPROTO_IP, IP_ADD_MEMBERSHIP,
                            ip_mreqn{group, {}, static_cast<int>(examination.groupInterface)}) == 0;
    const std::string reason = joined ? "the system does not list it" : std::generic_category().message(errno);
    if (!joined || IsMember(name, group) == false)
        return {State::kFailure, fmt::format("{} cannot be joined on {}: {}", ToText(group), name, reason),
                "no-membership",
                LastingMulticast(name) + "; and " + LastingSetting("net.ipv4.igmp_max_memberships", 100)};
    for (const Interface& interface : MulticastInterfaces())
        Set(examination.data, IPPROTO_IP, IP_ADD_MEMBERSHIP,
            ip_mreqn{group, {}, static_cast<int>(interface.index)});
    return {State::kOk, fmt::format("{} joined on {}", ToText(group), name)};
}

Finding CheckClient(Examination& examination) {
    constexpr int kStarts = 3; // the one answer that each waits for gets lost too
    std::string reason;
    int result = 1;
    for (int attempt = 0; attempt < kStarts && result != 0 && !StopSignal::Arrived(); ++attempt)
        result = examination.client.Start(reason);
    if (result != 0)
        return {State::kFailure, fmt::format("a client does not start, with {}: {}", result, reason),
                "client-fails", "see what the library's log says: velmar watch --verbose " + examination.server};
    const sStreamStatistics joined = examination.client.Statistics();
    if (const unsigned int index = InterfaceNamed(joined.interfaceName); index != 0)
        examination.groupInterface = index;
    std::string text = "it joins the stream on " + JoinedInterface(joined);
    if (examination.defaultInterface != 0 && examination.defaultInterface != examination.groupInterface)
        text += fmt::format(" and on {}", InterfaceName(examination.defaultInterface));
    return {State::kOk, std::move(text)};
}

Finding CheckReceiveBuffer(Examination& examination) {
    int granted = 0;
    socklen_t size = sizeof granted;
    getsockopt(examination.data.Handle(), SOL_SOCKET, SO_RCVBUF, &granted, &size);
    granted /= 2; // the system counts its own overhead in
    const long long drops = DropsOnPort(kDefaultDataPort);
    const long long meanwhile = drops - examination.dropsBefore;
    const std::string text = fmt::format(
        "{} granted, {} wanted; {} dropped for lack of room, {} of them meanwhile", Counted(granted, "byte"),
        Counted(kSocketReceiveBuffer, "byte"), Counted(drops, "datagram"), meanwhile);
    if (drops > 0)
        return {meanwhile > 0 ? State::kLoss : State::kWarning, text, "receiver-too-slow",
                fmt::format("see which program does not keep up: ss -uampn 'sport = :{}'; it takes frames faster, "
                            "or gets more room: {}",
                            kDefaultDataPort, LastingSetting("net.core.rmem_max", kSocketReceiveBuffer))};
    if (granted >= kSocketReceiveBuffer) return {State::kOk, text};
    return {State::kWarning, text, "small-receive-buffer",
            LastingSetting("net.core.rmem_max", kSocketReceiveBuffer) + ", before the client starts"};
}
