// Signs that somebody stood on a force plate when it was taken for unloaded.
#ifndef VELMAR_PLATE_DOUBT_H
#define VELMAR_PLATE_DOUBT_H

#include <array>
#include <string>
#include <vector>

#include "TarvoSDKClient.h"

// A plate cannot pull, and nothing presses beside it. Both show when the weight on a plate went into its unloaded
// readings. Forces are those of the ground, z up.
class PlateDoubt {
public:
    // With the plates that are computed, in their order; null when they are not known.
    explicit PlateDoubt(const sDataDescriptions* descriptions = nullptr);

    void Take(const sForcePlates& plates);

    // What gives cause for doubt, in a line: "force plate 1 pulls with up to 643 N: somebody stood on a plate when
    // ..."; empty as long as nothing does. Once said, it stays.
    std::string Text() const;

private:
    struct Plate {
        bool isKnown = false;
        float origin[3] = {};
        float reach = 0; // from the origin, metres: farther is far outside
    };
    struct Signs {
        int pulling = 0; // frames one behind the other
        int outside = 0;
        float worstPull = 0;     // newtons, of those that count
        float worstDistance = 0; // metres
    };

    std::array<Plate, TARVO_MAX_FORCE_PLATES> m_plates{};
    std::array<Signs, TARVO_MAX_FORCE_PLATES> m_signs{};
};

#endif
