// The frames of a recording, one after the other, as a client would have got them.
#ifndef VELMAR_CAPTURE_RECORDED_FRAMES_H
#define VELMAR_CAPTURE_RECORDED_FRAMES_H

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "TarvoStream.h"
#include "capture/CaptureFile.h"
#include "capture/RecordedPlates.h"
#include "model/FrameExtent.h"
#include "transport/MessageJoin.h"

struct RecordedFrame {
    std::chrono::nanoseconds time{};          // of its last datagram, since the epoch
    const sFrameOfMocapData* frame = nullptr; // without the channels of the computed plates
    sForcePlates plates{};                    // none when the descriptions tell of none
    const RecordedPlates* readings = nullptr; // of this frame
};

class RecordedFrames {
public:
    using DatagramWatch = std::function<void(const CapturedDatagram&)>;

    // Descriptions may be null. Without `unloaded`, what the first plate of the first frame reads is taken as the
    // unloaded reading of every plate (see RecordedPlates). Throws what CaptureFile throws.
    RecordedFrames(const std::string& path, const sDataDescriptions* descriptions,
                   std::vector<float> unloaded = {});

    // Is told of every datagram of the file, before the frame that it completes is returned.
    void Watch(DatagramWatch watch) { m_watch = std::move(watch); }

    // The next frame, valid until the next call; null at the end, and when a signal arrives.
    const RecordedFrame* Next();

    long long Undecodable() const { return m_undecodable; } // frames that were passed over

    // What a client would have counted of the stream up to here. Without what happens in a client: delays,
    // callbacks, buffers.
    sStreamStatistics Statistics() const;

private:
    // One for all frames: zeroing 152 KB for each would cost more than decoding it.
    struct Record {
        Record(); // throws std::bad_alloc
        ~Record() { ReleaseArrays(); }
        Record(const Record&) = delete;
        Record& operator=(const Record&) = delete;
        void ReleaseArrays();

        std::unique_ptr<sFrameOfMocapData> frame;
        FrameExtent filled; // how far it does not read as zero
    };

    bool Decode(const unsigned char* body, unsigned int size);

    CaptureFile m_file;
    DatagramWatch m_watch;
    std::unique_ptr<CStreamLedger> m_ledger = std::make_unique<CStreamLedger>();
    CMessageJoin m_join{*m_ledger};
    std::vector<unsigned char> m_joinArea;
    RecordedPlates m_plates;
    Record m_record;
    RecordedFrame m_item{};
    long long m_undecodable = 0;
};

#endif
