// Frames as they go to pages, and what is kept of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "view/FrameMessage.h"
#include "view/LossMarks.h"
#include "view/PageLog.h"
#include "view/PageProtocol.h"
#include "view/RecentFrames.h"
#include "view/StateMessages.h"
#include "view/StoredFrames.h"

namespace {

// Puts 32-bit words, numbers or integers, and doubles together, as a page reads them.
struct Bytes32 {
    std::vector<unsigned char> bytes;
    template <typename T>
    Bytes32& operator<<(T value) {
        const auto* const at = reinterpret_cast<const unsigned char*>(&value);
        bytes.insert(bytes.end(), at, at + sizeof value);
        return *this;
    }
};

FrameBody Sized(std::size_t size, unsigned char fill = 0) {
    return std::make_shared<const std::vector<unsigned char>>(size, fill);
}

} // namespace

TEST(ViewFrame, BodyHasEverySectionAtItsPlace) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const auto frame = std::make_unique<sFrameOfMocapData>();
    sTriple markers[] = {{1, 2, 3}, {4, nan, 6}, {7, 8, 9}};
    sRigidBodySample bones[2];
    for (sRigidBodySample& bone : bones) bone = frame->rigidBodies[0];
    const auto place = [](sRigidBodySample& body, int id) {
        body.id = id;
        for (float& value : body.position) value = 0.5F;
        for (float& value : body.orientation) value = 0.25F;
        body.residual = 0.125F;
        body.flags = 0xFFFF;
        body.markerCount = 0;
    };
    place(bones[0], 21);
    place(bones[1], 22);
    frame->frameNumber = -7;
    frame->timecode = 1;
    frame->timecodeSubframe = 2;
    frame->flags = 3;
    frame->markerSetCount = 2; // of none and two markers
    frame->markerSets[1].markerCount = 2;
    frame->markerSets[1].markers = markers;
    frame->otherMarkerCount = 1;
    frame->otherMarkers = markers + 2;
    frame->rigidBodyCount = 1;
    place(frame->rigidBodies[0], 11);
    frame->skeletonCount = 2; // of two bones and none
    frame->skeletons[0] = {5, 2, bones};
    frame->skeletons[1] = {6, 0, nullptr};
    frame->labeledMarkerCount = 1;
    for (std::uint32_t i = 0; i < 6; ++i) frame->labeledMarkers[0].words[i] = 0xA0 + i;
    frame->analogCount = 1;
    frame->analogValues[0] = 1.5F;
    sForcePlates plates{};
    plates.plateCount = 1;
    plates.plates[0] = {{10, 20, 30}, {40, 50, 60}, 70};

    Bytes32 expected;
    expected << 3.0 << 1e12 << 5000.5 << 0.75F << -7 << 1 << 2 << 3;
    for (const int count : {1, 1, 2, 2, 1, 1, 1, 2, 2}) expected << count;
    for (const float value : {10.F, 20.F, 30.F, 40.F, 50.F, 60.F, 70.F, 1.5F}) expected << value;
    expected << 0 << 2 << 1.F << 2.F << 3.F << 4.F << nan << 6.F;
    expected << 7.F << 8.F << 9.F;
    for (int i = 0; i < 6; ++i) expected << 0xA0 + i;
    const auto body = [&](int id) {
        expected << id << 0.5F << 0.5F << 0.5F << 0.25F << 0.25F << 0.25F << 0.25F << 0.125F << 0xFFFF;
    };
    body(11);
    expected << 5 << 2 << 6 << 0;
    body(21);
    body(22);
    EXPECT_EQ(*EncodeFrame(*frame, plates, {3, 1e12, 5000.5, 0.75}), expected.bytes);

    // One without any content, and with a count that says that there is none.
    const auto empty = std::make_unique<sFrameOfMocapData>();
    empty->skeletonCount = -1;
    EXPECT_EQ(EncodeFrame(*empty, {}, {})->size(), kFrameBodyHeaderSize);
}

TEST(ViewHistory, TheOldestFramesGoByAgeAndBySize) {
    RecentFrames frames(std::chrono::seconds(2), 4000);
    const auto add = [&](double seconds, std::size_t size) {
        frames.Add(Sized(size), 1e6 + seconds * 1000, seconds * 1000);
    };
    EXPECT_EQ(frames.Oldest(), frames.End());
    for (int i = 0; i < 8; ++i) add(i * 0.5, 100);
    EXPECT_EQ(frames.Oldest(), 3U); // 1.5 s to 3.5 s
    EXPECT_EQ(frames.End(), 8U);
    for (const auto& [ms, place] :
         {std::pair(0.0, 3U), {1001999.0, 3U}, {1002000.0, 4U}, {1003499.0, 6U}, {1e9, 7U}})
        EXPECT_EQ(frames.PlaceAt(ms), place) << ms;
    add(3.6, 3000);
    EXPECT_LE(frames.Bytes(), 4000U);
    EXPECT_EQ(frames.Oldest(), 5U);
    add(3.7, 9000); // more than there is room for: the newest one stays
    EXPECT_EQ(frames.Oldest(), 9U);
    EXPECT_EQ(frames.At(9)->size(), 9000U);
    add(1e6, 10); // after a long silence
    EXPECT_EQ(frames.Oldest(), 10U);
    EXPECT_LT(frames.Bytes(), 1000U);
}

TEST(ViewHistory, ARecordingIsKeptWhole) {
    StoredFrames frames;
    for (unsigned char i = 0; i < 200; ++i) frames.Add(std::vector<unsigned char>(i + 1, i), i * 10.0);
    for (const std::uint64_t place : {0U, 1U, 199U, 7U}) {
        EXPECT_EQ(*frames.At(place), *Sized(place + 1, static_cast<unsigned char>(place)));
        EXPECT_EQ(frames.PlaceAt(static_cast<double>(place) * 10 + 9), place);
    }
    frames.Add({1, 2, 3}, 2000); // and read while it grows
    EXPECT_EQ(frames.At(200)->at(2), 3);
}

// A number that comes late is no loss that is marked, and no negative one either.
TEST(ViewState, LossesAreMarkedByWhatWasAddedToEachCause) {
    LossMarks marks;
    sStreamStatistics statistics{};
    EXPECT_FALSE(marks.Follow(statistics, 1));
    statistics.missingIncomplete = 2;
    statistics.missingNeverSeen = 5;
    EXPECT_EQ(*marks.Follow(statistics, 2), LossMark(2, 0, 2, 0, 5));
    statistics.missingIncomplete = 1;
    EXPECT_FALSE(marks.Follow(statistics, 3));
    statistics.missingTooSlow = 1;
    statistics.missingUndecodable = 1;
    EXPECT_EQ(*marks.Follow(statistics, 4), LossMark(4, 1, 0, 1, 0));
}

TEST(ViewState, NamesOfSetsAreToldWhenTheyChange) {
    StateBoard board;
    StateBoard::Progress page;
    SetNames names(board);
    const auto frame = std::make_unique<sFrameOfMocapData>();
    const auto told = [&] {
        names.Follow(*frame);
        return board.Next(page).value_or("nothing");
    };
    EXPECT_EQ(told(), R"({"names":[],"type":"sets"})");
    EXPECT_EQ(told(), "nothing");
    frame->markerSetCount = 2;
    std::memset(frame->markerSets[0].name, 'a', TARVO_NAME_SIZE); // without a zero
    std::memcpy(frame->markerSets[1].name, "\xFF\x22", 2);        // no text at all
    const std::string both =
        R"({"names":[")" + std::string(TARVO_NAME_SIZE, 'a') + "\",\"\xEF\xBF\xBD\\\"\"],\"type\":\"sets\"}";
    EXPECT_EQ(told(), both);
    EXPECT_EQ(told(), "nothing");
    frame->markerSetCount = 1;
    EXPECT_NE(told(), "nothing");
}

TEST(ViewState, OfAFloodOfLinesTheFirstAreToldAndTheOthersCounted) {
    StateBoard board;
    StateBoard::Progress page;
    PageLog log(board);
    for (int i = 0; i < 50; ++i) log.Add(3, "lost\n");
    const std::string first = board.Next(page).value_or("");
    EXPECT_EQ(std::ranges::count(first, '{'), 1 + 20) << first;
    std::optional<std::string> rest;
    for (const double end = NowMs() + 10'000; !rest && NowMs() < end; rest = board.Next(page)) log.Settle();
    EXPECT_EQ(rest, R"x({"type":"log","anew":false,"lines":[{"level":2,"text":"(30 more lines)"}]})x");
}
