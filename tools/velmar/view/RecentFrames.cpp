#include "view/RecentFrames.h"

void RecentFrames::Add(FrameBody body, double arrivalMs, double deliveredMs) {
    m_frames.push_back({std::move(body), arrivalMs, deliveredMs});
    m_bytes += SizeOf(m_frames.back());
    while (m_frames.size() > 1 &&
           (m_bytes > m_mostBytes || deliveredMs - m_frames.front().deliveredMs > m_longest.count())) {
        m_bytes -= SizeOf(m_frames.front());
        m_frames.pop_front();
        ++m_oldest;
    }
}
