// What has come in, counted on the library's thread and read by the tool's.
#ifndef VELMAR_WATCH_STREAM_STATISTICS_H
#define VELMAR_WATCH_STREAM_STATISTICS_H

#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

#include "PlateDoubt.h"
#include "TarvoStream.h"

// Where the stream stands.
struct StreamState {
    long long frames = 0;
    int frameNumber = 0;
    double secondsOfStream = 0; // between the first and the latest frame, as they arrived
    double silence = 0;         // since the latest frame, or since the beginning
    struct Counts {
        int markerSets, setMarkers, otherMarkers, rigidBodies, skeletons, bones, labeledMarkers, analog;
        bool operator==(const Counts&) const = default;
    } counts{};
    std::string timecode;
    std::optional<std::array<float, 3>> root; // of the first skeleton
    double rootPath = 0;                      // how far it has come
    std::optional<sForcePlates> plates;
    std::array<float, TARVO_MAX_FORCE_PLATES> peakForce{}; // of each plate, the strongest so far, newtons
    std::string plateDoubt;                                // as PlateDoubt says it; as a rule empty
    sStreamStatistics library{};                           // what the library counted
};

// Frames a second between the first and the latest one.
double MeanRate(const StreamState& state);

// Frames a second since the state before.
class RateMeter {
public:
    double Next(const StreamState& state);

private:
    long long m_frames = 0;
    double m_seconds = 0;
};

class StreamStatistics {
public:
    // For SetDataCallback and SetForcePlateCallback, with the statistics as user data.
    static void OnFrame(sFrameOfMocapData* frame, void* self);
    static void OnForcePlates(sForcePlates* plates, void* self);

    // Where the force plates lie.
    void Know(const sDataDescriptions& descriptions);

    StreamState State() const;

    // Waits until so many frames have come, or this long.
    void AwaitFrames(long long frames, std::chrono::duration<double> limit) const;

private:
    using Clock = std::chrono::steady_clock;

    void Count(const sFrameOfMocapData& frame);
    void Follow(const sSkeletonSample& skeleton);

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_arrived;
    StreamState m_state;
    PlateDoubt m_doubt;
    Clock::time_point m_first = Clock::now();
    Clock::time_point m_latest = m_first;
};

#endif
