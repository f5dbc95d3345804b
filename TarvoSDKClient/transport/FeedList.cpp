#include "transport/FeedList.h"

#include <new>

using System::CPlainGuard;

std::shared_ptr<CFrameFeed> CFeedList::Open(std::uint32_t capacity) {
    std::shared_ptr<CFrameFeed> feed = CFrameFeed::Make(capacity, this);
    if (feed == nullptr) return nullptr;
    const CPlainGuard guard(m_lock);
    ForgetClosed();
    feed->SetEnded(m_ended);
    try {
        m_feeds.push_back(feed);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    m_hasAny = true;
    return feed;
}

void CFeedList::Publish(const CFeedFrame::Source& source) {
    CFeedFrame* const frame = CFeedFrame::Make(source);
    {
        const CPlainGuard guard(m_lock);
        ForgetClosed();
        for (const std::shared_ptr<CFrameFeed>& feed : m_feeds) m_dropped += feed->Push(frame);
    }
    if (frame != nullptr) frame->Drop();
}

bool CFeedList::SetEnded(bool ended) {
    const CPlainGuard guard(m_lock);
    const bool before = m_ended;
    m_ended = ended;
    for (const std::shared_ptr<CFrameFeed>& feed : m_feeds) feed->SetEnded(ended);
    return before;
}

void CFeedList::ForgetClosed() {
    std::erase_if(m_feeds, [](const std::shared_ptr<CFrameFeed>& feed) { return feed->IsClosed(); });
    m_hasAny = !m_feeds.empty();
}
