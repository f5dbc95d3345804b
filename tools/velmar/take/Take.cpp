#include "take/Take.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "StopSignal.h"
#include "capture/RecordedFrames.h"
#include "client/ForcePlateModel.h"
#include "simulate/ServerRecords.h"

namespace {

// The mean of what channels read.
class MeanReadings {
public:
    void Add(std::span<const float> readings) {
        if (m_count++ == 0) m_sums.resize(readings.size());
        m_sums.resize(std::min(m_sums.size(), readings.size()));
        for (std::size_t i = 0; i < m_sums.size(); ++i) m_sums[i] += static_cast<double>(readings[i]);
    }

    std::vector<float> Result() const {
        std::vector<float> means;
        for (const double sum : m_sums) means.push_back(static_cast<float>(sum / static_cast<double>(m_count)));
        return means;
    }

private:
    std::vector<double> m_sums;
    long long m_count = 0;
};

int MarkersOf(const sFrameOfMocapData& frame) {
    int markers = 0;
    for (int i = 0; i < frame.rigidBodyCount; ++i) markers += frame.rigidBodies[i].markerCount;
    for (int i = 0; i < frame.skeletonCount; ++i)
        for (int k = 0; k < frame.skeletons[i].rigidBodyCount; ++k)
            markers += frame.skeletons[i].rigidBodies[k].markerCount;
    return markers;
}

bool AreNumbers(const sForcePlates& sample) {
    const auto isNumber = [](float value) { return std::isfinite(value); };
    return std::all_of(sample.plates, sample.plates + sample.plateCount, [&](const sForcePlateSample& plate) {
        return std::all_of(std::begin(plate.force), std::end(plate.force), isNumber) &&
               std::all_of(std::begin(plate.centerOfPressure), std::end(plate.centerOfPressure), isNumber) &&
               isNumber(plate.freeMoment);
    });
}

} // namespace

Take::Take(TakeOptions wanted)
    : options(std::move(wanted)),
      recording(Survey(options.file)),
      descriptions(recording),
      names(descriptions),
      doubt(descriptions.list.get()) {
    ReadTimes();
    if (!ItemsComeWithTimes()) ReadItems();
    SettlePlates();
    markers.Settle(names);
    bodies.Settle(names);
}

std::string Take::Name() const { return std::filesystem::path(options.file).stem().string(); }

bool Take::IsWhole(const sForcePlates& sample) const {
    return static_cast<std::size_t>(sample.plateCount) == plates.size() && AreNumbers(sample);
}

// Only a simulated server's description is known to tell one.
std::optional<double> Take::StatedRate() const {
    if (options.rate) return options.rate;
    if (!IsSimulated()) return std::nullopt;
    ServerRecord record{};
    std::memcpy(&record, descriptions.server.bytes, sizeof descriptions.server.bytes);
    const auto rate = static_cast<double>(record.frameRate);
    if (!(rate >= FrameTimeline::kSlowest && rate <= FrameTimeline::kFastest)) return std::nullopt;
    return rate;
}

// One time less through the file, when all its frames count, and nothing of them must be known before.
bool Take::ItemsComeWithTimes() const { return options.range.IsWhole() && !options.unloaded; }

void Take::ReadTimes() {
    RecordedFrames frames(options.file, descriptions.list.get());
    MeanReadings mean;
    while (const RecordedFrame* const item = frames.Next()) {
        const long long number = item->frame->frameNumber;
        timeline.Add(item->frame->frameNumber, item->time);
        if (ItemsComeWithTimes()) Collect(*item);
        if (options.unloaded && number >= options.unloaded->first && number <= options.unloaded->last)
            mean.Add(item->readings->Readings());
    }
    if (StopSignal::Arrived()) throw std::runtime_error("stopped before the end of " + options.file);
    undecodable = frames.Undecodable();
    statistics = frames.Statistics();
    if (timeline.Added() == 0) throw std::runtime_error(options.file + ": none of its frames can be decoded");
    timeline.Settle(StatedRate());
    timeline.Restrict(options.range);
    if (timeline.Frames() == 0)
        throw std::runtime_error(fmt::format("{} holds no frame {}", options.file, options.range.Text()));
    if (!options.unloaded) return;
    unloaded = mean.Result();
    if (unloaded.empty())
        throw std::runtime_error(fmt::format("{} has no readings of force plates in frames {} to {}", options.file,
                                             options.unloaded->first, options.unloaded->last));
}

void Take::ReadItems() {
    RecordedFrames frames(options.file, descriptions.list.get(), unloaded);
    for (std::size_t i = 0; const RecordedFrame* const item = frames.Next(); ++i) {
        if (i >= timeline.Added()) break; // the file has grown since
        const FrameTimeline::Place place = timeline.At(i);
        if (place.isIn || place.isRepeated)
            Collect(*item);
        else
            m_wholePlates.push_back(kNotWhole);
    }
    if (StopSignal::Arrived()) throw std::runtime_error("stopped before the end of " + options.file);
}

void Take::Collect(const RecordedFrame& item) {
    const sFrameOfMocapData& frame = *item.frame;
    if (std::exchange(m_isFirst, false)) firstNumber = frame.frameNumber;
    lastNumber = frame.frameNumber;
    CollectNames(frame);
    analogChannels = std::max(analogChannels, frame.analogCount);
    otherMarkers = std::max(otherMarkers, frame.otherMarkerCount);
    labeledMarkers = std::max(labeledMarkers, frame.labeledMarkerCount);
    bodyMarkers = std::max(bodyMarkers, MarkersOf(frame));
    doubt.Take(item.plates);
    m_wholePlates.push_back(AreNumbers(item.plates) ? static_cast<std::int8_t>(item.plates.plateCount)
                                                    : kNotWhole);
    const std::span<const float> readings = item.readings->Unloaded();
    if (readings.size() > plateUnloaded.size()) plateUnloaded.assign(readings.begin(), readings.end());
}

// A stream has the same items in all its frames, or nearly so.
void Take::CollectNames(const sFrameOfMocapData& frame) {
    constexpr std::size_t kMost = 65'535; // twice as many as the longest message has room for
    markers.Collect(frame, IsSimulated());
    bodies.Collect(frame);
    if (markers.Collected() + bodies.Collected() <= kMost) return;
    throw std::runtime_error(
        fmt::format("{}: up to frame {}, names and identifiers tell of more than {} different markers and bodies: "
                    "they are not those of one stream",
                    options.file, frame.frameNumber, kMost));
}

void Take::SettlePlates() {
    const RecordedPlates described(descriptions.list.get());
    const auto assigned = ForcePlateModel::AssignChannels(described.Described(), plateUnloaded.size());
    for (std::size_t i = 0; i < assigned.plates; ++i) plates.push_back(*assigned.slices[i].plate);
    for (std::size_t i = 0; i < m_wholePlates.size(); ++i)
        if (timeline.At(i).isIn && m_wholePlates[i] == static_cast<std::int8_t>(plates.size())) ++plateFrames;
    m_wholePlates = {};
}
