// One feed: the newest frames of a client until a reader takes them.
#ifndef TARVO_TRANSPORT_FRAME_FEED_H
#define TARVO_TRANSPORT_FRAME_FEED_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <optional>

#include "TarvoStream.h"
#include "platform/PlainMutex.h"
#include "transport/FeedFrame.h"

// Receive threads push, readers take, each for as long as it takes to move a pointer; a frame is decoded by its
// reader, without the lock. Callable from any thread.
class CFrameFeed {
public:
    enum class Taken { kFrame, kTimedOut, kEnded };

    // `client`: what the receive threads of the feed's client are present in.
    CFrameFeed(std::unique_ptr<CFeedFrame*[]> ring, std::uint32_t capacity, const void* client);
    ~CFrameFeed();
    CFrameFeed(const CFrameFeed&) = delete;
    CFrameFeed& operator=(const CFrameFeed&) = delete;

    // Null when memory runs out.
    static std::shared_ptr<CFrameFeed> Make(std::uint32_t capacity, const void* client);

    // ---- For the list of the client's feeds
    // Takes a reference of its own; null stands for a frame that could not be kept. The number of frames that are
    // dropped for it, 0 or 1.
    unsigned int Push(CFeedFrame* frame);
    // Whether frames may still come.
    void SetEnded(bool ended);
    bool IsClosed() const { return m_closed; }

    // ---- For readers
    // The oldest frame, of which the caller gets the feed's reference.
    Taken Take(std::uint32_t timeoutMs, CFeedFrame*& frame);
    // A frame that was taken could not be used.
    void CountDropped();
    int Descriptor(); // -1 when there is none
    void Close();
    sFeedStatistics Statistics();

private:
    using Clock = std::chrono::steady_clock;

    bool Await(std::optional<Clock::time_point> deadline) TARVO_REQUIRES(m_lock);
    void PushBack(CFeedFrame* frame) TARVO_REQUIRES(m_lock);
    CFeedFrame* PopFront() TARVO_REQUIRES(m_lock);
    void SetReadable() TARVO_REQUIRES(m_lock);
    void CloseDescriptor() TARVO_REQUIRES(m_lock);

    const void* const m_client;
    const std::uint32_t m_capacity;
    std::atomic<bool> m_closed{false}; // written under m_lock

    System::CPlainMutex m_lock;
    std::condition_variable m_arrived; // with m_lock
    std::unique_ptr<CFeedFrame*[]> m_ring TARVO_GUARDED_BY(m_lock);
    std::uint32_t m_oldest TARVO_GUARDED_BY(m_lock) = 0;
    std::uint32_t m_count TARVO_GUARDED_BY(m_lock) = 0;
    std::uint32_t m_waiting TARVO_GUARDED_BY(m_lock) = 0; // readers
    bool m_ended TARVO_GUARDED_BY(m_lock) = false;
    std::uint64_t m_received TARVO_GUARDED_BY(m_lock) = 0;
    std::uint64_t m_dropped TARVO_GUARDED_BY(m_lock) = 0;
    int m_descriptor TARVO_GUARDED_BY(m_lock) = -1; // of an eventfd, made when it is asked for
    bool m_readable TARVO_GUARDED_BY(m_lock) = false;
};

#endif
