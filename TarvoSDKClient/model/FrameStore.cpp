#include "model/FrameStore.h"

#include <cstdint>
#include <cstdlib>

#include "model/FrameDecoder.h"
#include "platform/Singletons.h"

using System::CPlainGuard;

CFrameStore& CFrameStore::Instance() { return CommonKit::TSingletons<CFrameStore>::Instance(); }

sFrameOfMocapData* CFrameStore::Decode(const unsigned char* body, unsigned int available) {
    sFrameOfMocapData* const frame = Take();
    if (frame == nullptr) return nullptr;
    int consumed = 0;
    if (DecodeFrame(body, available, consumed, *frame, m_filled[IndexOf(frame)])) return frame;
    GiveBack(frame);
    return nullptr;
}

bool CFrameStore::GiveBack(sFrameOfMocapData* frame) {
    const std::size_t index = IndexOf(frame);
    if (index == kNoRecord) return false;
    m_filled[index] = m_filled[index].With(*frame);
    m_filled[index].ReleaseArrays(*frame);
    PutBack(frame);
    return true;
}

bool CFrameStore::MoveOut(sFrameOfMocapData* frame, sFrameOfMocapData& to, FrameExtent& filled) {
    const std::size_t index = IndexOf(frame);
    if (index == kNoRecord) return false;
    FrameExtent& moved = m_filled[index];
    moved = moved.With(*frame);
    filled.With(to).ClearBeyond(moved, to);
    moved.Copy(*frame, to);
    filled = moved;
    moved.ForgetArrays(*frame);
    PutBack(frame);
    return true;
}

std::size_t CFrameStore::IndexOf(const sFrameOfMocapData* frame) const {
    const std::size_t areas = m_areaCount.load(std::memory_order_acquire);
    const auto at = reinterpret_cast<std::uintptr_t>(frame);
    for (std::size_t area = 0; area < areas; ++area) {
        const std::size_t offset = at - reinterpret_cast<std::uintptr_t>(m_areas[area]); // huge before the area
        if (offset < kAreaRecords * kStride) return area * kAreaRecords + offset / kStride;
    }
    return kNoRecord;
}

sFrameOfMocapData* CFrameStore::Take() {
    const CPlainGuard guard(m_lock);
    return m_freeCount > 0 ? m_free[--m_freeCount] : MakeRecord();
}

// One of the system's untouched pages.
sFrameOfMocapData* CFrameStore::MakeRecord() {
    const std::size_t area = m_made / kAreaRecords;
    if (area == kMaxAreas) return nullptr;
    if (area == m_areaCount) {
        m_areas[area] = static_cast<unsigned char*>(std::calloc(kAreaRecords, kStride));
        if (m_areas[area] == nullptr) return nullptr;
        m_areaCount.store(area + 1, std::memory_order_release);
    }
    return reinterpret_cast<sFrameOfMocapData*>(m_areas[area] + kStride * (m_made++ % kAreaRecords));
}

void CFrameStore::PutBack(sFrameOfMocapData* frame) {
    const CPlainGuard guard(m_lock);
    m_free[m_freeCount++] = frame;
}
