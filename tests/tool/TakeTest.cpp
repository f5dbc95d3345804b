// What a recording's frame numbers and arrivals make of time, and what its force plates give away.
#include <memory>

#include "PlateDoubt.h"
#include "capture/RecordedPlates.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "take/FrameTimeline.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// At 100 frames a second; where no time is given, each arrives when its number says.
FrameTimeline Timeline(const std::vector<int>& numbers, const std::vector<double>& seconds = {},
                       std::optional<double> rate = 100) {
    FrameTimeline timeline;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const double at = seconds.empty() ? 0.01 * numbers[i] : seconds[i];
        timeline.Add(numbers[i], std::chrono::nanoseconds(static_cast<long long>((1000 + at) * 1e9)));
    }
    timeline.Settle(rate);
    return timeline;
}

// "r" behind a repeated one, "-" for one out of the range.
std::vector<std::string> SlotsOf(const FrameTimeline& timeline) {
    std::vector<std::string> slots;
    for (std::size_t i = 0; i < timeline.Added(); ++i) {
        const FrameTimeline::Place place = timeline.At(i);
        slots.push_back(place.isIn || place.isRepeated ? std::to_string(place.slot) + (place.isRepeated ? "r" : "")
                                                       : "-");
    }
    return slots;
}

std::vector<std::pair<long long, long long>> GapsOf(const FrameTimeline& timeline) {
    std::vector<std::pair<long long, long long>> gaps;
    for (const auto& [slot, count] : timeline.Gaps()) gaps.emplace_back(slot, count);
    return gaps;
}

sForcePlates Plates(float vertical, float x) {
    sForcePlates plates{};
    plates.plateCount = 1;
    plates.plates[0] = {{0, 0, vertical}, {x, 0, 0}, 0};
    return plates;
}

std::string DoubtAfter(int frames, float vertical, float x) {
    sForcePlateInfo plate{};
    plate.channelLayout = 4;
    plate.origin[0] = 1;
    sDataDescriptions list{};
    list.descriptionCount = 1;
    list.descriptions[0] = {DescForcePlate, &plate};
    PlateDoubt doubt(&list);
    for (int i = 0; i < frames; ++i) doubt.Take(Plates(vertical, x));
    doubt.Take(Plates(0, 1)); // once is enough
    return doubt.Text();
}

} // namespace

TEST(Timeline, EachNumberHasItsTime) {
    EXPECT_THAT(SlotsOf(Timeline({5, 6, 7})), ElementsAre("0", "1", "2"));
    const FrameTimeline lost = Timeline({5, 6, 9, 10, 12});
    EXPECT_THAT(SlotsOf(lost), ElementsAre("0", "1", "4", "5", "7"));
    EXPECT_THAT(GapsOf(lost), ElementsAre(std::pair(2, 2), std::pair(6, 1)));
    const FrameTimeline late = Timeline({5, 7, 6, 8, 8, 9});
    EXPECT_THAT(SlotsOf(late), ElementsAre("0", "2", "1", "3", "3r", "4"));
    EXPECT_THAT(GapsOf(late), IsEmpty());
    EXPECT_EQ(late.Repeated(), 1);
    EXPECT_THAT(SlotsOf(Timeline({2147483647, -2147483647 - 1, -2147483647}, {0, 0.01, 0.02})),
                ElementsAre("0", "1", "2"));
}

TEST(Timeline, WhereNumbersBeginAnewTimeGoesOn) {
    // A server that starts again; one that repeats two numbers at once has started again as well.
    const FrameTimeline again = Timeline({900, 901, 1, 2, 4}, {0, 0.01, 5, 5.01, 5.03});
    EXPECT_THAT(SlotsOf(again), ElementsAre("0", "1", "2", "3", "5"));
    EXPECT_THAT(again.Breaks(), ElementsAre(2));
    const FrameTimeline soon = Timeline({1, 2, 1, 2, 3}, {0, 0.01, 0.02, 0.03, 0.04});
    EXPECT_THAT(SlotsOf(soon), ElementsAre("0", "1", "2", "3", "4"));
    EXPECT_EQ(soon.Repeated(), 0);
    // A jump that takes no time lost nothing; one for which there was time did.
    EXPECT_THAT(SlotsOf(Timeline({1, 2, 100'000, 100'001}, {0, 0.01, 0.02, 0.03})),
                ElementsAre("0", "1", "2", "3"));
    EXPECT_THAT(SlotsOf(Timeline({1, 2, 1000}, {0, 0.01, 9.99})), ElementsAre("0", "1", "999"));
    // What is late by more than a network delays is not filled in.
    EXPECT_THAT(Timeline({1, 2, 700, 3}, {0, 0.01, 6.99, 7}).Breaks(), ElementsAre(700));
}

TEST(Timeline, ArrivalsTellTheRateThatNobodyStates) {
    std::vector<int> numbers;
    std::vector<double> seconds;
    for (int i = 0; i < 2000; ++i) {
        if (i % 50 == 7) continue; // lost
        numbers.push_back(i);
        const double jitter = i % 2 == 0 ? 0.002 : 0;
        seconds.push_back(i * 1.001 / 60 + jitter + (i >= 1000 ? 30 : 0)); // it stood still once
    }
    const FrameTimeline timeline = Timeline(numbers, seconds, std::nullopt);
    EXPECT_EQ(timeline.Source(), FrameTimeline::RateSource::kArrivals);
    EXPECT_NEAR(timeline.Rate(), 60 / 1.001, 1e-9);
    EXPECT_EQ(Timeline({1}, {0}, std::nullopt).Source(), FrameTimeline::RateSource::kUnknown);
    EXPECT_EQ(Timeline({1, 2}, {0, 0}, std::nullopt).Source(), FrameTimeline::RateSource::kUnknown);
}

TEST(Timeline, ARangeHoldsBothItsEnds) {
    FrameTimeline timeline = Timeline({10, 11, 13, 14, 15});
    timeline.Restrict({ParseTakePoint("11"), ParseTakePoint("0.04s")});
    EXPECT_THAT(SlotsOf(timeline), ElementsAre("-", "0", "2", "3", "-"));
    EXPECT_EQ(timeline.Slots(), 4);
    EXPECT_THAT(GapsOf(timeline), ElementsAre(std::pair(1, 1)));
    timeline.Restrict({ParseTakePoint("12"), {}});
    EXPECT_THAT(SlotsOf(timeline), ElementsAre("-", "-", "0", "1", "2"));
    for (const char* const text : {"", "s", "1.5", "-1s", "nans", "1e400s", "2 s", "99999999999", "1s2"})
        EXPECT_FALSE(ParseTakePoint(text)) << text;
    for (const char* const text : {"", "5", "-", "5-", "5-4", "a-b", "1-2-3", "1-2 "})
        EXPECT_FALSE(ParseFrameSpan(text)) << text;
    EXPECT_EQ(ParseFrameSpan("-5--4")->last, -4);
}

// Named ones are each plate's own; without them what the first plate reads goes for all, as in a client.
TEST(RecordedPlates, EachPlateHasItsOwnUnloadedReadings) {
    sForcePlateInfo plate{};
    plate.channelLayout = 4;
    plate.scaleFactor = -1;
    for (int i = 0; i < 8; ++i) plate.calibration[i][i] = 1;
    for (int i = 0; i < 3; ++i) plate.rotation[i][i] = 1;
    sDataDescriptions list{};
    list.descriptionCount = 2;
    list.descriptions[0] = list.descriptions[1] = {DescForcePlate, &plate};
    const auto forces = [&](std::vector<float> unloaded) {
        RecordedPlates plates(&list);
        plates.SetUnloaded(std::move(unloaded));
        const auto frame = std::make_unique<sFrameOfMocapData>();
        sForcePlates sample{};
        for (const float loaded : {0.0F, 100.0F}) {
            frame->analogCount = 13;
            for (int i = 0; i < 13; ++i) frame->analogValues[i] = static_cast<float>(i) + loaded;
            plates.Take(*frame, sample);
            EXPECT_EQ(frame->analogCount, 1);
            EXPECT_EQ(frame->analogValues[0], 12 + loaded);
        }
        EXPECT_EQ(plates.Readings().size(), 12);
        return std::pair(sample.plates[0].force[2], sample.plates[1].force[2]);
    };
    EXPECT_EQ(forces({}), std::pair(100.0F, 106.0F));
    EXPECT_EQ(forces({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}), std::pair(99.0F, 99.0F));
}

TEST(PlateDoubt, AWeightInTheUnloadedReadingsShows) {
    EXPECT_THAT(DoubtAfter(10, -600, 1), HasSubstr("force plate 1 pulls with up to 600 N"));
    EXPECT_THAT(DoubtAfter(10, 200, 3), HasSubstr("force plate 1 is pressed 2.0 m from its centre"));
    EXPECT_EQ(DoubtAfter(9, -600, 1), "") << "an impact rings";
    EXPECT_EQ(DoubtAfter(100, -40, 1), "") << "a plate drifts";
    EXPECT_EQ(DoubtAfter(100, 40, 3), "") << "where little presses, its place is noise";
    EXPECT_EQ(DoubtAfter(100, 700, 1.5), "");
}
