// Replies: from a message to the record of the request that it answers.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "AppDataModel.h"
#include "platform/Reports.h"
#include "transport/CommandServer.h"

using System::CGuard;

namespace {

// The kinds of reply records; every other reply has kind 0.
constexpr std::uint16_t kVersionKind = 1;
constexpr std::uint16_t kServerDescriptionKind = 4;
constexpr std::uint16_t kTextKind = 104;

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

// The record is written in place and once: it is large, and mostly zero.
template <typename Fill>
int CCommandServer::Complete(std::uint32_t sequence, unsigned int replyBytes, const Fill& fill) {
    if (sequence == 0) return 1;
    const CGuard guard(&m_mutex);
    sSequenceEntry* const entry = FindSequence(sequence);
    if (entry == nullptr) return 1;
    if (entry->reply != nullptr) fill(*entry->reply);
    entry->replyBytes = replyBytes;
    entry->valid = sSequenceEntry::kAnswered;
    m_events.signal(sequence);
    return 0;
}

int CCommandServer::DisposeResponse(const char* /*sender*/, unsigned int /*senderPort*/,
                                    const tagPackageHeader& header, sPacket* record, unsigned int replyBytes) {
    return Complete(header.sequence, replyBytes, [record](sPacket& reply) {
        if (record != nullptr) reply = *record;
    });
}

void CCommandServer::DisposeReply(const tagPackageHeader& header, const unsigned char* payload,
                                  unsigned int length) {
    ReplyShape shape{};
    if (!ShapeReply(header.type, payload, length, shape)) {
        Report::Number(length);
        return;
    }
    const bool isVersion = header.type == PackageType_VersionReply;
    Complete(header.sequence, isVersion ? static_cast<unsigned int>(kVersionRecordSize) : length,
             [&](sPacket& reply) {
                 reply.type = shape.kind;
                 reply.reserved = 0;
                 reply.length = shape.length;
                 if (shape.bytes > 0) std::memcpy(reply.data, payload, shape.bytes);
                 std::memset(reply.data + shape.bytes, 0, sizeof reply.data - shape.bytes);
             });
}

int CCommandServer::DisposeMedia(const char* sender, unsigned int senderPort, const tagPackageHeader& header,
                                 const unsigned char* payload, unsigned int length) {
    CAppDataModel model;
    sPacket* packet = nullptr;
    int consumed = 0;
    if (model.DecodeMedia(payload, length, consumed, packet) != 0) return 1;
    if (header.type == PackageType_MediaReply) {
        // What the message supplied counts, whatever length the image states.
        constexpr unsigned int kDataOffset = offsetof(sPacket, data);
        const unsigned int supplied = std::min(length, static_cast<unsigned int>(sizeof *packet));
        DisposeResponse(sender, senderPort, header, packet, supplied > kDataOffset ? supplied - kDataOffset : 0);
    }
    model.ReleaseMedia(packet);
    return 0;
}
