#include "end_to_end/Stream.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/socket.h>

#include <array>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "TarvoSDKClient.h"
#include "wire/Messages.h"

namespace {

// The sender's time stands in auxValue64, which only the flags follow.
constexpr std::size_t kStampFromEnd = sizeof sFrameOfMocapData::auxValue64 + sizeof sFrameOfMocapData::flags;

sockaddr_in GroupAddress(int port) {
    static const in_addr group = Resolve(kDefaultMulticastGroup);
    return MakeAddress(group, port);
}

tagPackageHeader HeaderOf(Bytes datagram) {
    tagPackageHeader header{};
    std::memcpy(&header, datagram.data(), sizeof header);
    return header;
}

void Answer(UdpSocket& socket, Bytes datagram, const sockaddr_in& from) {
    const tagPackageHeader header = HeaderOf(datagram);
    const auto reply = [&](int type, Bytes payload) {
        CutMessage(type, header.sequence, payload, [&](Bytes answer) { return socket.SendTo(from, answer); });
    };
    std::array<unsigned char, kVersionRecordSize> accepted{};
    accepted[kVersionAcceptedOffset] = 1;
    if (header.type == PackageType_VersionRequest) reply(PackageType_VersionReply, accepted);
    if (header.type == PackageType_ServerDescription)
        reply(header.type, std::array<unsigned char, TARVO_SERVER_DESCRIPTION_SIZE>{});
}

} // namespace

std::int64_t Now(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

void SpinUntil(std::int64_t time) {
    while (Now() < time) {
    }
}

void Require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

sockaddr_in ServerAddress() { return MakeAddress({htonl(INADDR_LOOPBACK)}, kDefaultCommandPort); }

bool PinTo(Core core) {
    static const cpu_set_t allowed = [] {
        cpu_set_t set;
        sched_getaffinity(0, sizeof set, &set);
        return set;
    }();
    int first = 0;
    int last = CPU_SETSIZE - 1;
    while (!CPU_ISSET(first, &allowed)) ++first;
    while (!CPU_ISSET(last, &allowed)) --last;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(core == Core::kSender ? first : last, &one);
    return sched_setaffinity(0, sizeof one, &one) == 0 && first != last;
}

void Arrivals::Expect(int frames, std::int64_t holdNs) {
    m_latencies.assign(static_cast<std::size_t>(frames), 0);
    m_holdNs = holdNs;
    m_count = 0;
}

void Arrivals::Take(std::uint64_t sentAt) {
    const std::int64_t now = Now();
    const auto index = static_cast<std::size_t>(Count());
    if (index >= m_latencies.size()) return; // a straggler
    m_latencies[index] = static_cast<double>(now - static_cast<std::int64_t>(sentAt)) / 1e3;
    if (index == 0) {
        m_isHeld = true;
        while (m_held) {
        }
        m_isHeld = false;
        m_processorStart = Now(CLOCK_THREAD_CPUTIME_ID);
    }
    if (index + 1 == m_latencies.size()) m_processorEnd = Now(CLOCK_THREAD_CPUTIME_ID);
    SpinUntil(now + m_holdNs);
    m_count.fetch_add(1, std::memory_order_release);
}

void Arrivals::AwaitHeld() const {
    while (!m_isHeld) {
    }
}

bool Arrivals::Await(int frames) const {
    constexpr std::int64_t kPatienceNs = 200000000; // whoever is behind makes progress all the time
    int seen = Count();
    for (std::int64_t deadline = Now() + kPatienceNs; seen < frames && Now() < deadline;) {
        const int count = Count();
        if (count != std::exchange(seen, count)) deadline = Now() + kPatienceNs;
    }
    return seen >= frames;
}

double Arrivals::ProcessorTime() const {
    return static_cast<double>(m_processorEnd - m_processorStart) / 1e3 / (Count() - 1);
}

DatagramLoop::DatagramLoop(int port, Handler handler, bool joinsGroup)
    : m_port(port), m_handler(std::move(handler)) {
    m_socket.Bind(port);
    fcntl(m_socket.Handle(), F_SETFL, 0); // blocking
    setsockopt(m_socket.Handle(), SOL_SOCKET, SO_RCVBUF, &kSocketReceiveBuffer, sizeof kSocketReceiveBuffer);
    const ip_mreq group{GroupAddress(port).sin_addr, ServerAddress().sin_addr};
    if (joinsGroup)
        Require(setsockopt(m_socket.Handle(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group) == 0,
                "no group");
    m_thread = std::thread([this] { Run(); });
}

DatagramLoop::~DatagramLoop() {
    m_stopping = true;
    UdpSocket().SendTo(MakeAddress(ServerAddress().sin_addr, m_port), {}); // ends the receive
    m_thread.join();
}

void DatagramLoop::Run() {
    Body area(kMaxDatagramSize);
    while (!m_stopping) {
        sockaddr_in from{};
        const auto size = m_socket.Receive(area, from);
        if (size && *size >= kPackageHeaderSize) m_handler(m_socket, Bytes(area).first(*size), from);
    }
}

BareLoop::BareLoop()
    : Receiver(kDefaultDataPort + 1),
      m_loop(
          port, [this](UdpSocket&, Bytes datagram, const sockaddr_in&) { Join(datagram); }, true) {}

void BareLoop::Join(Bytes datagram) {
    const tagPackageHeader header = HeaderOf(datagram);
    const Bytes payload = datagram.subspan(kPackageHeaderSize);
    if (header.fragmentIndex == 0) m_size = 0;
    if (m_size != header.fragmentIndex * kMaxFragmentPayload) return; // one before it was lost
    std::memcpy(m_joined.data() + m_size, payload.data(), payload.size());
    m_size += payload.size();
    if (m_size != header.totalLength) return;
    std::uint64_t sentAt = 0;
    std::memcpy(&sentAt, m_joined.data() + m_size - kStampFromEnd, sizeof sentAt);
    arrivals.Take(sentAt);
}

Server::Server() : loop(kDefaultCommandPort, Answer, false) {}

// The client's receive threads inherit the core of the thread that starts it.
StreamClient::StreamClient() : Receiver(kDefaultDataPort) {
    PinTo(Core::kReceiver);
    CreateClient(&m_client);
    SetVerbosityLevel(m_client, 0);
    const auto take = [](sFrameOfMocapData* frame, void* to) {
        static_cast<Arrivals*>(to)->Take(frame->auxValue64);
    };
    SetDataCallback(m_client, take, &arrivals);
    char host[] = "127.0.0.1";
    Require(Initialize(m_client, host) == 0, "the client does not start");
    PinTo(Core::kSender);
}

StreamClient::~StreamClient() { DestroyClient(m_client); }

FrameSender::FrameSender(const FrameLoad& load) {
    m_socket.SetMulticastInterface(if_nametoindex("lo"), ServerAddress().sin_addr);
    CutMessage(PackageType_Frame, 0, load.Encode(), [this](Bytes datagram) {
        m_datagrams.emplace_back(datagram.begin(), datagram.end());
        return true;
    });
    Require(m_datagrams.size() <= kMaxFragments, "no message carries the frame");
    Require(m_datagrams.back().size() >= kPackageHeaderSize + kStampFromEnd, "no room for the time");
}

void FrameSender::Send(const Receiver& to) {
    const sockaddr_in group = GroupAddress(to.port);
    const std::int64_t now = Now();
    Body& last = m_datagrams.back();
    std::memcpy(last.data() + last.size() - kStampFromEnd, &now, sizeof now);
    for (const Body& datagram : m_datagrams)
        Require(m_socket.SendTo(group, datagram), "a datagram cannot be sent");
}

double FrameSender::Stream(const Receiver& to, int frames, double rate) {
    const std::int64_t start = Now();
    for (int i = 0; i < frames; ++i) {
        SpinUntil(start + std::llround(i * 1e9 / rate));
        Send(to);
    }
    SpinUntil(start + std::llround(frames * 1e9 / rate));
    return frames * 1e9 / static_cast<double>(Now() - start);
}
