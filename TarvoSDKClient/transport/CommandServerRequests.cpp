// Requests: sequence numbers, the table of who waits, and waiting.
#include <algorithm>
#include <cstdlib>
#include <new>

#include "platform/Presence.h"
#include "platform/Reports.h"
#include "platform/Utility.h"
#include "transport/CommandServer.h"

using System::CGuard;
using System::CUtility;

namespace {

constexpr int kTimedOut = 9;
constexpr unsigned int kPauseUntilNextSeedMs = 100;

// The first number of the standard generator for this seed, without touching the application's own.
std::uint32_t FirstRandomNumber(unsigned int seed) {
    char state[128]; // the size of the standard generator's state, which decides its numbers
    random_data generator{};
    std::int32_t number = 0;
    initstate_r(seed, state, sizeof state, &generator);
    random_r(&generator, &number);
    return static_cast<std::uint32_t>(number);
}

} // namespace

int CCommandServer::Call(int type, void* data, int length, sPacket* reply, unsigned int timeoutMs,
                         unsigned int* replyBytes) {
    const System::CPresence present(this);
    const CRequestGate::Passage inside(m_gate);
    unsigned int sequence = 0;
    int status = inside ? 0 : 1;
    if (inside) {
        const CGuard guard(&m_mutex);
        status = Register(reply, sequence);
        if (status == 0) SendMessage(type, static_cast<const unsigned char*>(data), length, sequence);
    }
    if (status != 0) {
        Report::Failed();
        return status;
    }
    status = WaitReply(sequence, timeoutMs);
    {
        const CGuard guard(&m_mutex);
        const sSequenceEntry* const entry = FindSequence(sequence);
        if (replyBytes != nullptr && entry != nullptr) *replyBytes = entry->replyBytes;
        RemoveSequence(sequence);
        m_events.destroy(sequence);
    }
    if (status != 0) Report::Failed();
    return status;
}

int CCommandServer::Call(void* data, int length, sPacket* reply, unsigned int timeoutMs) {
    return Call(PackageType_Request, data, length, reply, timeoutMs);
}

int CCommandServer::Call(void* data, int length, void** replyData, int* replyLength, unsigned int timeoutMs) {
    const int status = Call(PackageType_Request, data, length, &m_reply, timeoutMs);
    if (status != 0) return status;
    *replyData = m_reply.data;
    *replyLength = std::clamp(m_reply.length, 0, static_cast<int>(kPacketDataSize));
    return 0;
}

// The entry and the event exist before the first datagram leaves, so a reply that comes at once finds them.
int CCommandServer::Register(sPacket* reply, unsigned int& sequence) {
    if (!m_running) return 1;
    BuildSequence(&sequence);
    if (m_events.create(sequence) != 0) return 1;
    if (InsertSequence(sequence, reply) == 0) return 0;
    m_events.destroy(sequence);
    return 1;
}

int CCommandServer::BuildSequence(unsigned int* sequence) {
    for (;;) {
        std::uint32_t candidate = std::max(FirstRandomNumber(CUtility::GetTickCount()), 1U);
        candidate += candidate % 2;
        if (FindSequence(candidate) == nullptr) {
            *sequence = candidate;
            return 0;
        }
        CUtility::Sleep(kPauseUntilNextSeedMs);
    }
}

int CCommandServer::WaitReply(unsigned int sequence, unsigned int timeoutMs) {
    const unsigned int start = CUtility::GetTickCount();
    if (static_cast<int>(timeoutMs) < 1) return 1;
    for (unsigned int remaining = timeoutMs;;) {
        const int status = m_events.wait(sequence, remaining);
        unsigned int valid = sSequenceEntry::kWaiting;
        bool vanished = false;
        {
            const CGuard guard(&m_mutex);
            vanished = GetSequenceValid(sequence, valid) != 0;
        }
        if (vanished || valid == sSequenceEntry::kRefused) {
            Report::Failed();
            return 1;
        }
        if (valid == sSequenceEntry::kAnswered) return 0;
        const unsigned int now = CUtility::GetTickCount();
        remaining = timeoutMs - (now - start) + (now < start ? 1 : 0);
        // A wake-up without an answer at the very end of the time is a time-out too.
        if (static_cast<int>(remaining) <= 0) return status == 0 ? kTimedOut : status;
    }
}

// ---- The table

sSequenceEntry* CCommandServer::FindSequence(unsigned int sequence) {
    for (sSequenceEntry& entry : m_pending)
        if (entry.sequence == sequence) return &entry;
    return nullptr;
}

unsigned int CCommandServer::GetSequenceNumber() const { return static_cast<unsigned int>(m_pending.size()); }

int CCommandServer::InsertSequence(unsigned int sequence, sPacket* reply) {
    try {
        m_pending.push_back({sequence, reply, sSequenceEntry::kWaiting, 0});
    } catch (const std::bad_alloc&) {
        return 1;
    }
    return 0;
}

int CCommandServer::RemoveSequence(unsigned int sequence) {
    const auto found = std::find_if(m_pending.begin(), m_pending.end(),
                                    [=](const sSequenceEntry& entry) { return entry.sequence == sequence; });
    if (found == m_pending.end()) return 1;
    m_pending.erase(found);
    return 0;
}

int CCommandServer::SearchSequence(unsigned int sequence, sPacket*& reply, unsigned int& valid) {
    const sSequenceEntry* const entry = FindSequence(sequence);
    if (entry == nullptr) return 1;
    reply = entry->reply;
    valid = entry->valid;
    return 0;
}

int CCommandServer::GetSequenceValid(unsigned int sequence, unsigned int& valid) {
    sPacket* reply = nullptr;
    return SearchSequence(sequence, reply, valid);
}

int CCommandServer::SetSequenceValid(unsigned int sequence, unsigned int valid) {
    sSequenceEntry* const entry = FindSequence(sequence);
    if (entry == nullptr) return 1;
    entry->valid = valid;
    return 0;
}
