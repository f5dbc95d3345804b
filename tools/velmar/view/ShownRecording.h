// A recording, as pages look at it.
#ifndef VELMAR_VIEW_SHOWN_RECORDING_H
#define VELMAR_VIEW_SHOWN_RECORDING_H

#include <cstdint>
#include <string>
#include <vector>

#include "TarvoSDKClient.h"
#include "capture/RecordedFrames.h"
#include "view/LossMarks.h"
#include "view/StateBoard.h"
#include "view/StoredFrames.h"

// Reads it whole. Throws std::runtime_error that names the file, when it holds no frame, and when a signal
// arrives.
class ShownRecording {
public:
    ShownRecording(const std::string& path, StateBoard& board);

    const FrameHistory& History() const { return m_frames; }
    std::string Summary() const;                                          // "12 frames in 1.5 s"
    const std::vector<std::string>& Notices() const { return m_notices; } // what is wrong with the file

    // For pages that look on: how many, and what the recording holds.
    void PublishStatistics(std::size_t pages);

private:
    void Keep(const std::string& path, const sDataDescriptions* descriptions);
    void Follow(const RecordedFrames& frames, int number, double ms);
    void AppendLosses();
    double DurationMs() const; // between the first and the last frame

    StateBoard& m_board;
    StoredFrames m_frames;
    int m_latest = 0; // number
    LossMarks m_losses;
    std::vector<nlohmann::json> m_marks;
    sStreamStatistics m_statistics{}; // when frames were missing last
    std::vector<std::string> m_notices;
};

#endif
