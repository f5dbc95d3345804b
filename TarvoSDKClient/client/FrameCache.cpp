#include "client/FrameCache.h"

#include <cstring>

#include "AppDataModel.h"
#include "model/FrameStore.h"

using System::CGuard;

CFrameCache::CFrameCache() { m_lock.create(); }

CFrameCache::~CFrameCache() {
    CAppDataModel model;
    {
        const CGuard guard(&m_lock);
        while (m_count > 0) model.ReleaseMocap(TakeOldest());
    }
    m_lock.destroy();
}

sFrameOfMocapData* CFrameCache::TakeOldest() {
    sFrameOfMocapData* const frame = m_ring[m_oldest];
    m_oldest = (m_oldest + 1) % kMaxFrames;
    --m_count;
    return frame;
}

bool CFrameCache::write(sFrameOfMocapData* frame) {
    if (frame == nullptr) return false;
    CAppDataModel model;
    const CGuard guard(&m_lock);
    const bool isFull = m_count == kMaxFrames;
    if (isFull) model.ReleaseMocap(TakeOldest());
    m_ring[(m_oldest + m_count) % kMaxFrames] = frame;
    ++m_count;
    return isFull;
}

sFrameOfMocapData* CFrameCache::read() {
    const CGuard guard(&m_lock);
    if (m_count == 0) return nullptr;
    sFrameOfMocapData* const frame = TakeOldest();
    if (!CFrameStore::Instance().MoveOut(frame, m_readSlot, m_readExtent)) {
        std::memcpy(static_cast<void*>(&m_readSlot), frame, sizeof m_readSlot);
        m_readExtent = FrameExtent::Whole();
        delete frame; // its arrays live on in the slot
    }
    return &m_readSlot;
}
