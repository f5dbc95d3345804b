// The force plates under the walk: their descriptions, and what their channels read under a load.
#ifndef VELMAR_SIMULATE_FORCE_PLATE_RIG_H
#define VELMAR_SIMULATE_FORCE_PLATE_RIG_H

#include <vector>

#include "TarvoSDKClient.h"
#include "motion/Motion.h"

// The values of channelLayout.
enum class PlateLayout { kEight = 3, kSix = 4 };

class ForcePlateRig {
public:
    // One plate below a step of the walk for each layout, in this order.
    explicit ForcePlateRig(const std::vector<PlateLayout>& layouts);

    const std::vector<sForcePlateInfo>& Plates() const { return m_plates; }
    int ChannelCount() const { return m_channelCount; }

    // Appends the channels of every plate, whose readings the contacts on its surface make up. An unloaded
    // plate reads its channels' offsets, which are the same for every plate.
    void AppendChannels(const std::vector<GroundContact>& contacts, std::vector<float>& channels) const;

private:
    std::vector<sForcePlateInfo> m_plates;
    int m_channelCount = 0;
};

#endif
