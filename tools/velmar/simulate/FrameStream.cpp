#include "simulate/FrameStream.h"

#include <fmt/format.h>

#include <cerrno>

#include "AppDataModel.h"
#include "UsageError.h"
#include "wire/Checksum.h"
#include "wire/Messages.h"

FrameStream::FrameStream(const StreamOptions& options, FrameComposer& composer, FaultyLink& link)
    : m_options(options),
      m_composer(composer),
      m_link(link),
      m_outlet(options.interface, options.hops),
      m_body(composer.BodySize()) {
    if (!options.frameLog) return;
    m_log.open(*options.frameLog);
    if (!m_log)
        throw UsageError(
            fmt::format("--frame-log: takes a file that can be written, not '{}'", *options.frameLog));
}

// The checksum goes in when everything else stands.
Bytes FrameStream::Encode(sFrameOfMocapData& frame) {
    int length = 0;
    const auto encode = [&] {
        CAppDataModel().EncodeMocap(&frame, m_body.data(), length);
        return Bytes(m_body.data(), static_cast<std::size_t>(length));
    };
    frame.auxValue32 = 0;
    frame.auxValue32 = Checksum(encode());
    return encode();
}

bool FrameStream::Send(double seconds) {
    const long long index = m_options.restartEvery ? m_sent % *m_options.restartEvery : m_sent;
    ++m_sent;
    sFrameOfMocapData& frame = m_composer.ComposeAt(static_cast<int>(index + 1), seconds);
    const Bytes body = Encode(frame);
    const auto count = static_cast<unsigned int>((body.size() + kMaxFragmentPayload - 1) / kMaxFragmentPayload);
    unsigned int fragment = 0;
    const bool taken = CutMessage(PackageType_Frame, 0, body, [&](Bytes datagram) {
        return m_link.Send(datagram, FaultyLink::Place{frame.auxValue64, fragment++, count},
                           [&](Bytes bytes) { return m_outlet.Send(bytes); });
    });
    if (m_log.is_open()) {
        const int reason = errno;
        m_log << fmt::format("{} {} {:08x} {}\n", frame.auxValue64, frame.frameNumber, frame.auxValue32,
                             taken && m_link.LeftWhole(frame.auxValue64) ? "whole" : "broken");
        errno = reason;
    }
    return taken;
}
