#include "capture/Recording.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "StopSignal.h"
#include "capture/CaptureFile.h"
#include "wire/Addresses.h"
#include "wire/Messages.h"

namespace {

bool IsAnswer(const CapturedDatagram& datagram) { return datagram.from.sin_port == htons(kDefaultCommandPort); }

void KeepAnswer(Message& message, Recording& recording) {
    if (message.payload.empty()) return;
    if (message.type == PackageType_DataDescriptions) recording.descriptions = std::move(message.payload);
    if (message.type == PackageType_ServerDescription) recording.server = std::move(message.payload);
    if (message.type != PackageType_VersionReply || message.payload.size() < kVersionRecordSize) return;
    if (!recording.version || message.payload[kVersionAcceptedOffset] != 0)
        recording.version = std::move(message.payload);
}

} // namespace

bool IsStream(const CapturedDatagram& datagram) {
    static const sockaddr_in group = GroupAddress();
    return datagram.to.sin_port == group.sin_port && datagram.to.sin_addr.s_addr == group.sin_addr.s_addr;
}

Recording Survey(const std::string& path) {
    Recording recording;
    CaptureFile file(path);
    MessageJoiner frames; // a server may send all it has from one port
    MessageJoiner answers;
    std::optional<std::chrono::nanoseconds> first;
    while (const auto datagram = file.Next()) {
        const bool stream = IsStream(*datagram);
        if (!stream && !IsAnswer(*datagram)) continue;
        if (stream) {
            ++recording.datagrams;
            recording.bytes += static_cast<long long>(datagram->payload.size());
            if (!first) first = datagram->time;
            recording.duration = std::max(recording.duration, datagram->time - *first);
        }
        std::string problem;
        auto message = (stream ? frames : answers).Take(datagram->from, datagram->payload, problem);
        if (!message) continue;
        if (!stream)
            KeepAnswer(*message, recording);
        else if (message->type == PackageType_Frame)
            ++recording.frames;
    }
    if (StopSignal::Arrived()) throw std::runtime_error("stopped before the end of " + path);
    recording.damage = file.Damage();
    if (recording.frames == 0)
        throw std::runtime_error(recording.damage.empty()
                                     ? fmt::format("{} holds no frame sent to {}", path, ToText(GroupAddress()))
                                     : fmt::format("{}; before that, it holds no frame", recording.damage));
    return recording;
}
