// The queue of decoded frames between the receive threads and an application that asks for them.
#ifndef TARVO_CLIENT_FRAME_CACHE_H
#define TARVO_CLIENT_FRAME_CACHE_H

#include <array>
#include <cstddef>

#include "TarvoSDKClient.h"
#include "model/FrameExtent.h"
#include "platform/Mutex.h"

// Callable from any thread. Keeps the 32 newest unread frames and owns them.
class CFrameCache {
public:
    CFrameCache();
    ~CFrameCache();
    CFrameCache(const CFrameCache&) = delete;
    CFrameCache& operator=(const CFrameCache&) = delete;

    // Takes a frame over, from the store of frames or from CAppDataModel::DecodeMocap; releases the oldest one
    // when there are too many: true then. Null is ignored.
    bool write(sFrameOfMocapData* frame);

    // Moves the oldest frame into the read slot and returns the slot, or null when there is none. The slot's
    // former arrays are not released: that is its reader's task, before the next read.
    sFrameOfMocapData* read();

private:
    static constexpr std::size_t kMaxFrames = 32;

    sFrameOfMocapData* TakeOldest() TARVO_REQUIRES(m_lock);

    System::CMutex m_lock;
    sFrameOfMocapData m_readSlot{};                    // written under m_lock; between two reads its reader's
    FrameExtent m_readExtent TARVO_GUARDED_BY(m_lock); // how far a frame has filled the slot
    std::array<sFrameOfMocapData*, kMaxFrames> m_ring TARVO_GUARDED_BY(m_lock){};
    std::size_t m_oldest TARVO_GUARDED_BY(m_lock) = 0;
    std::size_t m_count TARVO_GUARDED_BY(m_lock) = 0;
};

#endif
