#include "client/ForcePlateMananger.h"

#include <algorithm>
#include <new>

#include "client/ForcePlateModel.h"
#include "platform/Singletons.h"

using System::CPlainGuard;

namespace {

// Copies of the force plates of a usable list. False when memory runs out.
bool CollectPlates(const sDataDescriptions& descriptions, std::vector<sForcePlateInfo>& plates) {
    try {
        for (int i = 0; i < descriptions.descriptionCount; ++i) {
            const sDescriptionEntry& entry = descriptions.descriptions[i];
            if (entry.type == DescForcePlate && entry.data != nullptr)
                plates.push_back(*static_cast<const sForcePlateInfo*>(entry.data));
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

} // namespace

ForcePlateMananger& ForcePlateMananger::Instance() {
    return CommonKit::TSingletons<ForcePlateMananger>::Instance();
}

int ForcePlateMananger::InitPlateManager(const sDataDescriptions* descriptions) {
    m_ready.store(false, std::memory_order_release);
    if (descriptions == nullptr ||
        static_cast<unsigned int>(descriptions->descriptionCount) > TARVO_MAX_DESCRIPTIONS)
        return 1;
    std::vector<sForcePlateInfo> plates;
    if (!CollectPlates(*descriptions, plates)) return 1;
    const CPlainGuard guard(m_lock);
    m_plates.swap(plates);
    m_ready.store(true, std::memory_order_release);
    return 0;
}

bool ForcePlateMananger::isValid() const {
    const CPlainGuard guard(m_lock);
    return !m_plates.empty();
}

int ForcePlateMananger::GetSForcePlates(sFrameOfMocapData* frame, sForcePlates* plates) const {
    if (!m_ready.load(std::memory_order_acquire) || frame == nullptr || plates == nullptr) return 1;
    if (frame->analogCount < 1 || frame->analogCount > TARVO_MAX_ANALOG_VALUES) return 1;
    const CPlainGuard guard(m_lock);
    if (m_plates.empty()) return 1;
    *plates = sForcePlates{};
    const std::span<const float> values(frame->analogValues, static_cast<std::size_t>(frame->analogCount));
    const auto [slices, count, taken] = ForcePlateModel::AssignChannels(m_plates, values.size());
    for (std::size_t i = 0; i < count; ++i)
        plates->plates[i] = ComputePlate(*slices[i].plate, values.subspan(slices[i].first, slices[i].count));
    plates->plateCount = static_cast<std::int32_t>(count);
    const std::span<const float> left = values.subspan(taken);
    if (taken > 0) std::copy(left.begin(), left.end(), frame->analogValues);
    frame->analogCount = static_cast<std::int32_t>(left.size());
    plates->frameNumber = frame->frameNumber;
    return 0;
}

sForcePlateSample ForcePlateMananger::ComputePlate(const sForcePlateInfo& plate,
                                                   std::span<const float> values) const {
    if (!m_baselineCaptured) {
        m_baselineCaptured = true;
        m_baselineSize = values.size();
        std::copy(values.begin(), values.end(), m_baseline.begin());
    }
    return ForcePlateModel::Compute(plate, values, std::span<const float>(m_baseline).first(m_baselineSize));
}
