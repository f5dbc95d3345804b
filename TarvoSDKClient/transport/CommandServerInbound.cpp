// From a datagram to its handling: what each type of message does.
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

int CCommandServer::DisposeStream(const char* sender, unsigned int senderPort, unsigned char* datagram,
                                  unsigned int length) {
    using Outcome = CMessageJoin::Outcome;
    const CMessageJoin::Result taken = m_join.Take(datagram, length);
    if (taken.outcome != Outcome::kInvalid && m_learnsPeer) LearnPeer(sender, senderPort);
    if (taken.outcome == Outcome::kInvalid || taken.outcome == Outcome::kUnfit) {
        Report::Number(taken.number);
        return 1;
    }
    if (taken.outcome == Outcome::kWhole)
        DisposePackage(sender, senderPort, taken.header, taken.payload, taken.length);
    return 0;
}

void CCommandServer::LearnPeer(const char* sender, unsigned int senderPort) {
    const CGuard guard(&m_mutex);
    if (!m_address.empty()) return;
    m_address = sender; // a dotted address fits a string without allocation
    m_port = senderPort;
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
