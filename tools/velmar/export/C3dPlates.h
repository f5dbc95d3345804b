// Force plates as C3D describes them.
#ifndef VELMAR_EXPORT_C3D_PLATES_H
#define VELMAR_EXPORT_C3D_PLATES_H

#include <string>
#include <vector>

#include "TarvoSDKClient.h"
#include "export/C3dParameters.h"

inline constexpr float kC3dUnits = 1000; // in a metre: millimetres

// One channel of a plate.
struct C3dChannel {
    std::string label;
    std::string unit;
    float scale; // readings to newtons, or, of a plate with a matrix, to what that takes
};

// The plates' channels keep their order. As readers of C3D turn a plate's force into the volume by its corners
// alone, it is the ground's force on the person, in axes of the plate whose z points down: an upright person's is
// negative there. A plate whose z points up is turned about its x axis.
class C3dPlates {
public:
    explicit C3dPlates(const std::vector<sForcePlateInfo>& plates);

    const std::vector<C3dChannel>& Channels() const { return m_channels; }
    void AddGroup(C3dParameters& parameters) const; // FORCE_PLATFORM

private:
    void AddEightForces(const sForcePlateInfo& plate, bool turned);
    void AddSixComponents(const sForcePlateInfo& plate, bool turned);
    void AddPlace(const sForcePlateInfo& plate, bool turned);

    std::vector<C3dChannel> m_channels;
    std::vector<std::int16_t> m_types;
    std::vector<std::int16_t> m_numbers; // of the channels, kMostChannels for each plate
    std::vector<float> m_corners;
    std::vector<float> m_origins;
    std::vector<float> m_matrices;
};

#endif
