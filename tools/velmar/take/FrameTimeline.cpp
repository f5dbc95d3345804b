#include "take/FrameTimeline.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

double InSeconds(std::chrono::nanoseconds time) { return std::chrono::duration<double>(time).count(); }

// As a client tells late frames, repetitions and new beginnings from each other.
constexpr std::int32_t kRemembered = 256;
constexpr std::int32_t kRepetition = 16;

constexpr double kLongestGap = 60; // seconds: what is longer is a new beginning
constexpr double kSlack = 1;       // seconds by which arrivals may lag behind numbers

// By the shortest way around the numbers' range.
std::int32_t Ahead(std::int32_t number, std::int32_t of) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(number) - static_cast<std::uint32_t>(of));
}

// A measured rate as the whole number of frames a second that it is, or that number over 1.001, if it is as good
// as one of them.
double Natural(double rate) {
    constexpr double kPrecision = 2e-4;
    for (const double divisor : {1.0, 1.001}) {
        const double natural = std::round(rate * divisor) / divisor;
        if (natural > 0 && std::abs(rate - natural) <= kPrecision * rate) return natural;
    }
    return rate;
}

} // namespace

// Goes through the frames in the order of their arrival.
class FrameTimeline::Walk {
public:
    explicit Walk(FrameTimeline& timeline) : m_entries(timeline.m_entries), m_rate(timeline.m_rate) {}

    void Run() {
        for (std::size_t i = 0; i < m_entries.size(); ++i) Take(i);
    }

private:
    void Take(std::size_t i) {
        Entry& entry = m_entries[i];
        const std::int32_t ahead = i == 0 ? 1 : Ahead(entry.number, m_latest);
        if (ahead > 0) {
            const bool follows = i == 0 || ahead == 1 || HasRoom(i, ahead);
            Advance(entry, follows && i > 0 ? ahead : 1);
            if (!follows) BeginAnew(entry);
            return;
        }
        const long long slot = m_highest + ahead;
        if (ahead > -kRemembered && slot > m_begin && !IsTaken(slot)) { // late
            Occupy(entry, slot);
        } else if (ahead > -kRepetition && slot >= m_begin && !GoesOn(i)) {
            entry.slot = slot;
            entry.isRepeated = true;
        } else {
            Advance(entry, 1);
            BeginAnew(entry);
        }
    }

    void Advance(Entry& entry, std::int32_t by) {
        m_latest = entry.number;
        m_highest += by;
        Occupy(entry, m_highest);
    }

    void BeginAnew(Entry& entry) {
        entry.beginsAnew = true;
        m_begin = entry.slot;
    }

    void Occupy(Entry& entry, long long slot) {
        entry.slot = slot;
        m_taken[static_cast<std::size_t>(slot) % kRemembered] = slot;
    }

    bool IsTaken(long long slot) const { return m_taken[static_cast<std::size_t>(slot) % kRemembered] == slot; }

    // Whether the time between two arrivals has room for the numbers between them.
    bool HasRoom(std::size_t i, std::int32_t ahead) const {
        const double gap = ahead / m_rate;
        const double passed = InSeconds(m_entries[i].arrival - m_entries[i - 1].arrival);
        return gap <= kLongestGap && gap <= 2 * passed + kSlack;
    }

    // Numbers that come again one after the other are those of a server that has begun anew.
    bool GoesOn(std::size_t i) const {
        if (i + 1 == m_entries.size()) return false;
        const std::int32_t next = m_entries[i + 1].number;
        return Ahead(next, m_entries[i].number) == 1 && Ahead(next, m_latest) <= 0;
    }

    std::vector<Entry>& m_entries;
    double m_rate;
    std::int32_t m_latest = 0;
    long long m_highest = -1;
    long long m_begin = 0; // where the latest numbers began
    std::array<long long, kRemembered> m_taken = [] {
        std::array<long long, kRemembered> none{};
        none.fill(-1);
        return none;
    }();
};

void FrameTimeline::Settle(std::optional<double> statedRate) {
    m_measured = RateOfArrivals();
    m_source = statedRate ? RateSource::kStated : m_measured ? RateSource::kArrivals : RateSource::kUnknown;
    m_rate = statedRate ? *statedRate : m_measured.value_or(1);
    Walk(*this).Run();
    Summarise();
}

// Of the steps from one number to the next few; those in which the stream stood still do not count.
std::optional<double> FrameTimeline::RateOfArrivals() const {
    constexpr std::int32_t kFew = 16;
    constexpr double kStandstill = 5;
    std::vector<std::pair<double, int>> steps;
    for (std::size_t i = 1; i < m_entries.size(); ++i) {
        const std::int32_t ahead = Ahead(m_entries[i].number, m_entries[i - 1].number);
        const double passed = InSeconds(m_entries[i].arrival - m_entries[i - 1].arrival);
        if (ahead >= 1 && ahead <= kFew && passed >= 0) steps.emplace_back(passed, ahead);
    }
    if (steps.empty()) return std::nullopt;
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end(),
                     [](const auto& a, const auto& b) { return a.first / a.second < b.first / b.second; });
    const double longest = kStandstill * middle->first / middle->second;
    double passed = 0;
    long long frames = 0;
    for (const auto& [seconds, ahead] : steps) {
        if (longest > 0 && seconds / ahead > longest) continue;
        passed += seconds;
        frames += ahead;
    }
    if (!(passed > 0)) return std::nullopt;
    const double rate = static_cast<double>(frames) / passed;
    if (rate < kSlowest || rate > kFastest) return std::nullopt;
    return Natural(rate);
}

void FrameTimeline::Restrict(const TakeRange& range) {
    for (Entry& entry : m_entries) entry.isIn = range.Holds(entry.number, Seconds(entry.slot));
    Summarise();
}

void FrameTimeline::Summarise() {
    std::vector<long long> slots;
    m_gaps.clear();
    m_breaks.clear();
    m_repeated = 0;
    for (const Entry& entry : m_entries) {
        if (!entry.isIn) continue;
        if (entry.isRepeated) ++m_repeated;
        if (!entry.isRepeated) slots.push_back(entry.slot);
        if (entry.beginsAnew) m_breaks.push_back(entry.slot);
    }
    std::sort(slots.begin(), slots.end());
    m_frames = static_cast<long long>(slots.size());
    m_first = slots.empty() ? 0 : slots.front();
    m_slots = slots.empty() ? 0 : slots.back() - m_first + 1;
    for (long long& slot : m_breaks) slot -= m_first;
    for (std::size_t i = 1; i < slots.size(); ++i)
        if (slots[i] > slots[i - 1] + 1)
            m_gaps.push_back({slots[i - 1] + 1 - m_first, slots[i] - slots[i - 1] - 1});
}

FrameTimeline::Place FrameTimeline::At(std::size_t ordinal) const {
    const Entry& entry = m_entries[ordinal];
    return {entry.isIn && !entry.isRepeated, entry.isIn && entry.isRepeated, entry.slot - m_first};
}
