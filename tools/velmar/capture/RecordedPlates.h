// The force plates of a recording: which channels are theirs, what those read without a load, and what they
// measure.
#ifndef VELMAR_CAPTURE_RECORDED_PLATES_H
#define VELMAR_CAPTURE_RECORDED_PLATES_H

#include <span>
#include <vector>

#include "TarvoSDKClient.h"

class RecordedPlates {
public:
    // Descriptions may be null: there is no plate then.
    explicit RecordedPlates(const sDataDescriptions* descriptions);

    // What the channels of every plate read without a load, one plate's behind the other's. Without it, every
    // plate's channels read what those of the first plate read in the first frame: as in a client.
    void SetUnloaded(std::vector<float> unloaded) { m_unloaded = std::move(unloaded); }

    // Computes the plates of a frame and takes their channels out of it, as a client does. `plates` is without
    // plates when nothing can be computed.
    void Take(sFrameOfMocapData& frame, sForcePlates& plates);

    // Of the latest frame: what the channels of the computed plates read, one plate's behind the other's, and what
    // they read without a load.
    std::span<const float> Readings() const { return m_readings; }
    std::span<const float> Unloaded() const { return m_unloadedNow; }

    const std::vector<sForcePlateInfo>& Described() const { return m_described; }

private:
    void Compute(const sForcePlateInfo& plate, std::size_t first, std::size_t count, sForcePlateSample& sample);

    std::vector<sForcePlateInfo> m_described;
    std::vector<float> m_unloaded;
    std::vector<float> m_firstReadings; // of the first plate, once there is one
    std::vector<float> m_readings;
    std::vector<float> m_unloadedNow;
};

#endif
