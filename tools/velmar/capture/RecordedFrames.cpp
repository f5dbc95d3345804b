#include "capture/RecordedFrames.h"

#include <new>

#include "TarvoWire.h"
#include "capture/Recording.h"
#include "model/FrameArrays.h"
#include "model/FrameDecoder.h"

RecordedFrames::RecordedFrames(const std::string& path, const sDataDescriptions* descriptions,
                               std::vector<float> unloaded)
    : m_file(path), m_joinArea(CMessageJoin::kAreaSize), m_plates(descriptions) {
    m_plates.SetUnloaded(std::move(unloaded));
    m_ledger->Reset(0, 0);
    m_join.Use(m_joinArea.data(), static_cast<unsigned int>(m_joinArea.size()));
    m_item.readings = &m_plates;
}

const RecordedFrame* RecordedFrames::Next() {
    while (auto datagram = m_file.Next()) {
        if (m_watch) m_watch(*datagram);
        if (!IsStream(*datagram)) continue;
        const auto size = static_cast<unsigned int>(datagram->payload.size());
        m_ledger->Received({datagram->payload.data(), size, 0, 0, datagram->time.count(), 0});
        const CMessageJoin::Result joined = m_join.Take(datagram->payload.data(), size);
        if (joined.outcome != CMessageJoin::Outcome::kWhole || joined.header.type != PackageType_Frame) continue;
        if (!Decode(joined.payload, joined.length)) continue;
        m_item.time = datagram->time;
        return &m_item;
    }
    return nullptr;
}

bool RecordedFrames::Decode(const unsigned char* body, unsigned int size) {
    m_record.ReleaseArrays();
    int length = 0;
    if (!DecodeFrame(body, size, length, *m_record.frame, m_record.filled)) {
        ++m_undecodable;
        m_ledger->IsUndecodable({body, size});
        return false;
    }
    m_ledger->Deliver(m_record.frame->frameNumber);
    m_item.frame = m_record.frame.get();
    m_plates.Take(*m_record.frame, m_item.plates);
    return true;
}

RecordedFrames::Record::Record() : frame(FrameArrays::MakeZeroed<sFrameOfMocapData>()) {
    if (frame == nullptr) throw std::bad_alloc();
}

// As far as it was decoded: of a frame that could not be, the count that made it so may be anything.
void RecordedFrames::Record::ReleaseArrays() { filled.ReleaseArrays(*frame); }

sStreamStatistics RecordedFrames::Statistics() const {
    sStreamStatistics statistics{};
    m_ledger->Report(statistics);
    statistics.delayMedianNs = statistics.delayP99Ns = statistics.delayLargestNs = 0;
    return statistics;
}
