// The force plates of a frame.
#include <algorithm>
#include <array>
#include <memory>

#include "client/ForcePlateMananger.h"
#include "parts/Pair.h"
#include "simulate/ForcePlateRig.h"

namespace {

constexpr std::size_t kPlates = 4;
constexpr std::size_t kChannels = 8;

// The floor: multiplications and additions alone, without tests, tables and gaps. The gains stand for
// calibration and scale together.
struct PlateFloor {
    sForcePlateInfo plate;
    std::array<float, kChannels> gain{};
    std::array<float, kChannels> unloaded{};

    explicit PlateFloor(const sForcePlateInfo& info) : plate(info) {
        for (std::size_t k = 0; k < kChannels; ++k)
            gain[k] = info.calibration[k][k] * -static_cast<float>(info.scaleFactor);
    }

    void Compute(const float* values, sForcePlateSample& sample) const {
        float c[kChannels];
        for (std::size_t k = 0; k < kChannels; ++k) c[k] = gain[k] * (values[k] - unloaded[k]);
        const auto& [a, b, h] = plate.sensorOffset;
        const float f[3] = {c[0] + c[1], c[2] + c[3], c[4] + c[5] + c[6] + c[7]};
        const float x = (h * f[0] - a * (c[5] + c[6] - c[4] - c[7])) / f[2];
        const float y = (h * f[1] + b * (c[4] + c[5] - c[6] - c[7])) / f[2];
        for (int i = 0; i < 3; ++i) {
            const auto& row = plate.rotation[i];
            sample.force[i] = row[0] * f[0] + row[1] * f[1] + row[2] * f[2];
            sample.centerOfPressure[i] = plate.origin[i] + row[0] * x + row[1] * y;
        }
        const float twist = b * (c[1] - c[0]) + a * (c[2] - c[3]);
        sample.freeMoment = plate.rotation[2][2] * (twist - (x * f[1] - y * f[0]));
    }
};

} // namespace

void RegisterForcePlates() {
    const ForcePlateRig rig(std::vector<PlateLayout>(kPlates, PlateLayout::kEight));
    std::vector<sForcePlateInfo> infos = rig.Plates();
    sDataDescriptions list{};
    for (sForcePlateInfo& info : infos) list.descriptions[list.descriptionCount++] = {DescForcePlate, &info};
    const auto manager = std::make_shared<ForcePlateMananger>();
    manager->InitPlateManager(&list);

    const auto frame = std::make_shared<sFrameOfMocapData>();
    const auto plates = std::make_shared<sForcePlates>();
    // A computation takes the channels out of the frame, so both sides put them in first.
    const auto put = [frame](float first) {
        frame->analogCount = kPlates * kChannels;
        for (std::size_t k = 0; k < kPlates * kChannels; ++k)
            frame->analogValues[k] = first * static_cast<float>(k);
        benchmark::ClobberMemory();
    };
    put(0);
    manager->GetSForcePlates(frame.get(), plates.get()); // the unloaded reading is zero
    RegisterPair(
        "force plates/4 plates",
        [=] {
            put(0.5F);
            manager->GetSForcePlates(frame.get(), plates.get());
            benchmark::ClobberMemory();
        },
        [=, floors = std::vector<PlateFloor>(infos.begin(), infos.end())] {
            put(0.5F);
            for (std::size_t i = 0; i < kPlates; ++i)
                floors[i].Compute(frame->analogValues + i * kChannels, plates->plates[i]);
            benchmark::ClobberMemory();
        });
}
