#include "transport/FrameFeed.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <new>
#include <utility>

#include "platform/Presence.h"

using System::CPlainGuard;

CFrameFeed::CFrameFeed(std::unique_ptr<CFeedFrame*[]> ring, std::uint32_t capacity, const void* client)
    : m_client(client), m_capacity(capacity), m_ring(std::move(ring)) {}

CFrameFeed::~CFrameFeed() { Close(); }

std::shared_ptr<CFrameFeed> CFrameFeed::Make(std::uint32_t capacity, const void* client) {
    std::unique_ptr<CFeedFrame*[]> ring(new (std::nothrow) CFeedFrame*[capacity]);
    if (ring == nullptr) return nullptr;
    try {
        return std::make_shared<CFrameFeed>(std::move(ring), capacity, client);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

unsigned int CFrameFeed::Push(CFeedFrame* frame) {
    CFeedFrame* pushedOut = nullptr;
    bool isAwaited = false;
    {
        const CPlainGuard guard(m_lock);
        if (m_closed) return 0;
        ++m_received;
        if (frame != nullptr && m_count == m_capacity) pushedOut = PopFront();
        if (frame == nullptr || pushedOut != nullptr) ++m_dropped;
        if (frame != nullptr) PushBack(frame);
        isAwaited = frame != nullptr && m_waiting > 0;
    }
    if (isAwaited) m_arrived.notify_one();
    if (pushedOut != nullptr) pushedOut->Drop();
    return frame == nullptr || pushedOut != nullptr ? 1 : 0;
}

void CFrameFeed::PushBack(CFeedFrame* frame) {
    frame->Hold();
    m_ring[(m_oldest + m_count) % m_capacity] = frame;
    ++m_count;
    SetReadable();
}

CFeedFrame* CFrameFeed::PopFront() {
    CFeedFrame* const frame = m_ring[m_oldest];
    m_oldest = (m_oldest + 1) % m_capacity;
    --m_count;
    return frame;
}

void CFrameFeed::SetEnded(bool ended) {
    const CPlainGuard guard(m_lock);
    m_ended = ended;
    SetReadable();
    if (ended) m_arrived.notify_all();
}

// On a receive thread of its client the caller is whom it would wait for.
CFrameFeed::Taken CFrameFeed::Take(std::uint32_t timeoutMs, CFeedFrame*& frame) {
    const bool waits = timeoutMs != 0 && !System::CPresence::Of(m_client);
    std::optional<Clock::time_point> deadline;
    if (waits && timeoutMs != TARVO_WAIT_FOREVER) deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    const CPlainGuard guard(m_lock);
    while (m_count == 0) {
        if (m_ended || m_closed) return Taken::kEnded;
        if (!waits || !Await(deadline)) return Taken::kTimedOut;
    }
    frame = PopFront();
    SetReadable();
    return Taken::kFrame;
}

// Until something may have changed. False when the deadline has passed and nothing has.
bool CFrameFeed::Await(std::optional<Clock::time_point> deadline) {
    ++m_waiting;
    bool inTime = true;
    if (deadline)
        inTime = m_lock.WaitUntil(m_arrived, *deadline);
    else
        m_lock.Wait(m_arrived);
    --m_waiting;
    return inTime || m_count > 0 || m_ended || m_closed;
}

void CFrameFeed::CountDropped() {
    const CPlainGuard guard(m_lock);
    ++m_dropped;
}

int CFrameFeed::Descriptor() {
    const CPlainGuard guard(m_lock);
    if (m_closed) return -1;
    if (m_descriptor == -1) {
        m_descriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
        m_readable = false;
        SetReadable();
    }
    return m_descriptor;
}

// A call to the system only where the state changes.
void CFrameFeed::SetReadable() {
    const bool readable = m_count > 0 || m_ended;
    if (m_descriptor == -1 || readable == m_readable) return;
    eventfd_t value = 1;
    if (readable)
        eventfd_write(m_descriptor, value);
    else
        eventfd_read(m_descriptor, &value);
    m_readable = readable;
}

void CFrameFeed::Close() {
    const CPlainGuard guard(m_lock);
    m_closed = true;
    while (m_count > 0) PopFront()->Drop();
    m_ring.reset();
    CloseDescriptor();
    m_arrived.notify_all();
}

void CFrameFeed::CloseDescriptor() {
    if (m_descriptor != -1) close(m_descriptor);
    m_descriptor = -1;
}

sFeedStatistics CFrameFeed::Statistics() {
    const CPlainGuard guard(m_lock);
    return {sizeof(sFeedStatistics), m_capacity, m_received, m_dropped, m_count};
}
