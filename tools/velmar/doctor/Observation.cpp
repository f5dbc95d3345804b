#include "doctor/Observation.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "AppDataModel.h"
#include "StopSignal.h"
#include "Wording.h"
#include "wire/Addresses.h"

void Observation::Listen(UdpSocket& socket, std::chrono::nanoseconds duration) {
    using Clock = std::chrono::steady_clock;
    auto latest = Clock::now();
    const auto deadline = latest + duration;
    unsigned char datagram[65536];
    while (!StopSignal::Arrived() && Clock::now() < deadline) {
        pollfd waiting{socket.Handle(), POLLIN, 0};
        StopSignal::Poll(waiting, deadline - Clock::now());
        while (Clock::now() < deadline) {
            const auto arrival = socket.ReceiveStamped(datagram);
            if (!arrival) break;
            latest = Clock::now();
            Add(arrival->from, arrival->interface, {datagram, arrival->size});
        }
    }
    silenceAtEnd = Clock::now() - latest;
}

std::vector<unsigned int> Observation::MissingFragments() const {
    std::vector<unsigned int> missing;
    for (unsigned int index = 0; index < fragmentsOfLongest; ++index)
        if (!byFragment.contains(index)) missing.push_back(index);
    return missing;
}

void Observation::Add(const sockaddr_in& from, unsigned int interface, Bytes datagram) {
    ++datagrams;
    ++byInterface[interface];
    constexpr std::size_t kMostSenders = 8; // whoever forges addresses fills no memory
    if (senders.size() < kMostSenders) senders.insert(ToText(from));
    largest = std::max(largest, datagram.size());
    tagPackageHeader header{};
    std::memcpy(&header, datagram.data(), std::min(datagram.size(), kPackageHeaderSize));
    if (datagram.size() < kPackageHeaderSize || header.magic != kPackageMagic ||
        header.fragmentLength != datagram.size() - kPackageHeaderSize) {
        ++foreign;
        return;
    }
    const std::size_t length = std::clamp<std::size_t>(header.totalLength, 1, kMaxMessageSize);
    const auto count = static_cast<unsigned int>((length + kMaxFragmentPayload - 1) / kMaxFragmentPayload);
    fragmentsOfLongest = std::max(fragmentsOfLongest, count);
    ++byFragment[header.fragmentIndex];
    Join(m_streams[interface], header, from, datagram);
}

void Observation::Join(Stream& stream, const tagPackageHeader& header, const sockaddr_in& from, Bytes datagram) {
    const bool begins = header.fragmentIndex == 0;
    const bool again = std::equal(datagram.begin(), datagram.end(), stream.last.begin(), stream.last.end());
    stream.last.assign(datagram.begin(), datagram.end());
    repeated += again ? 1 : 0;
    if (again && !begins) return;
    stream.begun = stream.begun || begins;
    if (!stream.begun) return;
    if (begins && stream.open && !again) ++unfinished;
    std::string problem;
    const auto message = stream.joiner.Take(from, datagram, problem);
    if (message) AddMessage(*message);
    if (!problem.empty()) ++broken;
    stream.open = !message && problem.empty();
}

void Observation::AddMessage(const Message& message) {
    CAppDataModel model;
    sFrameOfMocapData* frame = nullptr;
    int length = 0;
    const bool isFrame = message.type == PackageType_Frame &&
                         model.DecodeMocap(message.payload.data(),
                                           static_cast<unsigned int>(message.payload.size()), length, frame) == 0;
    model.ReleaseMocap(frame);
    longest = std::max(longest, message.payload.size());
    ++(isFrame ? frames : otherMessages);
    if (!isFrame)
        latestOther = fmt::format("type {} with {}", message.type, Counted(message.payload.size(), "byte"));
}
