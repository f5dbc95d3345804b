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

std::int32_t FrameStream::TakeNumber() {
    if (m_options.restartEvery && m_numbers == *m_options.restartEvery) m_numbers = 0;
    return static_cast<std::int32_t>(++m_numbers);
}

bool FrameStream::Send(double seconds) {
    if (m_link.Happens(m_options.skip)) {
        m_lines.push_back({TakeNumber()});
        ++m_leftOut;
    }
    sFrameOfMocapData& frame = m_composer.ComposeAt(TakeNumber(), seconds);
    const Bytes body = Encode(frame);
    const auto count = static_cast<unsigned int>((body.size() + kMaxFragmentPayload - 1) / kMaxFragmentPayload);
    m_lines.push_back({frame.frameNumber, frame.auxValue32, FrameFate{frame.auxValue64, count}});
    FrameFate& fate = *m_lines.back().fate;
    unsigned int fragment = 0;
    const bool taken = CutMessage(PackageType_Frame, 0, body, [&](Bytes datagram) {
        return m_link.Send(datagram, FaultyLink::Place{&fate, fragment++},
                           [this](Bytes bytes) { return m_outlet.Send(bytes); });
    });
    const int reason = errno;
    fate.counts.unsent += count - fragment;
    WriteSettled();
    errno = reason;
    return taken;
}

bool FrameStream::Finish() {
    const bool taken = m_link.Release();
    WriteSettled();
    return taken;
}

// Up to the first frame of which the link holds a part: it may still become whole, or break another one.
void FrameStream::WriteSettled() {
    for (; !m_lines.empty(); m_lines.pop_front()) {
        const auto& [number, checksum, fate] = m_lines.front();
        if (fate && m_link.Holds(*fate)) return;
        if (m_log.is_open())
            m_log << fmt::format("{} {} {:08x} {}\n", fate ? fate->frame : 0, number, checksum,
                                 fate ? fate->Text() : "skipped");
    }
}
