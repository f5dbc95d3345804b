// Arbitrary plates and channels through the force-plate computation.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "client/ForcePlateMananger.h"

// The input is a plate count, an analog count, the channels, and then the leading bytes of each plate's record.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kPlateBytes = offsetof(sForcePlateInfo, opaque3); // nothing is read behind them
    constexpr int kAnalogBias = 64; // counts below 0 and above the bound among them
    static sFrameOfMocapData frame;
    if (size < 2 + sizeof frame.analogValues) return 0;
    std::vector<sForcePlateInfo> plates(data[0] % 10);
    frame.analogCount = data[1] - kAnalogBias;
    std::memcpy(frame.analogValues, data + 2, sizeof frame.analogValues);
    data += 2 + sizeof frame.analogValues;
    size -= 2 + sizeof frame.analogValues;
    sDataDescriptions list{};
    for (sForcePlateInfo& plate : plates) {
        const std::size_t taken = std::min(size, kPlateBytes);
        std::memcpy(static_cast<void*>(&plate), data, taken);
        data += taken;
        size -= taken;
        list.descriptions[list.descriptionCount++] = {DescForcePlate, &plate};
    }
    const int before = frame.analogCount;
    sForcePlates out;
    const ForcePlateMananger& manager = ForcePlateMananger::Instance();
    if (ForcePlateMananger::Instance().InitPlateManager(&list) != 0) std::abort();
    if (manager.GetSForcePlates(&frame, &out) == 0) {
        const bool counts = out.plateCount >= 0 && out.plateCount <= 5 && frame.analogCount >= 0;
        if (!counts || before - frame.analogCount < 6 * out.plateCount) std::abort();
    } else if (frame.analogCount != before) {
        std::abort();
    }
    return 0;
}
