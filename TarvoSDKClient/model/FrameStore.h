// The records of the frames on their way from the network to the application. Making and zeroing one of 152 KB for
// each frame would cost more than all the rest; kept ones are used again.
#ifndef TARVO_MODEL_FRAME_STORE_H
#define TARVO_MODEL_FRAME_STORE_H

#include <array>
#include <atomic>
#include <cstddef>

#include "model/FrameExtent.h"
#include "platform/PlainMutex.h"

// One for the process, callable from any thread. A record belongs to whoever it was handed to until it is given
// back. A record that the store keeps has no arrays; what its latest frame has left in it is overwritten or
// cleared by the next one, so that a record in hand reads as zero wherever its message said nothing. How far a
// frame has filled it is noted here and not in the record, which its holder may change. Records lie in areas of
// their own, by which they are told from those that somebody made with new.
class CFrameStore {
public:
    static CFrameStore& Instance();

    // A decoded frame; null when the body is none or no record can be had.
    sFrameOfMocapData* Decode(const unsigned char* body, unsigned int available);

    // Releases the frame's arrays and takes its record back. False, and nothing done, when it is not of the store.
    bool GiveBack(sFrameOfMocapData* frame);

    // The same, but the frame with its arrays goes on in another record, of which `filled` says how far it does
    // not read as zero, before and after.
    bool MoveOut(sFrameOfMocapData* frame, sFrameOfMocapData& to, FrameExtent& filled);

private:
    // One area has room for the frames of the queue and for 32 that are in callbacks. There are further ones for
    // processes with many clients that are all in a callback.
    static constexpr std::size_t kAreaRecords = 64;
    static constexpr std::size_t kMaxAreas = 4;
    // Not a whole number of pages, lest the heads of all records compete for the same lines of a cache.
    static constexpr std::size_t kStride = (sizeof(sFrameOfMocapData) + 63) / 64 * 64;
    static constexpr std::size_t kNoRecord = kAreaRecords * kMaxAreas;

    std::size_t IndexOf(const sFrameOfMocapData* frame) const; // kNoRecord when it is not of the store
    sFrameOfMocapData* Take();
    sFrameOfMocapData* MakeRecord() TARVO_REQUIRES(m_lock);
    void PutBack(sFrameOfMocapData* frame);

    // Constant as far as there are any, never released. From the heap, whose checkers then find what records point
    // to; so large an area is untouched pages of the system's there too.
    std::array<unsigned char*, kMaxAreas> m_areas{};
    std::atomic<std::size_t> m_areaCount{0};
    std::array<FrameExtent, kNoRecord> m_filled; // how far each does not read as zero; its holder's

    System::CPlainMutex m_lock;
    std::array<sFrameOfMocapData*, kNoRecord> m_free TARVO_GUARDED_BY(m_lock){}; // the latest given back on top
    std::size_t m_freeCount TARVO_GUARDED_BY(m_lock) = 0;
    std::size_t m_made TARVO_GUARDED_BY(m_lock) = 0; // records that have ever been handed out
};

#endif
