// The frames of a recording, one after the other, as a client would have got them.
#ifndef VELMAR_CAPTURE_RECORDED_FRAMES_H
#define VELMAR_CAPTURE_RECORDED_FRAMES_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "TarvoSDKClient.h"
#include "capture/CaptureFile.h"
#include "client/ForcePlateMananger.h"
#include "wire/Messages.h"

struct RecordedFrame {
    std::chrono::nanoseconds time{}; // of its last datagram, since the epoch
    const sFrameOfMocapData* frame;  // without the channels of the computed plates
    sForcePlates plates{};           // none when the descriptions tell of none
};

class RecordedFrames {
public:
    // Descriptions may be null. What the first plate of the first frame reads is taken as the unloaded reading of
    // every plate. Throws what CaptureFile throws.
    RecordedFrames(const std::string& path, const sDataDescriptions* descriptions);

    // The next frame, valid until the next call; null at the end, and when a signal arrives.
    const RecordedFrame* Next();

    long long Undecodable() const { return m_undecodable; } // frames that were passed over

private:
    struct Release {
        void operator()(sFrameOfMocapData* frame) const;
    };

    bool Decode(const std::vector<unsigned char>& body);

    CaptureFile m_file;
    MessageJoiner m_joiner;
    ForcePlateMananger m_plates;
    std::unique_ptr<sFrameOfMocapData, Release> m_frame;
    RecordedFrame m_item{};
    long long m_undecodable = 0;
};

#endif
