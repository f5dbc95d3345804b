// A client whose server streams what a test says, with the feeds and statistics of TarvoStream.h as verbs.
#ifndef TESTS_STREAM_STREAMING_H
#define TESTS_STREAM_STREAMING_H

#include <cstring>
#include <memory>

#include "TarvoStream.h"
#include "end_to_end/Client.h"

inline constexpr std::uint32_t kPatienceMs = std::chrono::milliseconds(kPatience).count();

// What a reader gets; the record holds other bytes before, so that what is not written shows.
struct Taken {
    explicit Taken(void* feed, std::uint32_t timeoutMs = kPatienceMs) {
        std::memset(static_cast<void*>(frame.get()), 0xA5, sizeof *frame);
        std::memset(static_cast<void*>(&plates), 0xA5, sizeof plates);
        result = Quorin_NextFrame(feed, timeoutMs, frame.get(), &plates, &times);
    }
    ~Taken() {
        if (frame != nullptr && result == 0) Quorin_FreeFrame(frame.get());
    }
    Taken(Taken&&) = default;
    // The number of the frame, or the result that there is instead, below 0.
    int Number() const { return result == 0 ? frame->frameNumber : -result; }

    std::unique_ptr<sFrameOfMocapData> frame = std::make_unique<sFrameOfMocapData>();
    sForcePlates plates{};
    sFrameTimes times{};
    int result = -1;
};

inline int Next(void* feed, std::uint32_t timeoutMs = kPatienceMs) { return Taken(feed, timeoutMs).Number(); }

inline sFeedStatistics Of(void* feed) {
    sFeedStatistics statistics{};
    statistics.size = sizeof statistics;
    EXPECT_EQ(Quorin_GetFeedStatistics(feed, &statistics), 0);
    return statistics;
}

// The counts that are not 0, in words.
inline std::string Counters(const sStreamStatistics& s) {
    const std::pair<const char*, std::uint64_t> counts[]{{"short", s.rejectedTooShort},
                                                         {"long", s.rejectedWrongLength},
                                                         {"foreign", s.rejectedForeign},
                                                         {"dropped", s.kernelDropped},
                                                         {"cut", s.messagesIncomplete},
                                                         {"mixed", s.messagesOutOfOrder},
                                                         {"undecodable", s.messagesUndecodable},
                                                         {"twice", s.fragmentsRepeated},
                                                         {"frames", s.framesDelivered},
                                                         {"again", s.framesRepeated},
                                                         {"back", s.numbersWentBack},
                                                         {"slow", s.missingTooSlow},
                                                         {"incomplete", s.missingIncomplete},
                                                         {"broken", s.missingUndecodable},
                                                         {"unseen", s.missingNeverSeen}};
    std::string said;
    for (const auto& [name, count] : counts)
        if (count != 0) said += (said.empty() ? "" : " ") + std::string(name) + ":" + std::to_string(count);
    return said;
}

struct Streaming : ClientTest {
    Streaming() {
        SetDataCallback(client, nullptr, nullptr);
        SetForcePlateCallback(client, nullptr, nullptr);
        EmptyTheQueue();
    }
    ~Streaming() override {
        for (void* const feed : feeds) Quorin_CloseFeed(feed);
        SetDataCallback(client, nullptr, nullptr);
        SetForcePlateCallback(client, nullptr, nullptr);
    }

    void EmptyTheQueue() const {
        while (sFrameOfMocapData* const frame = GetLastFrameOfMocapData(client)) Quorin_FreeFrame(frame);
    }
    void* Open(std::uint32_t capacity) {
        void* feed = nullptr;
        EXPECT_EQ(Quorin_OpenFeed(client, capacity, &feed), 0);
        return feeds.emplace_back(feed);
    }
    void Multicast(int first, int last) {
        for (int number = first; number <= last; ++number) server.Multicast(FrameBody(number, {}, number % 7));
    }
    sStreamStatistics Statistics() const {
        sStreamStatistics statistics{};
        statistics.size = sizeof statistics;
        EXPECT_EQ(Quorin_GetStreamStatistics(client, &statistics), 0);
        return statistics;
    }

    std::vector<void*> feeds; // closed with the test
};

#endif
