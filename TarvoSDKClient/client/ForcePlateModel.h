// The mechanics of one force plate: from its channel values to force, centre of pressure and free moment.
#ifndef TARVO_CLIENT_FORCE_PLATE_MODEL_H
#define TARVO_CLIENT_FORCE_PLATE_MODEL_H

#include <array>
#include <span>

#include "TarvoSDKClient.h"

namespace ForcePlateModel {

inline constexpr std::size_t kMaxChannels = 8; // of one plate

// Channels of a plate of this layout; 0 for a layout that is not computed.
unsigned int ChannelCount(int channelLayout);

// The channels of a plate among a frame's analog values.
struct Slice {
    const sForcePlateInfo* plate;
    std::size_t first;
    std::size_t count;
};

// The plates that are computed, in their order.
struct Assignment {
    std::array<Slice, TARVO_MAX_FORCE_PLATES> slices;
    std::size_t plates = 0;
    std::size_t values = 0; // that belong to them
};

// Plates whose channels are missing among so many values are left out with those behind them.
Assignment AssignChannels(std::span<const sForcePlateInfo> plates, std::size_t values);

// Statics of a rigid plate. The moments about the centre of its surface follow from the channels: with six, by
// moving the measured moments along (a, b, h), from where they are measured to the centre; with eight, from the
// sensors' forces at (+-a, +-b), a depth h below the surface. The point where the force's line of action meets the
// surface follows from Mx and My, and the free moment is what remains about that point. `values` are the
// plate's raw channels, `baseline` what they read unloaded; a channel that the baseline lacks counts as 0.
sForcePlateSample Compute(const sForcePlateInfo& plate, std::span<const float> values,
                          std::span<const float> baseline);

} // namespace ForcePlateModel

#endif
