// Whether the server answers, and whether it accepts this library's version.
#include <fmt/format.h>

#include <cerrno>
#include <random>
#include <system_error>

#include "StopSignal.h"
#include "TarvoSDKClient.h"
#include "Wording.h"
#include "doctor/Checks.h"
#include "wire/Addresses.h"
#include "wire/Reply.h"

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 1s; // for one answer
constexpr int kAttempts = 3;   // datagrams get lost

// Without an answer, `instead` has what went wrong or came instead, if anything did.
std::optional<Message> AskForVersion(Examination& examination, std::string& instead) {
    const sockaddr_in server = MakeAddress(examination.address, kDefaultCommandPort);
    const std::uint32_t sequence = std::random_device{}() | 2U;
    std::vector<unsigned char> record(kVersionRecordSize);
    Quorin_GetVersion(record.data() + kVersionOffset);
    for (int attempt = 0; attempt < kAttempts && !StopSignal::Arrived(); ++attempt) {
        if (!CutMessage(PackageType_VersionRequest, sequence, record,
                        [&](Bytes part) { return examination.commands.SendTo(server, part); }))
            instead = fmt::format("the request does not leave: {}", std::generic_category().message(errno));
        auto reply = AwaitReply(examination.commands, sequence, kPatience, instead);
        if (!reply) continue;
        if (reply->type == PackageType_VersionReply && reply->payload.size() >= kVersionRecordSize) return reply;
        instead =
            fmt::format("a reply of type {} with {} came", reply->type, Counted(reply->payload.size(), "byte"));
    }
    return std::nullopt;
}

} // namespace

Finding CheckServer(Examination& examination) {
    const std::string place = fmt::format("port {} of {}", kDefaultCommandPort, ToText(examination.address));
    std::string instead;
    const auto reply = AskForVersion(examination, instead);
    if (!reply)
        return {State::kFailure,
                fmt::format("no answer from {} to {} version requests within {} s{}", place, kAttempts,
                            std::chrono::seconds(kAttempts * kPatience).count(),
                            instead.empty() ? "" : "; " + instead),
                "server-silent",
                fmt::format("start the server, and let UDP port {} through the firewalls of both machines",
                            kDefaultCommandPort)};
    const std::string version = VersionText(reply->payload.data() + kVersionOffset);
    if (reply->payload[kVersionAcceptedOffset] != 0)
        return {State::kOk, fmt::format("{} answers, has version {} and accepts this one", place, version)};
    unsigned char own[4];
    Quorin_GetVersion(own);
    return {State::kFailure, fmt::format("{} has version {} and refuses {}", place, version, VersionText(own)),
            "version-refused", fmt::format("use a library for version {}, or a matching server", version)};
}
