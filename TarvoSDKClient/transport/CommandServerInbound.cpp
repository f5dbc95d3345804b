// From a datagram to its handling: checking, joining fragments, and what each type of message does.
#include <cstring>

#include "client/ForcePlateMananger.h"
#include "client/GlobalObject.h"
#include "model/FrameStore.h"
#include "platform/AppCallBack.h"
#include "platform/Presence.h"
#include "platform/Reports.h"
#include "transport/CommandServer.h"

using Application::CAppCallBack;
using System::CGuard;

namespace {

constexpr std::int64_t kLongCallbackNs = 1'000'000; // several datagrams may come meanwhile

} // namespace

// Copies the header of a datagram that may be handled; reports why another one may not.
bool CCommandServer::ReadHeader(const unsigned char* datagram, unsigned int length, tagPackageHeader& header) {
    if (length < kPackageHeaderSize) {
        m_ledger.IsTooShort();
        Report::Number(length);
        return false;
    }
    std::memcpy(&header, datagram, kPackageHeaderSize);
    if (length - kPackageHeaderSize != header.fragmentLength) {
        m_ledger.HasWrongLength();
        Report::Number(header.fragmentLength);
        return false;
    }
    if (header.magic != kPackageMagic) {
        m_ledger.IsForeign();
        Report::Number(header.magic);
        return false;
    }
    return true;
}

int CCommandServer::DisposeStream(const char* sender, unsigned int senderPort, unsigned char* datagram,
                                  unsigned int length) {
    tagPackageHeader header{};
    if (!ReadHeader(datagram, length, header)) return 1;
    if (m_learnsPeer) LearnPeer(sender, senderPort);
    unsigned char* const payload = datagram + kPackageHeaderSize;
    const unsigned int payloadLength = header.fragmentLength;
    if (header.totalLength != payloadLength)
        return JoinFragment(sender, senderPort, header, payload, payloadLength);
    m_ledger.CameWhole(m_expectedFragment);
    DisposePackage(sender, senderPort, header, payload, payloadLength);
    m_expectedFragment = 0;
    return 0;
}

void CCommandServer::LearnPeer(const char* sender, unsigned int senderPort) {
    const CGuard guard(&m_mutex);
    if (!m_address.empty()) return;
    m_address = sender; // a dotted address fits a string without allocation
    m_port = senderPort;
}

// Whether a fragment continues the message that is being joined; index 0 begins a new one.
bool CCommandServer::ExpectsFragment(const tagPackageHeader& header, const unsigned char* payload,
                                     unsigned int length) {
    const unsigned int index = header.fragmentIndex;
    if (index == 0) {
        m_ledger.Begins(header, {payload, length}, m_expectedFragment);
        m_joinArea.ResetPosition();
        return true;
    }
    if (index == m_expectedFragment) return true;
    m_ledger.Messages().DoesNotFit(header, {payload, length}, m_expectedFragment,
                                   {m_joinArea.Buffer(), m_joinArea.Position()});
    Report::Number(index);
    const bool cameTwice = index + 1 == m_expectedFragment;
    if (!cameTwice) m_expectedFragment = 0;
    return false;
}

int CCommandServer::JoinFragment(const char* sender, unsigned int senderPort, const tagPackageHeader& header,
                                 const unsigned char* payload, unsigned int length) {
    if (!ExpectsFragment(header, payload, length)) return 1;
    if (length > 0 && length <= m_joinArea.Length() - m_joinArea.Position()) {
        std::memcpy(m_joinArea.Buffer() + m_joinArea.Position(), payload, length);
        m_joinArea.AddPosition(length);
    }
    m_expectedFragment = static_cast<std::uint8_t>(header.fragmentIndex + 1);
    if (header.totalLength != m_joinArea.Position()) return 0;
    m_ledger.Messages().IsJoined(header);
    DisposePackage(sender, senderPort, header, m_joinArea.Buffer(), m_joinArea.Position());
    m_expectedFragment = 0;
    return 0;
}

int CCommandServer::DisposePackage(const char* sender, unsigned int senderPort, const tagPackageHeader& header,
                                   unsigned char* payload, unsigned int length) {
    switch (header.type) {
        case PackageType_VersionReply:
        case PackageType_RawReply:
        case PackageType_DataDescriptions:
        case PackageType_ServerDescription:
        case PackageType_Command: DisposeReply(header, payload, length); return 0;
        case PackageType_Frame: return DisposeFrame(payload, length);
        case PackageType_Media:
        case PackageType_MediaReply: return DisposeMedia(sender, senderPort, header, payload, length);
        case PackageType_Hello: return 0;
        default: Report::TextAndNumber("error command", header.type); return 0;
    }
}

int CCommandServer::DisposeFrame(const unsigned char* payload, unsigned int length) {
    sFrameOfMocapData* const frame = CFrameStore::Instance().Decode(payload, length);
    if (frame == nullptr) {
        m_ledger.IsUndecodable({payload, length});
        return 1;
    }
    m_times = m_ledger.Deliver(frame->frameNumber);
    HandOn(frame, payload, length);
    return 0;
}

// To the callbacks, the feeds and the queue, which takes the frame over.
void CCommandServer::HandOn(sFrameOfMocapData* frame, const unsigned char* payload, unsigned int length) {
    sForcePlates plates;
    const bool hasPlates = ForcePlateMananger::Instance().GetSForcePlates(frame, &plates) == 0;
    bool isAsReceived = !hasPlates && !CAppCallBack::HasStreamFunc();
    {
        const System::CPresence present(&m_times);
        if (hasPlates) CAppCallBack::ForcePlate(&plates, UserData(DataType_ForcePlate));
        CAppCallBack::Stream(frame, UserData(DataType_Stream));
    }
    if (m_ledger.LeftCallbacks(m_times) >= kLongCallbackNs) m_mayBeFull.store(true, std::memory_order_relaxed);
    isAsReceived = isAsReceived && !CAppCallBack::HasStreamFunc(); // a callback may set one, or take itself away
    if (m_feeds != nullptr && m_feeds->HasAny())
        m_feeds->Publish({payload, length, frame, isAsReceived, hasPlates ? &plates : nullptr, m_times});
    if (CommonKit::TSingletons<CGlobalObject>::Instance().writeCache(frame)) m_ledger.PushedOutOfQueue();
}

void CCommandServer::ReportStream(sStreamStatistics& statistics) const {
    m_ledger.Report(statistics);
    ReportInterface(statistics);
}
