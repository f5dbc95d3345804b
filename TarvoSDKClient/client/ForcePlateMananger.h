// The force plates of the process: their descriptions, and the computation that turns a frame's analog
// channels into force-plate data.
#ifndef TARVO_CLIENT_FORCE_PLATE_MANANGER_H
#define TARVO_CLIENT_FORCE_PLATE_MANANGER_H

#include <array>
#include <atomic>
#include <span>
#include <vector>

#include "TarvoSDKClient.h"
#include "client/ForcePlateModel.h"
#include "platform/PlainMutex.h"

// Callable from any thread: the receive threads compute while an application's thread replaces the plates.
// Plates and baseline belong to the process and outlive the clients.
class ForcePlateMananger {
public:
    static ForcePlateMananger& Instance();

    // Takes copies of the force plates among the descriptions, in their order, in place of the former ones.
    // 0; 1 for null or unusable descriptions, and nothing is computed until a later call succeeds.
    int InitPlateManager(const sDataDescriptions* descriptions);

    // Whether there is a plate.
    bool isValid() const;

    // Computes the plates from the frame's analog channels and takes those channels out of the frame, whose
    // other channels keep their order. 0 computed; 1 not started, no plate, a null argument, or a number
    // of analog channels that is not 1 to 32: nothing is touched. Plates whose channels the frame lacks are left
    // out with those behind them.
    int GetSForcePlates(sFrameOfMocapData* frame, sForcePlates* plates) const;

private:
    sForcePlateSample ComputePlate(const sForcePlateInfo& plate, std::span<const float> values) const
        TARVO_REQUIRES(m_lock);

    std::atomic<bool> m_ready{false}; // lets frames pass without the lock until there are plates
    mutable System::CPlainMutex m_lock;
    std::vector<sForcePlateInfo> m_plates TARVO_GUARDED_BY(m_lock);

    // What the channels of the first plate that was ever computed read then: subtracted from every plate's.
    mutable std::array<float, ForcePlateModel::kMaxChannels> m_baseline TARVO_GUARDED_BY(m_lock){};
    mutable std::size_t m_baselineSize TARVO_GUARDED_BY(m_lock) = 0;
    mutable bool m_baselineCaptured TARVO_GUARDED_BY(m_lock) = false;
};

#endif
