// Feeds: which frames a reader gets, as what, when, and how its waiting ends.
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>

#include <fstream>

#include "Streaming.h"
#include "support/SameRecord.h"

struct FeedTest : Streaming {};

// As "received, dropped, waiting", which a reader that is as fast as it wants changes while frames come.
static Texts Counts(const std::vector<void*>& feeds) {
    Texts counts;
    for (void* const feed : feeds) {
        const sFeedStatistics of = Of(feed);
        counts.push_back(std::to_string(of.received) + " " + std::to_string(of.dropped) + " " +
                         std::to_string(of.waiting));
    }
    return counts;
}

TEST_F(FeedTest, EachFeedKeepsItsNewestFramesInOrderWhateverOthersRead) {
    ASSERT_EQ(Start(client), 0);
    Open(1), Open(3), Open(TARVO_MAX_FEED_FRAMES), Open(64);
    auto reader = InBackground([feed = feeds[2]] {
        std::vector<int> read;
        for (std::uint64_t before = 0; read.size() < 500; read.push_back(Next(feed))) {
            const sFeedStatistics now = Of(feed);
            EXPECT_TRUE(now.received >= before && now.received >= now.waiting && now.dropped == 0);
            before = now.received;
        }
        return read;
    });
    const auto stream = [&](int first, int last) {
        Multicast(first, last);
        return Eventually([&] {
            return std::ranges::all_of(std::span(feeds).first(4), [last](void* feed) {
                return Of(feed).received == static_cast<unsigned>(last);
            });
        });
    };
    EXPECT_TRUE(stream(1, 2));
    EXPECT_EQ(Counts({feeds[0], feeds[1], feeds[3]}), (Texts{"2 1 1", "2 0 2", "2 0 2"}));
    EXPECT_EQ(Next(feeds[1], 0), 1);
    EXPECT_TRUE(stream(3, 5));
    EXPECT_EQ(Counts({feeds[0], feeds[1], feeds[3]}), (Texts{"5 4 1", "5 1 3", "5 0 5"}));
    for (const int number : {3, 4, 5, -9}) EXPECT_EQ(Next(feeds[1], 0), number);
    void* const late = Open(2);
    EXPECT_TRUE(stream(6, 500));
    EXPECT_EQ(Counts({feeds[0], feeds[1], feeds[3], late}),
              (Texts{"500 499 1", "500 493 3", "500 436 64", "495 493 2"}));
    for (int number = 437; number <= 500; ++number) EXPECT_EQ(Next(feeds[3], 0), number);
    for (const int number : {499, 500, -9}) EXPECT_EQ(Next(late, 0), number);
    EXPECT_EQ(Next(feeds[0], 0), 500);
    std::vector<int> all(500);
    for (int i = 0; i < 500; ++i) all[static_cast<std::size_t>(i)] = i + 1;
    EXPECT_EQ(reader.get(), all);
    const std::uint64_t dropped = 499 + 493 + 436 + 493;
    EXPECT_EQ(Statistics().feedsDropped, dropped);
    EXPECT_EQ(Quorin_CloseFeed(std::exchange(feeds[1], nullptr)), 0) << "three frames are in it, unread";
    EXPECT_EQ(Statistics().feedsDropped, dropped);
}

// With every kind of array, each length by the seed; a later frame is smaller than the one before.
static Bytes RichFrame(int number, unsigned size) {
    const auto bodies = [size](Body& body) {
        body.U32(size);
        for (unsigned i = 0; i < size; ++i) {
            body.U32(i + 1).F32(1.0F, 2.0F, 3.0F, 0.5F, 0.5F, 0.5F, 0.5F).U32(size);
            for (unsigned k = 0; k < size; ++k) body.F32(1.5F * static_cast<float>(k), -2.5F, 3.5F);
            for (unsigned k = 0; k < size; ++k) body.U32(100 + k);
            for (unsigned k = 0; k < size; ++k) body.F32(0.25F * static_cast<float>(k));
            body.F32(0.125F).U16(1);
        }
    };
    Body body;
    body.U32(number, size);
    for (unsigned i = 0; i < size; ++i) body.Text("set", 256).U32(size).Fill(std::size_t{12} * size, 0x41);
    body.U32(10 * size).Fill(std::size_t{120} * size, 0x42);
    bodies(body);
    body.U32(size);
    for (unsigned i = 0; i < size; ++i) body.U32(i), bodies(body);
    return body.U32(0, size).Fill(std::size_t{4} * size, 0x43).Fill(22, 0x01).bytes;
}

TEST_F(FeedTest, FramesOfAFeedAreThoseOfTheQueueInEveryByte) {
    ASSERT_EQ(Start(client), 0);
    Open(8), Open(8);
    for (int number = 1; number <= 6; ++number)
        server.Multicast(RichFrame(number, number % 2 == 1 ? 6 : static_cast<unsigned>(number) / 2));
    ASSERT_TRUE(Eventually([&] { return Statistics().framesDelivered == 6; }));
    ASSERT_EQ(Uninitialize(client), 0);
    for (int number = 1; number <= 6; ++number) {
        sFrameOfMocapData* const queued = GetLastFrameOfMocapData(client);
        ASSERT_NE(queued, nullptr);
        for (void* const feed : feeds) {
            const Taken taken(feed, 0);
            ASSERT_EQ(taken.Number(), number);
            EXPECT_TRUE(SameRecord(*queued, *taken.frame)) << number;
            EXPECT_EQ(taken.plates.plateCount, 0);
            EXPECT_GT(taken.frame->rigidBodies[0].markerCount, 0) << "the frame is what was meant";
        }
        Quorin_FreeFrame(queued);
    }
}

TEST_F(FeedTest, AFrameComesAsTheCallbackHasLeftItWithItsPlates) {
    SetForcePlateCallback(
        client, [](sForcePlates* plates, void*) { plates->plates[0].centerOfPressure[0] += 0; }, nullptr);
    SetDataCallback(
        client,
        [](sFrameOfMocapData* frame, void*) {
            frame->auxValue32 = 7000U + static_cast<unsigned>(frame->analogCount);
            if (frame->otherMarkerCount > 0) frame->otherMarkers[0].x = 4.5F, frame->otherMarkerCount = 1;
            switch (frame->frameNumber) {
                case 3: frame->otherMarkerCount = 1001; break;
                case 4: frame->analogCount = 33; break;
                case 5: frame->rigidBodyCount = -1; break;
                case 6: frame->labeledMarkerCount = 0x7FFFFFFF; break;
                default: frame->frameNumber += 100;
            }
        },
        nullptr);
    ASSERT_EQ(Start(client), 0);
    const auto init = [&] { return WaitForForcePlateInit(client, 5000); };
    void* const feed = Open(8);
    server.Multicast(FrameBody(1, {1, 2, 3, 4, 5, 6, 7, 8}, 5));
    {
        const Taken bare(feed);
        EXPECT_EQ(bare.Number(), 101);
        EXPECT_EQ(bare.plates.plateCount, 0);
        EXPECT_EQ(bare.frame->auxValue32, 7008U);
    }
    ASSERT_EQ(Answer(init, 101, 101, Body().U32(1, 3).Put(Plate()).bytes), 0);
    for (int number = 2; number <= 7; ++number)
        server.Multicast(FrameBody(number, {1.0F * static_cast<float>(number), 2, 3, 4, 5, 6, 7, 8}, 5));
    for (const int number : {2, 7}) {
        const Taken taken(feed);
        EXPECT_EQ(taken.Number(), 100 + number);
        EXPECT_EQ(taken.frame->auxValue32, 7002U) << "six channels are the plate's";
        EXPECT_EQ(taken.frame->analogCount, 2);
        EXPECT_EQ(taken.frame->analogValues[0], 7.0F);
        EXPECT_EQ(taken.frame->otherMarkerCount, 1);
        EXPECT_EQ(taken.frame->otherMarkers[0].x, 4.5F);
        EXPECT_EQ(taken.plates.frameNumber, number);
        ASSERT_EQ(taken.plates.plateCount, 1);
        EXPECT_EQ(taken.plates.plates[0].force[0], static_cast<float>(number - 2));
    }
    EXPECT_EQ(Counts({feed}), Texts{"7 4 0"});
    EXPECT_EQ(Statistics().feedsDropped, 4U);
}

static std::int64_t Now(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * std::int64_t{1000000000} + now.tv_nsec;
}

struct Seen {
    int frame, plates, elsewhere, other, next;
    sFrameTimes times, platesTimes;
    std::int64_t atNs;
};
static Arrivals<Seen> seen;

// Reads the clocks and what a callback may ask, of its own client and of another one.
struct Callbacks {
    static void OnPlates(sForcePlates*, void* self) {
        auto& at = *static_cast<Callbacks*>(self);
        at.now.plates = Quorin_GetFrameTimes(at.client, &at.now.platesTimes);
    }
    static void OnFrame(sFrameOfMocapData*, void* self) {
        auto& at = *static_cast<Callbacks*>(self);
        at.now.atNs = Now(CLOCK_MONOTONIC);
        at.now.frame = Quorin_GetFrameTimes(at.client, &at.now.times);
        sFrameTimes unused{};
        at.now.elsewhere = InBackground([&] { return Quorin_GetFrameTimes(at.client, &unused); }).get();
        at.now.other = Quorin_GetFrameTimes(at.another, &unused);
        at.now.next = Next(at.feed, TARVO_WAIT_FOREVER);
        seen.Add(at.now);
    }
    void* client;
    void* another;
    void* feed;
    Seen now{};
};

TEST_F(FeedTest, TimesAreThoseOfTheDatagramsAndOfTheDeliveryAndACallbackDoesNotWait) {
    void* another = nullptr;
    CreateClient(&another);
    Callbacks callbacks{client, another, Open(8)};
    ASSERT_EQ(Start(client), 0);
    const auto init = [&] { return WaitForForcePlateInit(client, 5000); };
    ASSERT_EQ(Answer(init, 101, 101, Body().U32(1, 3).Put(Plate()).bytes), 0);
    SetForcePlateCallback(client, Callbacks::OnPlates, &callbacks);
    SetDataCallback(client, Callbacks::OnFrame, &callbacks);
    const auto pieces = Cut(103, 0, FrameBody(1, {1, 2, 3, 4, 5, 6}, 300));
    const sockaddr_in group = ScriptedServer::Address("239.239.239.52", 5231);
    const std::int64_t bounds[]{Now(CLOCK_REALTIME), (server.Send(group, pieces[0].Wire()), Now(CLOCK_REALTIME)),
                                (server.Send(group, pieces[1].Wire()), Now(CLOCK_REALTIME)),
                                (server.Send(group, pieces[2].Wire()), Now(CLOCK_REALTIME))};
    const std::int64_t sentNs = Now(CLOCK_MONOTONIC);
    const Seen in = seen.Take(1).at(0);
    const Taken taken(callbacks.feed);
    EXPECT_EQ((std::vector{in.frame, in.plates, in.elsewhere, in.other, in.next}), (std::vector{0, 0, 1, 1, -9}));
    EXPECT_TRUE(SameBytes(&taken.times, &in.times, sizeof in.times));
    EXPECT_TRUE(SameBytes(&in.platesTimes, &in.times, sizeof in.times));
    const auto& [firstNs, lastNs, arrivalNs, deliveryNs] = taken.times;
    EXPECT_TRUE(bounds[0] <= firstNs && firstNs <= bounds[1]) << firstNs - bounds[0];
    EXPECT_TRUE(bounds[2] <= lastNs && lastNs <= bounds[3]) << lastNs - bounds[2];
    EXPECT_NEAR(static_cast<double>(arrivalNs - sentNs), static_cast<double>(lastNs - bounds[3]), 2e6);
    EXPECT_TRUE(arrivalNs < deliveryNs && deliveryNs < in.atNs);
    sFrameTimes none{};
    EXPECT_EQ(Quorin_GetFrameTimes(client, &none), 1) << "no frame in hand";
    EXPECT_EQ(Next(callbacks.feed, 0), -9);
    DestroyClient(another);
}

// Whether the system has put a thread of this process to sleep.
static bool Sleeps(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::string stat{std::istreambuf_iterator<char>(file), {}};
    return stat.find(") S ") != stat.npos;
}

// What each of so many threads gets that wait for ever on the feed, in order.
struct Waiters {
    Waiters(void* feed, int count) {
        for (int i = 0; i < count; ++i)
            waiting.push_back(InBackground([=, this] {
                begun.Add(gettid());
                return Next(feed, TARVO_WAIT_FOREVER);
            }));
        const auto threads = begun.Take(static_cast<std::size_t>(count));
        EXPECT_TRUE(Eventually([&] { return std::ranges::all_of(threads, Sleeps); }));
    }
    std::vector<int> Results() {
        std::vector<int> results;
        for (auto& waiter : waiting) {
            if (waiter.wait_for(kPatience) != std::future_status::ready) std::abort(); // its end would wait for it
            results.push_back(waiter.get());
        }
        std::ranges::sort(results);
        return results;
    }
    bool AllWait() {
        return std::ranges::all_of(waiting, [](auto& one) {
            return one.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready;
        });
    }
    Arrivals<pid_t> begun;
    std::vector<std::future<int>> waiting;
};

TEST_F(FeedTest, WaitingEndsWithAFrameTheTimeTheSessionOrTheFeed) {
    void* const feed = Open(4);
    EXPECT_EQ(Next(feed, 0), -9) << "before the first session";
    const long waited = TimeOf([&] { EXPECT_EQ(Next(feed, 30), -9); });
    EXPECT_TRUE(waited >= 29 && waited < 5000) << waited;
    {
        Waiters early(feed, 3);
        EXPECT_EQ(Answer([&] { return Initialize(client, host); }, 0, 1, Bytes(265)), 10);
        EXPECT_TRUE(early.AllWait()) << "no session has ended";
        ASSERT_EQ(Start(client), 0);
        EXPECT_TRUE(early.AllWait());
        Multicast(1, 3);
        EXPECT_EQ(early.Results(), (std::vector{1, 2, 3})) << "each frame to one of them";
    }
    for (int session = 0; session < 2; ++session) {
        Waiters waiters(feed, 2);
        EXPECT_EQ(Uninitialize(client), 0);
        EXPECT_EQ(waiters.Results(), (std::vector{-1, -1}));
        EXPECT_EQ(Next(feed, TARVO_WAIT_FOREVER), -1);
        ASSERT_EQ(Start(client), 0);
        EXPECT_EQ(Next(feed, 0), -9) << "runs again";
        Multicast(4, 4);
        EXPECT_EQ(Next(feed), 4);
    }
    Multicast(5, 10);
    ASSERT_TRUE(Eventually([&] { return Statistics().framesDelivered == 7; }));
    EXPECT_EQ(Uninitialize(client), 0);
    for (const int result : {7, 8, 9, 10, -1, -1}) EXPECT_EQ(Next(feed, TARVO_WAIT_FOREVER), result);
    ASSERT_EQ(Start(client), 0);
    Waiters closed(feed, 3);
    EXPECT_EQ(Quorin_CloseFeed(std::exchange(feeds[0], nullptr)), 0);
    EXPECT_EQ(closed.Results(), (std::vector{-1, -1, -1}));

    void* const orphan = Open(4);
    void* const bare = Open(4);
    Waiters left(bare, 2);
    Multicast(11, 12);
    ASSERT_TRUE(Eventually([&] { return Of(orphan).waiting == 2; }));
    EXPECT_EQ(left.Results(), (std::vector{11, 12}));
    Waiters last(bare, 2);
    EXPECT_EQ(DestroyClient(client), 0);
    EXPECT_EQ(last.Results(), (std::vector{-1, -1}));
    for (const int result : {11, 12, -1}) EXPECT_EQ(Next(orphan, TARVO_WAIT_FOREVER), result);
    CreateClient(&client);
    EXPECT_EQ(Next(orphan, 0), -1) << "another client";
    EXPECT_EQ(Counts({orphan}), Texts{"2 0 0"});
}

static bool Readable(int descriptor, int timeoutMs = 0) {
    pollfd one{descriptor, POLLIN, 0};
    return poll(&one, 1, timeoutMs) == 1 && one.revents == POLLIN;
}

TEST_F(FeedTest, TheDescriptorIsReadableExactlyWhenThereIsSomethingToSay) {
    void* const feed = Open(2);
    const int early = Quorin_FeedDescriptor(feed);
    ASSERT_GE(early, 0);
    EXPECT_NE(fcntl(early, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_FALSE(Readable(early)) << "before the first session";
    ASSERT_EQ(Start(client), 0);
    EXPECT_FALSE(Readable(early));
    void* const second = Open(8);
    const auto both = [&](bool first, bool other) {
        const int late = Quorin_FeedDescriptor(second);
        EXPECT_EQ(Quorin_FeedDescriptor(feed), early) << "it is one and the same";
        return std::pair(Readable(early), Readable(late)) == std::pair(first, other);
    };
    Multicast(1, 3);
    EXPECT_TRUE(Readable(early, static_cast<int>(kPatienceMs)));
    ASSERT_TRUE(Eventually([&] { return Of(second).waiting == 3 && Of(feed).received == 3; }));
    EXPECT_TRUE(both(true, true)) << "asked for while frames wait";
    for (const int number : {2, 3}) EXPECT_EQ(both(true, true) ? Next(feed) : 0, number);
    EXPECT_TRUE(both(false, true));
    for (const int number : {1, 2, 3}) EXPECT_EQ(Next(second, 0), number);
    EXPECT_TRUE(both(false, false));
    EXPECT_EQ(Next(feed, 0), -9);
    EXPECT_TRUE(both(false, false));
    Multicast(4, 4);
    ASSERT_TRUE(Eventually([&] { return Of(second).waiting + Of(feed).waiting == 2; }));
    EXPECT_EQ(Uninitialize(client), 0);
    EXPECT_TRUE(both(true, true));
    EXPECT_EQ(Next(feed) * Next(second), 16);
    EXPECT_TRUE(both(true, true)) << "none will come";
    EXPECT_EQ(Next(feed), -1);
    EXPECT_TRUE(both(true, true));
    ASSERT_EQ(Start(client), 0);
    EXPECT_TRUE(both(false, false));
    void* const third = Open(1);
    DestroyClient(std::exchange(client, nullptr));
    EXPECT_TRUE(both(true, true) && Readable(Quorin_FeedDescriptor(third)));
    EXPECT_EQ(Quorin_CloseFeed(std::exchange(feeds[0], nullptr)), 0);
    EXPECT_EQ(fcntl(early, F_GETFD), -1) << "closed with its feed";
}

// One answer for each function: open, next, descriptor, statistics, close, times, stream statistics, interface.
static std::vector<int> Answers(void* client, void* feed, bool records) {
    static sFrameOfMocapData frame;
    sFeedStatistics of{sizeof of, 0, 0, 0, 0};
    sStreamStatistics stream{};
    stream.size = sizeof stream;
    sFrameTimes times{};
    void* opened = &times;
    const int open = Quorin_OpenFeed(client, 1, records ? &opened : nullptr);
    if (open == 0) Quorin_CloseFeed(opened);
    return {open,
            Quorin_NextFrame(feed, 0, records ? &frame : nullptr, nullptr, nullptr),
            Quorin_FeedDescriptor(feed) < 0 ? -1 : 0,
            Quorin_GetFeedStatistics(feed, records ? &of : nullptr),
            Quorin_GetFrameTimes(client, records ? &times : nullptr),
            Quorin_GetStreamStatistics(client, records ? &stream : nullptr),
            Quorin_SetStreamInterface(client, nullptr)};
}

TEST_F(FeedTest, EachArgumentThatIsNoneIsAnsweredAsDocumented) {
    void* const feed = Open(1);
    void* const gone = Open(1);
    Quorin_CloseFeed(gone);
    feeds.pop_back();
    EXPECT_EQ(Answers(client, feed, true), (std::vector{0, 9, 0, 0, 1, 0, 0}));
    EXPECT_EQ(Answers(client, feed, false), (std::vector{2, 2, 0, 2, 2, 2, 0}));
    EXPECT_EQ(Answers(nullptr, nullptr, true), (std::vector{2, 2, -1, 2, 2, 2, 2}));
    alignas(8) char foreign[64]{};
    for (void* const none : {gone, client, static_cast<void*>(foreign)}) {
        EXPECT_EQ(Answers(client, none, true), (std::vector{0, 2, -1, 2, 1, 0, 0}));
        EXPECT_EQ(Quorin_CloseFeed(none), 2);
    }
    EXPECT_EQ(Quorin_CloseFeed(nullptr), 2);
    for (const std::uint32_t capacity : {0U, TARVO_MAX_FEED_FRAMES + 1U, ~0U}) {
        void* opened = feed;
        EXPECT_EQ(Quorin_OpenFeed(client, capacity, &opened), 1);
        EXPECT_EQ(opened, nullptr);
    }
}

// A feed whose descriptor the system does not give serves without it.
TEST_F(FeedTest, WithoutADescriptorLeftAFeedStillServes) {
    void* const feed = Open(1);
    ASSERT_EQ(Start(client), 0);
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit none{0, usual.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    void* opened = nullptr;
    const int open = Quorin_OpenFeed(client, 1, &opened);
    const int descriptor = Quorin_FeedDescriptor(feed);
    setrlimit(RLIMIT_NOFILE, &usual);
    EXPECT_EQ(descriptor, -1);
    EXPECT_EQ(open, 0);
    feeds.push_back(opened);
    Multicast(1, 1);
    EXPECT_EQ(Next(feed) + Next(opened), 2);
    EXPECT_GE(Quorin_FeedDescriptor(feed), 0) << "there is one again";
}
