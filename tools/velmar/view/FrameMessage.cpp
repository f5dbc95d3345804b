#include "view/FrameMessage.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstring>
#include <span>

#include "view/PageProtocol.h"

static_assert(std::endian::native == std::endian::little, "pages read little-endian numbers");

namespace {

constexpr double kNsPerMs = 1e6;
constexpr std::size_t kMarkerSize = sizeof(sTriple);
constexpr std::size_t kBodySize = 40;
constexpr std::size_t kSkeletonSize = 8;

struct Counts {
    std::uint32_t plates, analog, sets, setMarkers, otherMarkers, labeledMarkers, rigidBodies, skeletons, bones;

    std::size_t MessageSize() const {
        return kFrameBodyHeaderSize + plates * sizeof(sForcePlateSample) + analog * sizeof(float) +
               sets * sizeof(std::uint32_t) + (setMarkers + otherMarkers) * kMarkerSize +
               labeledMarkers * sizeof(sLabeledMarkerSample) + (rigidBodies + bones) * kBodySize +
               skeletons * kSkeletonSize;
    }
};
static_assert(sizeof(Counts) == 9 * sizeof(std::uint32_t), "goes into the message as it stands");
static_assert(sizeof(sForcePlateSample) == 7 * sizeof(float) && kMarkerSize == 3 * sizeof(float) &&
                  sizeof(sLabeledMarkerSample) == 6 * sizeof(std::uint32_t),
              "go into the message as they stand");

Counts CountsOf(const sFrameOfMocapData& frame, const sForcePlates& plates) {
    const auto count = [](std::int32_t value) { return static_cast<std::uint32_t>(std::max(value, 0)); };
    Counts counts{count(plates.plateCount),
                  count(frame.analogCount),
                  count(frame.markerSetCount),
                  0,
                  count(frame.otherMarkerCount),
                  count(frame.labeledMarkerCount),
                  count(frame.rigidBodyCount),
                  count(frame.skeletonCount),
                  0};
    for (std::uint32_t i = 0; i < counts.sets; ++i) counts.setMarkers += count(frame.markerSets[i].markerCount);
    for (std::uint32_t i = 0; i < counts.skeletons; ++i) counts.bones += count(frame.skeletons[i].rigidBodyCount);
    return counts;
}

// Writes one value behind the other; the buffer has room for all.
class Writer {
public:
    explicit Writer(unsigned char* at) : m_at(at) {}

    template <typename T>
    void Add(const T& value) {
        std::memcpy(m_at, &value, sizeof value);
        m_at += sizeof value;
    }

    template <typename T>
    void AddAll(const T* values, std::size_t count) {
        if (count == 0) return;
        std::memcpy(m_at, values, count * sizeof *values);
        m_at += count * sizeof *values;
    }

    void AddBody(const sRigidBodySample& body) {
        Add(body.id);
        Add(body.position);
        Add(body.orientation);
        Add(body.residual);
        Add(std::uint32_t{body.flags});
    }

private:
    unsigned char* m_at;
};

void AddHeader(Writer& out, const sFrameOfMocapData& frame, const Counts& counts, const FrameStamp& stamp) {
    out.Add(static_cast<double>(stamp.place));
    out.Add(stamp.arrivalMs);
    out.Add(stamp.deliveredMs);
    out.Add(static_cast<float>(stamp.kernelMs));
    out.Add(frame.frameNumber);
    out.Add(frame.timecode);
    out.Add(frame.timecodeSubframe);
    out.Add(std::uint32_t{frame.flags});
    out.Add(counts);
}

void AddSets(Writer& out, std::span<const sMarkerSetSample> sets) {
    for (const sMarkerSetSample& set : sets) out.Add(static_cast<std::uint32_t>(std::max(set.markerCount, 0)));
    for (const sMarkerSetSample& set : sets)
        out.AddAll(set.markers, static_cast<std::size_t>(std::max(set.markerCount, 0)));
}

void AddSkeletons(Writer& out, std::span<const sSkeletonSample> skeletons) {
    for (const sSkeletonSample& skeleton : skeletons) {
        out.Add(skeleton.id);
        out.Add(static_cast<std::uint32_t>(std::max(skeleton.rigidBodyCount, 0)));
    }
    for (const sSkeletonSample& skeleton : skeletons)
        for (int i = 0; i < skeleton.rigidBodyCount; ++i) out.AddBody(skeleton.rigidBodies[i]);
}

} // namespace

double NowMs() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double WallMs() {
    return std::chrono::duration<double, std::milli>(std::chrono::system_clock::now().time_since_epoch()).count();
}

FrameStamp StampOf(std::uint64_t place, const sFrameTimes& times) {
    const auto ms = [](std::int64_t ns) { return static_cast<double>(ns) / kNsPerMs; };
    const bool stamped = times.lastArrivalNs != 0;
    return {place, stamped ? ms(times.lastArrivalNs) : WallMs(), ms(times.deliveryMonotonicNs),
            stamped ? ms(times.deliveryMonotonicNs - times.arrivalMonotonicNs) : 0};
}

FrameBody EncodeFrame(const sFrameOfMocapData& frame, const sForcePlates& plates, const FrameStamp& stamp) {
    const Counts counts = CountsOf(frame, plates);
    auto message = std::make_shared<std::vector<unsigned char>>(counts.MessageSize());
    Writer out(message->data());
    AddHeader(out, frame, counts, stamp);
    out.AddAll(plates.plates, counts.plates);
    out.AddAll(frame.analogValues, counts.analog);
    AddSets(out, {frame.markerSets, counts.sets});
    out.AddAll(frame.otherMarkers, counts.otherMarkers);
    out.AddAll(frame.labeledMarkers, counts.labeledMarkers);
    for (std::uint32_t i = 0; i < counts.rigidBodies; ++i) out.AddBody(frame.rigidBodies[i]);
    AddSkeletons(out, {frame.skeletons, counts.skeletons});
    return message;
}
