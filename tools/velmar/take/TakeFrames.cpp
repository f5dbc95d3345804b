#include "take/TakeFrames.h"

#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>

#include "StopSignal.h"

void TakeFrames::Release::operator()(sFrameOfMocapData* frame) const {
    Quorin_FreeFrame(frame);
    delete frame;
}

TakeFrames::TakeFrames(const Take& take, Order order)
    : m_take(take), m_order(order), m_frames(take.options.file, take.descriptions.list.get(), take.unloaded) {}

const TakeFrame* TakeFrames::Next() {
    if (m_order == Order::kSlots) return NextSlot();
    return Read() ? &m_item : nullptr;
}

// The next recorded frame of the range into m_item.
bool TakeFrames::Read() {
    while (const RecordedFrame* const recorded = m_frames.Next()) {
        if (m_ordinal >= m_take.timeline.Added()) return false; // the file has grown since
        const FrameTimeline::Place place = m_take.timeline.At(m_ordinal++);
        if (!place.isIn && !(place.isRepeated && m_order == Order::kArrival)) continue;
        m_item = {place.slot,       m_take.timeline.Seconds(place.slot), recorded->time, recorded->frame,
                  recorded->plates, recorded->readings->Readings()};
        return true;
    }
    if (StopSignal::Arrived()) throw std::runtime_error("stopped before the end of " + m_take.options.file);
    return false;
}

const TakeFrame* TakeFrames::NextSlot() {
    const std::vector<FrameTimeline::Gap>& gaps = m_take.timeline.Gaps();
    while (m_gap < gaps.size() && m_slot >= gaps[m_gap].slot + gaps[m_gap].count) ++m_gap;
    const long long slot = m_slot++;
    if (m_gap < gaps.size() && slot >= gaps[m_gap].slot) {
        m_item = {};
        m_item.slot = slot;
        m_item.seconds = m_take.timeline.Seconds(slot);
        return &m_item;
    }
    for (;;) {
        if (const auto early = m_early.find(slot); early != m_early.end()) {
            m_inHand = std::move(early->second);
            m_early.erase(early);
            return &m_inHand.item;
        }
        if (!Read()) return nullptr;
        if (m_item.slot == slot) return &m_item;
        Keep();
    }
}

void TakeFrames::Keep() {
    Kept kept;
    auto copy = std::make_unique<sFrameOfMocapData>();
    std::memset(static_cast<void*>(copy.get()), 0, sizeof *copy);
    if (Quorin_CopyFrame(m_item.frame, copy.get()) != 0) throw std::bad_alloc();
    kept.frame.reset(copy.release());
    kept.item = m_item;
    kept.item.frame = kept.frame.get();
    kept.readings.assign(m_item.readings.begin(), m_item.readings.end());
    const auto [place, isNew] = m_early.insert_or_assign(m_item.slot, std::move(kept));
    place->second.item.readings = place->second.readings;
}
