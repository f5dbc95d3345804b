#include "export/C3dFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <span>
#include <stdexcept>

#include "Wording.h"
#include "export/LeftOut.h"
#include "export/TableSize.h"

namespace {

constexpr long long kMostFrames = 65'535; // that a 16-bit word tells
constexpr std::size_t kMostPoints = 65'535;
constexpr long long kMostTrialFrames = 0xFFFF'FFFF; // that two of them tell
constexpr std::size_t kMostEvents = 1000;           // they leave most of the parameter section to labels
constexpr float kFloats = -1;                       // a scale: its sign says that the data are floats
constexpr float kMissing = -1;                      // residual of a point that is not there

std::int16_t Word(long long value) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(std::min(value, kMostFrames)));
}

// Printable ASCII, and not so long that 255 of them outgrow a parameter.
std::vector<std::string> PlainLabels(std::vector<std::string> labels) {
    constexpr std::size_t kLongest = 100;
    for (std::string& label : labels) {
        label.resize(std::min(label.size(), kLongest));
        for (char& character : label)
            if (character < ' ' || character > '~') character = '_';
    }
    MakeDifferent(labels);
    return labels;
}

// What happens to the stream of frames, at a time.
struct Event {
    double seconds;
    std::string label;
    std::string description;
};

// The first ones, by their times.
std::vector<Event> EventsOf(const FrameTimeline& timeline) {
    const auto first = [](const auto& all) { return std::span(all).first(std::min(all.size(), kMostEvents)); };
    std::vector<Event> events;
    for (const auto& [slot, count] : first(timeline.Gaps()))
        events.push_back({timeline.Seconds(slot), "Lost", Counted(count, "frame")});
    for (const long long slot : first(timeline.Breaks()))
        events.push_back({timeline.Seconds(slot), "Restart", "numbers begin anew"});
    std::stable_sort(events.begin(), events.end(),
                     [](const Event& a, const Event& b) { return a.seconds < b.seconds; });
    events.resize(std::min(events.size(), kMostEvents));
    return events;
}

} // namespace

C3dFile::C3dFile(Take& take, OutputFolder& folder)
    : m_take(take), m_plates(take.plates), m_file(folder.Make(take.Name() + ".c3d")) {
    m_analog.resize(m_plates.Channels().size() + static_cast<std::size_t>(take.analogChannels));
    CheckTableSize(take, take.timeline.Slots(), 4 * take.markers.Count() + m_analog.size());
    C3dParameters parameters;
    AddPoints(parameters);
    const std::size_t dataStart = parameters.LatestValue();
    AddTrial(parameters);
    AddAnalog(parameters);
    m_plates.AddGroup(parameters);
    AddEvents(parameters);
    const std::size_t dataBlock = 2 + parameters.Blocks();
    parameters.SetWord(dataStart, static_cast<std::int16_t>(dataBlock));
    const std::vector<unsigned char> section = parameters.Section();
    if (section.empty() || take.markers.Count() > kMostPoints || take.timeline.Slots() > kMostTrialFrames)
        throw std::runtime_error(fmt::format("{} has {} and {}: more than a C3D file can describe",
                                             take.options.file, Counted(take.markers.Count(), "marker"),
                                             Counted(take.timeline.Slots(), "frame time")));
    for (const std::vector<unsigned char>& part : {Header(dataBlock), section})
        m_file.Write({reinterpret_cast<const char*>(part.data()), part.size()});
}

// DATA_START is the last one: it is known when all parameters are.
void C3dFile::AddPoints(C3dParameters& parameters) const {
    const std::vector<std::string> labels = PlainLabels(m_take.markers.Labels());
    parameters.Group("POINT");
    parameters.Add("USED", Word(static_cast<long long>(labels.size())));
    parameters.Add("SCALE", kFloats);
    parameters.Add("RATE", static_cast<float>(m_take.timeline.Rate()));
    parameters.Add("FRAMES", Word(m_take.timeline.Slots()));
    parameters.Add("LONG_FRAMES", static_cast<float>(m_take.timeline.Slots()));
    parameters.AddTexts("LABELS", labels);
    parameters.AddTexts("DESCRIPTIONS", std::vector<std::string>(labels.size()));
    parameters.Add("UNITS", "mm");
    parameters.Add("X_SCREEN", "+X");
    parameters.Add("Y_SCREEN", "+Z");
    parameters.Add("DATA_START", std::int16_t{0});
}

void C3dFile::AddTrial(C3dParameters& parameters) const {
    const auto last = static_cast<std::uint32_t>(m_take.timeline.Slots());
    const auto halves = [](std::uint32_t value) {
        return std::array{static_cast<std::int16_t>(value & 0xFFFFU), static_cast<std::int16_t>(value >> 16U)};
    };
    parameters.Group("TRIAL");
    parameters.AddWords("ACTUAL_START_FIELD", {2}, halves(1));
    parameters.AddWords("ACTUAL_END_FIELD", {2}, halves(last));
    parameters.Add("CAMERA_RATE", static_cast<float>(m_take.timeline.Rate()));
}

void C3dFile::AddAnalog(C3dParameters& parameters) const {
    std::vector<std::string> labels;
    std::vector<std::string> descriptions;
    std::vector<std::string> units;
    std::vector<float> scales;
    for (const C3dChannel& channel : m_plates.Channels()) {
        descriptions.push_back(fmt::format("unloaded reading {:.6g} is off", m_take.plateUnloaded[labels.size()]));
        labels.push_back(channel.label);
        units.push_back(channel.unit);
        scales.push_back(channel.scale);
    }
    for (int i = 0; i < m_take.analogChannels; ++i) {
        labels.push_back(fmt::format("Analog{}", i + 1));
        descriptions.emplace_back();
        units.emplace_back();
        scales.push_back(1);
    }
    parameters.Group("ANALOG");
    parameters.Add("USED", Word(static_cast<long long>(labels.size())));
    parameters.Add("RATE", static_cast<float>(m_take.timeline.Rate()));
    parameters.Add("GEN_SCALE", 1.0F);
    if (labels.empty()) return;
    parameters.AddTexts("LABELS", labels);
    parameters.AddTexts("DESCRIPTIONS", descriptions);
    parameters.AddTexts("UNITS", units);
    parameters.AddFloats("SCALE", {scales.size()}, scales);
    parameters.AddWords("OFFSET", {scales.size()}, std::vector<std::int16_t>(scales.size()));
}

void C3dFile::AddEvents(C3dParameters& parameters) const {
    constexpr double kMinute = 60;
    std::vector<std::string> labels;
    std::vector<std::string> descriptions;
    std::vector<float> times;
    for (const auto& [seconds, label, description] : EventsOf(m_take.timeline)) {
        labels.push_back(label);
        descriptions.push_back(description);
        times.push_back(static_cast<float>(std::floor(seconds / kMinute)));
        times.push_back(static_cast<float>(std::fmod(seconds, kMinute)));
    }
    parameters.Group("EVENT");
    parameters.Add("USED", Word(static_cast<long long>(labels.size())));
    if (labels.empty()) return;
    parameters.AddTexts("CONTEXTS", std::vector<std::string>(labels.size(), "General"));
    parameters.AddTexts("LABELS", labels);
    parameters.AddTexts("DESCRIPTIONS", descriptions);
    parameters.AddRows("TIMES", 2, times);
}

std::vector<unsigned char> C3dFile::Header(std::size_t dataBlock) const {
    std::vector<unsigned char> header(C3dParameters::kBlock);
    const auto set = [&](std::size_t word, auto value) { // words count from 1
        std::memcpy(&header[(word - 1) * 2], &value, sizeof value);
    };
    set(1, std::array<unsigned char, 2>{2, 0x50});
    set(2, static_cast<std::uint16_t>(m_take.markers.Count()));
    set(3, static_cast<std::uint16_t>(m_analog.size()));
    set(4, std::uint16_t{1});
    set(5, Word(m_take.timeline.Slots()));
    set(7, kFloats);
    set(9, static_cast<std::uint16_t>(dataBlock));
    set(10, static_cast<std::uint16_t>(m_analog.empty() ? 0 : 1));
    set(11, static_cast<float>(m_take.timeline.Rate()));
    // The first events; the group has them all.
    constexpr std::uint16_t kFourLetters = 12345;
    constexpr std::size_t kMostInHeader = 18;
    constexpr std::size_t kEventLabels = 396; // where they begin
    const std::vector<Event> events = EventsOf(m_take.timeline);
    const std::size_t count = std::min(events.size(), kMostInHeader);
    set(150, kFourLetters);
    set(151, static_cast<std::uint16_t>(count));
    for (std::size_t i = 0; i < count; ++i) {
        set(153 + 2 * i, static_cast<float>(events[i].seconds));
        events[i].label.copy(reinterpret_cast<char*>(&header[kEventLabels + 4 * i]), 4);
    }
    return header;
}

void C3dFile::Add(const TakeFrame& item) {
    m_record.clear();
    if (item.frame != nullptr) {
        m_take.markers.Place(*item.frame, m_positions);
        const std::size_t channels = std::min(item.readings.size(), m_plates.Channels().size());
        const auto keep = [](float& value, float now) {
            if (std::isfinite(now)) value = now;
        };
        for (std::size_t k = 0; k < channels; ++k) keep(m_analog[k], item.readings[k] - m_take.plateUnloaded[k]);
        for (int i = 0; i < std::min(item.frame->analogCount, m_take.analogChannels); ++i)
            keep(m_analog[m_plates.Channels().size() + static_cast<std::size_t>(i)], item.frame->analogValues[i]);
    } else {
        m_positions.assign(m_take.markers.Count(), std::nullopt);
    }
    for (const std::optional<sTriple>& p : m_positions) {
        const sTriple at = p ? sTriple{p->x * kC3dUnits, p->y * kC3dUnits, p->z * kC3dUnits} : sTriple{};
        if (p && std::isfinite(at.x) && std::isfinite(at.y) && std::isfinite(at.z))
            m_record.insert(m_record.end(), {at.x, at.y, at.z, 0});
        else
            m_record.insert(m_record.end(), {0, 0, 0, kMissing});
    }
    m_record.insert(m_record.end(), m_analog.begin(), m_analog.end());
    m_file.Write({reinterpret_cast<const char*>(m_record.data()), m_record.size() * sizeof(float)});
}

std::vector<std::string> C3dFile::Finish() {
    std::vector<std::string> notes = LeftOutOfSlots(m_take);
    if (const std::size_t all = m_take.timeline.Gaps().size() + m_take.timeline.Breaks().size(); all > kMostEvents)
        notes.push_back(
            fmt::format("left out: {} behind the first {}", Counted(all - kMostEvents, "event"), kMostEvents));
    if (m_take.bodies.Count() > 0)
        notes.push_back(
            fmt::format("left out: {}: C3D has points only", Counted(m_take.bodies.Count(), "body or bone pose")));
    return notes;
}
