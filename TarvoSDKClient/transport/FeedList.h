// The open feeds of one client.
#ifndef TARVO_TRANSPORT_FEED_LIST_H
#define TARVO_TRANSPORT_FEED_LIST_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/PlainMutex.h"
#include "transport/FrameFeed.h"

// Callable from any thread. Lock order: m_lock, then a feed's. Readers do not take m_lock.
class CFeedList {
public:
    CFeedList() = default;
    ~CFeedList() { SetEnded(true); } // feeds that are still open find no client then
    CFeedList(const CFeedList&) = delete;
    CFeedList& operator=(const CFeedList&) = delete;

    // Null when memory runs out.
    std::shared_ptr<CFrameFeed> Open(std::uint32_t capacity);

    // False: nobody wants the frame in hand. Costs nothing.
    bool HasAny() const { return m_hasAny.load(std::memory_order_relaxed); }
    // To every feed.
    void Publish(const CFeedFrame::Source& source);

    // Whether frames may still come; returns the state before.
    bool SetEnded(bool ended);

    // Frames that feeds have dropped since the count began anew.
    std::uint64_t Dropped() const { return m_dropped; }
    void CountAnew() { m_dropped = 0; }

private:
    void ForgetClosed() TARVO_REQUIRES(m_lock);

    std::atomic<bool> m_hasAny{false};
    std::atomic<std::uint64_t> m_dropped{0};
    System::CPlainMutex m_lock;
    std::vector<std::shared_ptr<CFrameFeed>> m_feeds TARVO_GUARDED_BY(m_lock);
    bool m_ended TARVO_GUARDED_BY(m_lock) = false;
};

#endif
