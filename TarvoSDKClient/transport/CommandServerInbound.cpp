// From a datagram to its handling: checking, joining fragments, and what each type of message does.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "AppDataModel.h"
#include "client/ForcePlateMananger.h"
#include "client/GlobalObject.h"
#include "platform/AppCallBack.h"
#include "platform/Reports.h"
#include "transport/CommandServer.h"

using Application::CAppCallBack;
using System::CGuard;

namespace {

// The kinds of reply records; every other reply has kind 0.
constexpr std::uint16_t kVersionKind = 1;
constexpr std::uint16_t kServerDescriptionKind = 4;
constexpr std::uint16_t kTextKind = 104;

// Copies the header of a datagram that may be handled; reports why another one may not.
bool ReadHeader(const unsigned char* datagram, unsigned int length, tagPackageHeader& header) {
    if (length < kPackageHeaderSize) {
        Report::Number(length);
        return false;
    }
    std::memcpy(&header, datagram, kPackageHeaderSize);
    if (length - kPackageHeaderSize != header.fragmentLength) {
        Report::Number(header.fragmentLength);
        return false;
    }
    if (header.magic != kPackageMagic) {
        Report::Number(header.magic);
        return false;
    }
    return true;
}

// What of a payload goes into a reply record, and what the record says about it.
struct ReplyShape {
    std::uint16_t kind;
    std::int32_t length;
    unsigned int bytes; // of the payload; never more than it has
};

// False when the payload does not fit a record, which also keeps room for the zero behind a text.
bool ShapeReply(unsigned int type, const unsigned char* payload, unsigned int length, ReplyShape& shape) {
    switch (type) {
        case PackageType_VersionReply:
            shape = {kVersionKind, static_cast<std::int32_t>(kVersionRecordSize),
                     std::min(length, static_cast<unsigned int>(kVersionRecordSize))};
            return true;
        case PackageType_Command: {
            if (length > kPacketDataSize) return false;
            const auto text = static_cast<unsigned int>(strnlen(reinterpret_cast<const char*>(payload), length));
            shape = {kTextKind, static_cast<std::int32_t>(length), text};
            return text < kPacketDataSize;
        }
        default:
            shape = {type == PackageType_ServerDescription ? kServerDescriptionKind : std::uint16_t{0}, 0, length};
            return length <= kPacketDataSize;
    }
}

} // namespace

int CCommandServer::DisposeStream(const char* sender, unsigned int senderPort, unsigned char* datagram,
                                  unsigned int length) {
    tagPackageHeader header{};
    if (!ReadHeader(datagram, length, header)) return 1;
    if (m_learnsPeer) LearnPeer(sender, senderPort);
    unsigned char* const payload = datagram + kPackageHeaderSize;
    const unsigned int payloadLength = header.fragmentLength;
    if (header.totalLength != payloadLength)
        return JoinFragment(sender, senderPort, header, payload, payloadLength);
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
bool CCommandServer::ExpectsFragment(unsigned int index) {
    if (index == 0) {
        m_joinArea.ResetPosition();
        return true;
    }
    if (index == m_expectedFragment) return true;
    Report::Number(index);
    const bool cameTwice = index + 1 == m_expectedFragment;
    if (!cameTwice) m_expectedFragment = 0;
    return false;
}

int CCommandServer::JoinFragment(const char* sender, unsigned int senderPort, const tagPackageHeader& header,
                                 const unsigned char* payload, unsigned int length) {
    if (!ExpectsFragment(header.fragmentIndex)) return 1;
    if (length > 0 && length <= m_joinArea.Length() - m_joinArea.Position()) {
        std::memcpy(m_joinArea.Buffer() + m_joinArea.Position(), payload, length);
        m_joinArea.AddPosition(length);
    }
    m_expectedFragment = static_cast<std::uint8_t>(header.fragmentIndex + 1);
    if (header.totalLength != m_joinArea.Position()) return 0;
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
        case PackageType_Command: DisposeReply(sender, senderPort, header, payload, length); return 0;
        case PackageType_Frame: return DisposeFrame(payload, length);
        case PackageType_Media:
        case PackageType_MediaReply: return DisposeMedia(sender, senderPort, header, payload, length);
        case PackageType_Hello: return 0;
        default: Report::TextAndNumber("error command", header.type); return 0;
    }
}

int CCommandServer::DisposeFrame(const unsigned char* payload, unsigned int length) {
    CAppDataModel model;
    sFrameOfMocapData* frame = nullptr;
    int consumed = 0;
    if (model.DecodeMocap(payload, length, consumed, frame) != 0) {
        model.ReleaseMocap(frame);
        return 1;
    }
    sForcePlates plates;
    if (ForcePlateMananger::Instance().GetSForcePlates(frame, &plates) == 0)
        CAppCallBack::ForcePlate(&plates, UserData(DataType_ForcePlate));
    CAppCallBack::Stream(frame, UserData(DataType_Stream));
    CommonKit::TSingletons<CGlobalObject>::Instance().writeCache(frame);
    return 0;
}

int CCommandServer::DisposeMedia(const char* sender, unsigned int senderPort, const tagPackageHeader& header,
                                 const unsigned char* payload, unsigned int length) {
    CAppDataModel model;
    sPacket* packet = nullptr;
    int consumed = 0;
    if (model.DecodeMedia(payload, length, consumed, packet) != 0) return 1;
    if (header.type == PackageType_MediaReply) {
        // The image states how much of it is meant; what the message did not supply does not count.
        constexpr unsigned int kDataOffset = offsetof(sPacket, data);
        const unsigned int supplied = std::min(length, static_cast<unsigned int>(sizeof *packet));
        const unsigned int supplyData = supplied > kDataOffset ? supplied - kDataOffset : 0;
        const auto stated = static_cast<unsigned int>(std::max(packet->length, 0));
        DisposeResponse(sender, senderPort, header, packet, std::min(stated, supplyData));
    }
    model.ReleaseMedia(packet);
    return 0;
}

void CCommandServer::DisposeReply(const char* sender, unsigned int senderPort, const tagPackageHeader& header,
                                  const unsigned char* payload, unsigned int length) {
    ReplyShape shape{};
    if (!ShapeReply(header.type, payload, length, shape)) {
        Report::Number(length);
        return;
    }
    const std::unique_ptr<sPacket> record(new (std::nothrow) sPacket{});
    if (record == nullptr) return;
    record->type = shape.kind;
    record->length = shape.length;
    std::memcpy(record->data, payload, shape.bytes);
    const bool isVersion = header.type == PackageType_VersionReply;
    DisposeResponse(sender, senderPort, header, record.get(), isVersion ? kVersionRecordSize : length);
}
