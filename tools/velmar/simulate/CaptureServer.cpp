#include "simulate/CaptureServer.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "StopSignal.h"
#include "Wording.h"
#include "wire/Addresses.h"

namespace {

void Say(const std::string& line) {
    fmt::print("{:%H:%M:%S} {}\n", fmt::localtime(std::time(nullptr)), line);
    std::fflush(stdout);
}

} // namespace

CaptureServer::CaptureServer(const ServerOptions& options, FrameComposer& composer)
    : m_options(options),
      m_pacer(options.rate),
      m_desk(options.policy, DescribeStream(composer), m_pacer),
      m_link(options.faults),
      m_stream(options.stream, composer, m_link) {
    m_commands.Bind(kDefaultCommandPort);
    const Load& load = composer.Amounts();
    Say(fmt::format("serving port {}, streaming to {} at {:g} Hz, {}", kDefaultCommandPort, ToText(GroupAddress()),
                    options.rate, m_stream.Outlet().Way()));
    Say(composer.Figure().Summary());
    Say(fmt::format("a frame holds {}, {}, {}, {}, {}, {}, {}: {}", Counted(load.skeletons, "skeleton"),
                    Counted(load.markerSets, "marker set"), Counted(load.rigidBodies, "rigid body"),
                    Counted(load.labeledMarkers, "labelled marker"), Counted(load.otherMarkers, "other marker"),
                    Counted(composer.Plates().Plates().size(), "force plate"),
                    Counted(load.analog, "further analog channel"), Counted(composer.BodySize(), "byte")));
    if (const std::string leftOut = m_desk.Descriptions().LeftOut(); !leftOut.empty())
        Say(fmt::format("the descriptions leave out {}: a reply holds {} and {} at most", leftOut,
                        Counted(+TARVO_MAX_DESCRIPTIONS, "entry"), Counted(kPacketDataSize, "byte")));
}

void CaptureServer::Run() {
    m_started = FramePacer::Clock::now();
    m_pacer.Start(m_started);
    while (!Finished() && !StopSignal::Arrived()) {
        AwaitNext();
        AnswerAll();
        SendDueFrames();
    }
    if (!m_stream.Finish()) ++m_cutShort;
}

// Sleeps until a frame is due, a datagram arrives, or a signal does.
void CaptureServer::AwaitNext() {
    pollfd waiting{m_commands.Handle(), POLLIN, 0};
    std::optional<std::chrono::nanoseconds> left;
    if (const auto deadline = m_pacer.Deadline()) left = *deadline - FramePacer::Clock::now();
    StopSignal::Poll(waiting, left);
}

void CaptureServer::AnswerAll() {
    unsigned char datagram[65536];
    sockaddr_in from{};
    constexpr int kAtATime = 64; // then the stream and the signals are looked at
    for (int i = 0; i < kAtATime; ++i) {
        const auto size = m_commands.Receive(datagram, from);
        if (!size) return;
        std::string report;
        const auto message = m_joiner.Take(from, {datagram, *size}, report);
        if (!report.empty()) Say(fmt::format("{}: ignored a datagram: {}", ToText(from), report));
        if (!message) continue;
        const auto answer = m_desk.Handle(*message, report);
        Say(fmt::format("{}: {}", ToText(from), report));
        if (!answer) continue;
        const auto send = [&](Bytes part) {
            return m_link.Send(part, {}, [this, from](Bytes bytes) { return m_commands.SendTo(from, bytes); });
        };
        if (!CutMessage(answer->type, answer->sequence, answer->payload, send))
            Say(fmt::format("{}: the answer did not leave: {}", ToText(from),
                            std::generic_category().message(errno)));
    }
}

void CaptureServer::SendDueFrames() {
    // A late server catches up, but looks at its requests between the frames.
    const auto deadline = m_pacer.Deadline();
    if (!deadline || FramePacer::Clock::now() < *deadline || Finished()) return;
    SendFrame();
    m_lastFrame = FramePacer::Clock::now();
    m_pacer.Advance(m_lastFrame);
}

void CaptureServer::SendFrame() {
    if (!m_stream.Send(m_pacer.StreamSeconds())) {
        if (m_desk.Frames() == 0) m_stream.Outlet().ThrowNothingLeaves();
        if (m_cutShort++ == 0)
            Say(fmt::format("a frame did not leave whole: {}", std::generic_category().message(errno)));
    }
    m_desk.CountFrame();
}

std::string CaptureServer::Summary() const {
    const double seconds = std::chrono::duration<double>(m_lastFrame - m_started).count();
    const long long frames = m_desk.Frames();
    const double rate = frames > 1 && seconds > 0 ? static_cast<double>(frames - 1) / seconds : 0;
    return fmt::format(
        "{} sent in {:.2f} s ({:.2f} Hz), {} of them not whole; the latest was {:.1f} ms "
        "late\nasked: {}\nfaults: {}, {} left out",
        Counted(frames, "frame"), seconds, rate, m_cutShort, m_pacer.WorstLateness() * 1e3, m_desk.Summary(),
        m_link.Summary(), Counted(m_stream.LeftOut(), "number"));
}
