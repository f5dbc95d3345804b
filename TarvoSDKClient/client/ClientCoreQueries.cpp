// What a session asks of its server: descriptions, text commands, the start of the force plates.
#include <chrono>
#include <cstring>
#include <memory>
#include <new>

#include "AppDataModel.h"
#include "client/ClientCore.h"
#include "client/ForcePlateMananger.h"

namespace {

constexpr unsigned int kQueryTimeoutMs = 5000;
constexpr int kTimedOut = 9;

static_assert(sizeof(sServerDescription) <= kPacketDataSize);

unsigned char* Bytes(char* text) { return reinterpret_cast<unsigned char*>(text); }

} // namespace

int ClientCore::GetServerDescription(sServerDescription* description) {
    sPacket reply; // filled whole by a reply
    if (m_command.Call(PackageType_ServerDescription, nullptr, 0, &reply, kQueryTimeoutMs) != 0) return 1;
    std::memcpy(description, reply.data, sizeof *description);
    return 0;
}

// The request's status; 0 says that a reply came, usable (a list) or not (null).
int ClientCore::RequestDescriptions(int type, sDataDescriptions** descriptions) {
    sPacket reply; // filled whole by a reply
    unsigned int replyBytes = 0;
    const int status = m_command.Call(type, nullptr, 0, &reply, kQueryTimeoutMs, &replyBytes);
    if (status != 0) return status;
    CAppDataModel model;
    int consumed = 0;
    model.DecodeDescription(reply.data, replyBytes, consumed, *descriptions);
    return 0;
}

int ClientCore::GetDataDescriptions(sDataDescriptions** descriptions) {
    return RequestDescriptions(PackageType_DataDescriptions, descriptions) == 0 ? 0 : 1;
}

int ClientCore::GetDataDescriptionsEx(sDataDescriptions** descriptions) {
    return RequestDescriptions(PackageType_DataDescriptionsEx, descriptions) == 0 ? 0 : 1;
}

int ClientCore::WaitForForcePlateInit(long limitMs) {
    using Clock = std::chrono::steady_clock;
    constexpr long kNoLimitMs = 1L << 62;
    const long limit = limitMs == 0 ? kNoLimitMs : limitMs;
    const auto start = Clock::now();
    for (;;) {
        sDataDescriptions* descriptions = nullptr;
        const int status = RequestDescriptions(PackageType_DataDescriptions, &descriptions);
        if (status == 0) {
            const int result = ForcePlateMananger::Instance().InitPlateManager(descriptions);
            CAppDataModel().ReleaseDescription(descriptions);
            return result;
        }
        const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
        // Any failure but a time-out will not mend itself: the endpoint was stopped, or memory ran out.
        if (status != kTimedOut || elapsed > limit) return 1;
    }
}

int ClientCore::FreeDataDescriptions(sDataDescriptions* descriptions) {
    if (descriptions == nullptr) return 1;
    return CAppDataModel().ReleaseDescription(descriptions);
}

int ClientCore::SendMessage(char* text) {
    return m_command.Send(PackageType_Message, Bytes(text), static_cast<int>(std::strlen(text) + 1), 0);
}

int ClientCore::SendMessage1(char* text) { return SendMessage(text); }

int ClientCore::SendMessageAndWait(char* text, void** reply, int* replyLength) {
    const std::unique_ptr<sPacket> record(new (std::nothrow) sPacket);
    if (record == nullptr) return 1;
    const int length = static_cast<int>(std::strlen(text) + 1);
    if (m_command.Call(PackageType_Command, text, length, record.get(), kQueryTimeoutMs) != 0) return 1;
    const char* const answer = reinterpret_cast<const char*>(record->data);
    try {
        m_lastReply.assign(answer, strnlen(answer, kPacketDataSize));
    } catch (const std::bad_alloc&) {
        return 1;
    }
    *reply = m_lastReply.data();
    *replyLength = static_cast<int>(m_lastReply.size());
    return 0;
}

int ClientCore::SendMessageAndWait(char* text, int attempts, int timeoutMs, void** reply, int* replyLength) {
    const int length = static_cast<int>(std::strlen(text));
    int result = 1;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        result = m_command.Call(text, length, reply, replyLength, static_cast<unsigned int>(timeoutMs));
        if (result == 0) break;
    }
    return result;
}
