// What the statistics say of datagrams that come whole, damaged, twice, in another order, or not at all.
#include <sstream>

#include "Streaming.h"

struct StatisticsTest : Streaming {
    // Sends and waits until all has been looked at.
    void Stream(const std::vector<Bytes>& datagrams) {
        const std::uint64_t before = Statistics().datagrams;
        for (const Bytes& datagram : datagrams) server.Send(group, datagram);
        EXPECT_TRUE(Eventually([&] { return Statistics().datagrams == before + datagrams.size(); }));
    }
    const sockaddr_in group = ScriptedServer::Address("239.239.239.52", 5231);
};

// In four fragments, of which each differs from that of another frame.
static Bytes NumberedBody(int number) {
    constexpr std::size_t kMarkers = 400;
    Bytes body = FrameBody(number, {}, kMarkers);
    for (std::size_t marker = 0; marker < kMarkers; ++marker)
        std::memcpy(&body[12 + 12 * marker], &number, sizeof number);
    return body;
}

// "8": a frame of one datagram; "7.2": a fragment of one of four; "u8": one that cannot be decoded; a word: a
// datagram that is no frame's.
static std::vector<Bytes> Datagrams(const char* row) {
    std::vector<Bytes> datagrams;
    std::istringstream in(row);
    for (std::string word; in >> word;) {
        const auto dot = word.find('.');
        const auto number = [&](std::size_t from) { return static_cast<int>(std::stoll(word.substr(from))); };
        if (word == "short" || word == "nothing") {
            datagrams.push_back(Bytes(word == "short" ? 15 : 0));
        } else if (word == "long") {
            datagrams.push_back(Datagram{103, 0, 50, 0, FrameBody(1), 51}.Wire());
        } else if (word == "foreign") {
            datagrams.push_back(Datagram{103, 0, 50, 0, FrameBody(1), 50, 0x51F9}.Wire());
        } else if (word == "hello") {
            datagrams.push_back(Datagram{106, 0, 0, 0, {}}.Wire());
        } else if (word[0] == 'u') {
            datagrams.push_back(Datagram{103, 0, 5, 0, Body().U32(number(1)).U8(1).bytes}.Wire());
        } else if (dot == std::string::npos) {
            datagrams.push_back(Datagram{103, 0, 50, 0, FrameBody(number(0))}.Wire());
        } else {
            const auto index = static_cast<std::size_t>(number(dot + 1));
            datagrams.push_back(Cut(103, 0, NumberedBody(number(0))).at(index).Wire());
        }
    }
    return datagrams;
}

TEST_F(StatisticsTest, EveryFaultMovesItsCountersAndNoOthers) {
    const std::pair<const char*, const char*> rows[]{
        {"1 2.0 2.1 2.2 2.3 3", "frames:3"},
        {"5 6 9 10", "frames:4 unseen:2"},
        {"1 2.0 2.2 2.3 3", "cut:1 frames:2 incomplete:1"},
        {"1 2.1 2.2 2.3 3", "cut:1 frames:2 incomplete:1"},
        {"1 2.0 2.1 2.2 3", "cut:1 frames:2 incomplete:1"},
        {"1 2.0 3.0 3.1 3.2 3.3", "cut:1 frames:2 incomplete:1"},
        {"1 2.0 2.2 2.3 5.0 5.1 5.2 5.3", "cut:1 frames:2 incomplete:1 unseen:2"},
        {"1 2.0 2.2 2.3 3.1 3.2 3.3 4", "cut:2 frames:2 incomplete:2"},
        {"1 2.1 2.2 2.3 3.1 3.2 3.3 4", "cut:2 frames:2 incomplete:2"},
        {"1 2.0 2.1 2.2 3.0 3.3 4.0 4.1 4.2 4.3", "cut:2 frames:2 incomplete:2"},
        {"1 2.0 2.1 2.3 3.0 3.2 3.3 4", "cut:2 frames:2 incomplete:2"},
        {"1 2.0 2.2 2.1 2.3 3", "mixed:1 frames:2 incomplete:1"},
        {"1 2.1 2.0 2.2 2.3 3", "mixed:1 frames:2 incomplete:1"},
        {"1 3.1 3.0 3.2 3.3 4", "mixed:1 frames:2 incomplete:1 unseen:1"},
        {"1 2.0 2.1 2.3 2.2 3", "mixed:1 frames:2 incomplete:1"},
        {"1 2.0 2.1 2.2 3.0 2.3 3.1 3.2 3.3 4", "mixed:2 frames:2 incomplete:2"},
        {"1 2.0 2.1 9 2.2 2.3 10", "mixed:1 frames:3 incomplete:1 unseen:6"},
        {"1 2.0 2.0 2.1 2.1 2.2 2.3 2.3 3", "twice:3 frames:3"},
        {"1 2.0 2.1 2.2 2.3 2.0 2.1 2.2 2.3 3", "twice:4 frames:4 again:1"},
        {"1 2.0 2.1 2.2 2.3 2.0 2.1 3", "twice:2 frames:3"},
        {"1 2.0 2.2 2.2 2.3 3", "cut:1 twice:1 frames:2 incomplete:1"},
        {"1 2.0 2.2 2.3 2.0 2.1 2.2 2.3 3", "cut:1 twice:4 frames:3"},
        {"1 2.0 2.1 2.2 3.2 3.3 4", "cut:1 frames:3 incomplete:1"},
        {"1 2 2 3", "frames:4 again:1"},
        {"1 2 4 3 5", "frames:5 back:1"},
        {"1 2 4 3 2 5", "frames:6 again:1 back:1"},
        {"500 501 1 2", "frames:4 back:1"},
        {"1 2 3 1 2 3 4", "frames:7 back:1"},
        {"1 u2 3", "undecodable:1 frames:2 broken:1"},
        {"1 u2 2 3", "undecodable:1 frames:3"},
        {"1 u90000000 u-7 2", "undecodable:2 frames:2"},
        {"1 nothing short long foreign hello 2", "short:2 long:1 foreign:1 frames:2"},
        {"1 2.0 foreign 2.1 2.2 2.3", "foreign:1 frames:2"},
        {"2.2 2.3 3 4", "frames:2"},
        {"2147483646 2147483647 -2147483648 -2147483646", "frames:4 unseen:1"},
        {"1 2000000001 2000000002", "frames:3 unseen:1999999999"},
        {"1 -2147483648 -2147483647", "frames:3 unseen:2147483646"},
    };
    for (const auto& [row, counts] : rows) {
        SCOPED_TRACE(row);
        ASSERT_EQ(Start(client), 0);
        Stream(Datagrams(row));
        Uninitialize(client); // the last one is handled then, and the counts stay until the next start
        EXPECT_EQ(Counters(Statistics()), counts);
    }
    ASSERT_EQ(Start(client), 0);
    EXPECT_EQ(Counters(Statistics()), "");
}

TEST_F(StatisticsTest, TimesAreWhatTheTestItselfTakes) {
    static constexpr int kCallbackMs = 20;
    SetDataCallback(
        client,
        [](sFrameOfMocapData*, void*) { std::this_thread::sleep_for(std::chrono::milliseconds(kCallbackMs)); },
        nullptr);
    ASSERT_EQ(Start(client), 0);
    Multicast(1, 3); // the second waits for one callback, the third for two
    ASSERT_TRUE(Eventually([&] { return Statistics().framesDelivered == 3; }));
    Uninitialize(client); // the callback is over
    const sStreamStatistics s = Statistics();
    constexpr std::uint64_t kCallbackNs = kCallbackMs * 1000000ULL;
    EXPECT_TRUE(s.callbackMeanNs >= kCallbackNs && s.callbackLargestNs >= s.callbackMeanNs);
    EXPECT_LT(s.callbackMeanNs, 20 * kCallbackNs);
    EXPECT_GT(s.delayMedianNs, kCallbackNs / 2);
    EXPECT_GT(s.delayLargestNs, kCallbackNs * 3 / 2);
    EXPECT_EQ(s.delayP99Ns > s.delayMedianNs && s.delayP99Ns <= s.delayLargestNs, true);
    EXPECT_TRUE(s.intervalLargestNs > 0 && s.intervalMedianNs <= s.intervalLargestNs);
    EXPECT_LT(s.intervalLargestNs, s.delayLargestNs) << "sent one behind the other";
}

// A program that was built with another record gets what both know, in whole values.
TEST_F(StatisticsTest, RecordsOfAnotherSizeGetWhatTheyHaveRoomFor) {
    ASSERT_EQ(Start(client), 0);
    void* const feed = Open(1);
    Multicast(1, 2);
    ASSERT_TRUE(Eventually([&] { return Of(feed).received == 2; }));
    const auto expect = [](auto record, auto fill, std::uint32_t size, std::size_t filled) {
        std::memset(&record, 0xA5, sizeof record);
        record.size = size;
        EXPECT_EQ(fill(&record), filled == 0 ? 1 : 0) << size;
        EXPECT_EQ(record.size, filled == 0 ? size : filled);
        const std::span<const unsigned char> bytes(reinterpret_cast<const unsigned char*>(&record), sizeof record);
        std::size_t end = bytes.size();
        while (end > sizeof record.size && bytes[end - 1] == 0xA5) --end;
        EXPECT_EQ(end, std::max(filled, sizeof record.size)) << size;
    };
    const auto stream = [&](sStreamStatistics* s) { return Quorin_GetStreamStatistics(client, s); };
    const auto of = [&](sFeedStatistics* s) { return Quorin_GetFeedStatistics(feed, s); };
    for (const auto& [size, filled] : {std::pair{0U, 0U}, {7U, 0U}, {8U, 8U}, {23U, 16U}, {24U, 24U}}) {
        expect(sStreamStatistics{}, stream, size, filled);
        expect(sFeedStatistics{}, of, size, filled);
    }
    expect(sStreamStatistics{}, stream, ~0U, sizeof(sStreamStatistics));
    expect(sFeedStatistics{}, of, ~0U, sizeof(sFeedStatistics));
}
