#include "transport/FeedFrame.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

#include "AppDataModel.h"
#include "model/FrameBody.h"
#include "model/FrameDecoder.h"

namespace {

// Up to the last plate that counts.
std::size_t SizeOf(const sForcePlates& plates) {
    return offsetof(sForcePlates, plates) + static_cast<std::size_t>(plates.plateCount) * sizeof plates.plates[0];
}

} // namespace

CFeedFrame* CFeedFrame::Make(const Source& source) {
    unsigned int length = source.length;
    if (!source.isAsReceived && !MeasureFrame(*source.frame, length)) return nullptr;
    CFeedFrame* const made = Allocate(length);
    if (made == nullptr) return nullptr;
    if (source.isAsReceived) {
        std::memcpy(made->Body(), source.body, length);
    } else {
        int written = 0;
        CAppDataModel().EncodeMocap(source.frame, made->Body(), written);
    }
    made->m_times = source.times;
    made->m_plates.frameNumber = source.frame->frameNumber;
    made->m_plates.plateCount = 0;
    if (source.plates != nullptr) std::memcpy(&made->m_plates, source.plates, SizeOf(*source.plates));
    return made;
}

CFeedFrame* CFeedFrame::Allocate(unsigned int length) {
    void* const memory = std::malloc(sizeof(CFeedFrame) + length);
    if (memory == nullptr) return nullptr;
    auto* const made = new (memory) CFeedFrame;
    made->m_length = length;
    return made;
}

void CFeedFrame::Drop() {
    if (m_references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    this->~CFeedFrame();
    std::free(this);
}

bool CFeedFrame::Open(sFrameOfMocapData& frame, sForcePlates* plates, sFrameTimes* times) const {
    std::memset(static_cast<void*>(&frame), 0, sizeof frame);
    int consumed = 0;
    FrameExtent filled;
    if (!DecodeFrame(Body(), m_length, consumed, frame, filled)) {
        filled.With(frame).ReleaseArrays(frame);
        std::memset(static_cast<void*>(&frame), 0, sizeof frame);
        return false;
    }
    if (plates != nullptr) {
        *plates = {};
        std::memcpy(plates, &m_plates, SizeOf(m_plates));
    }
    if (times != nullptr) *times = m_times;
    return true;
}
