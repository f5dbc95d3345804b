// What a client got of the stream, by the library's account of it.
#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "Routes.h"
#include "StreamWords.h"
#include "Wording.h"
#include "doctor/Checks.h"
#include "doctor/FaultWatch.h"
#include "doctor/Remedies.h"

namespace {

bool IsOneServer(const Examination& examination) { return examination.seen.senders.size() == 1; }

Finding SeveralServers() { return {State::kUnknown, "several senders: their numbers cannot be told apart"}; }

Finding LossFinding(std::uint64_t sStreamStatistics::*worst, std::string text, const std::string& interface) {
    if (worst == &sStreamStatistics::missingTooSlow)
        return {State::kLoss, std::move(text), "receiver-too-slow",
                "see what keeps this machine busy: top; or give clients more room: " +
                    LastingSetting("net.core.rmem_max", kSocketReceiveBuffer)};
    if (worst == &sStreamStatistics::missingUndecodable)
        return {
            State::kLoss, std::move(text), "frames-undecodable",
            "use the version of the library that belongs to the server; find what changes datagrams on the way"};
    const std::string find = fmt::format(
        "find what loses datagrams on the way: ip -s link show dev {}, and the "
        "counters of the switches",
        interface);
    if (worst == &sStreamStatistics::missingIncomplete)
        return {State::kLoss, std::move(text), "frames-broken", find};
    return {State::kLoss, std::move(text), "frames-missing",
            find + "; or see whether the server leaves numbers out: its own log"};
}

} // namespace

Finding CheckLosses(Examination& examination) {
    if (!IsOneServer(examination)) return SeveralServers();
    const sStreamStatistics& account = examination.account;
    std::string text = fmt::format("{} delivered to a client, {} lost{}",
                                   Counted(account.framesDelivered, "frame"), Lost(account), LossCauses(account));
    if (Lost(account) == 0) return {State::kOk, std::move(text)};
    const auto* const worst = std::max_element(
        std::begin(kLossCauses), std::end(kLossCauses),
        [&](const LossCause& a, const LossCause& b) { return account.*a.count < account.*b.count; });
    return LossFinding(worst->count, std::move(text), InterfaceName(examination.groupInterface));
}

Finding CheckNumbers(Examination& examination) {
    if (!IsOneServer(examination)) return SeveralServers();
    const std::uint64_t times = examination.account.numbersWentBack;
    std::string text = "the numbers of the frames went back " + Counted(times, "time");
    if (times == 0) return {State::kOk, std::move(text)};
    return {State::kWarning, std::move(text), "numbers-went-back",
            "see whether the server starts anew, or plays something over and over; or whether the network brings "
            "frames out of their order"};
}

Finding CheckPauses(Examination& examination) {
    constexpr double kNsPerMs = 1e6;
    const sStreamStatistics& account = examination.account;
    const auto between = std::chrono::nanoseconds(static_cast<std::int64_t>(account.intervalLargestNs));
    const std::chrono::nanoseconds longest = std::max(between, examination.seen.silenceAtEnd);
    std::string text = fmt::format(
        "the longest pause between two frames was {:.1f} ms, half of them are below {:.1f}",
        static_cast<double>(longest.count()) / kNsPerMs, static_cast<double>(account.intervalMedianNs) / kNsPerMs);
    if (longest <= LongestPause(account)) return {State::kOk, std::move(text)};
    return {
        State::kWarning, std::move(text), "stream-pauses",
        "see whether the server stops streaming; or what on the way keeps frames back: power saving of network "
        "cards, wireless links, a switch that loses the group's members"};
}
