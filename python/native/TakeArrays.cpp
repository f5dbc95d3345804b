#include "TakeArrays.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <span>

namespace {

constexpr float kMissing = std::numeric_limits<float>::quiet_NaN();
constexpr std::size_t kPosition = 3;
constexpr std::size_t kOrientation = 4;
constexpr std::size_t kPose = kPosition + kOrientation + 1; // with the residual
constexpr std::size_t kPlate = kPosition + kPosition + 1;   // with the free moment

void Append(float*& to, std::span<const float> values) { to = std::copy(values.begin(), values.end(), to); }

void AppendMissing(float*& to, std::size_t values) { to = std::fill_n(to, values, kMissing); }

} // namespace

std::size_t TakeArrays::ValuesInSlot(const Take& take) {
    return kPosition * take.markers.Count() + kPose * take.bodies.Count() + kPlate * take.plates.size() +
           static_cast<std::size_t>(take.analogChannels);
}

TakeArrays::TakeArrays(const Take& take, const VelmarTakeArrays& arrays, long long latestNumber)
    : m_take(take), m_next(arrays), m_latestNumber(latestNumber) {}

void TakeArrays::Add(const TakeFrame& item) {
    m_latestNumber = item.frame == nullptr ? m_latestNumber + 1 : item.frame->frameNumber;
    *m_next.number++ = m_latestNumber;
    *m_next.arrivalNs++ = item.frame == nullptr ? 0 : item.arrival.count();
    *m_next.isPresent++ = item.frame == nullptr ? 0 : 1;
    AddMarkers(item.frame);
    AddBodies(item.frame);
    AddPlates(item);
    AddAnalog(item.frame);
}

void TakeArrays::AddMarkers(const sFrameOfMocapData* frame) {
    if (frame == nullptr) return AppendMissing(m_next.markers, kPosition * m_take.markers.Count());
    m_take.markers.Place(*frame, m_positions);
    for (const std::optional<sTriple>& p : m_positions) {
        *m_next.markers++ = p ? p->x : kMissing;
        *m_next.markers++ = p ? p->y : kMissing;
        *m_next.markers++ = p ? p->z : kMissing;
    }
}

void TakeArrays::AddBodies(const sFrameOfMocapData* frame) {
    if (frame == nullptr)
        m_bodies.assign(m_take.bodies.Count(), nullptr);
    else
        m_take.bodies.Place(*frame, m_bodies);
    for (const sRigidBodySample* const body : m_bodies) {
        if (body == nullptr) {
            AppendMissing(m_next.position, kPosition);
            AppendMissing(m_next.orientation, kOrientation);
            AppendMissing(m_next.residual, 1);
            continue;
        }
        Append(m_next.position, body->position);
        Append(m_next.orientation, body->orientation);
        *m_next.residual++ = body->residual;
    }
}

void TakeArrays::AddPlates(const TakeFrame& item) {
    const bool isWhole = item.frame != nullptr && m_take.IsWhole(item.plates);
    for (std::size_t i = 0; i < m_take.plates.size(); ++i) {
        if (!isWhole) {
            AppendMissing(m_next.force, kPosition);
            AppendMissing(m_next.centerOfPressure, kPosition);
            AppendMissing(m_next.freeMoment, 1);
            continue;
        }
        const sForcePlateSample& plate = item.plates.plates[i];
        Append(m_next.force, plate.force);
        Append(m_next.centerOfPressure, plate.centerOfPressure);
        *m_next.freeMoment++ = plate.freeMoment;
    }
}

void TakeArrays::AddAnalog(const sFrameOfMocapData* frame) {
    const auto most = static_cast<std::size_t>(m_take.analogChannels);
    const std::size_t channels =
        frame == nullptr ? 0 : std::min(static_cast<std::size_t>(frame->analogCount), most);
    if (channels > 0) Append(m_next.analog, std::span(frame->analogValues).first(channels));
    AppendMissing(m_next.analog, most - channels);
}
