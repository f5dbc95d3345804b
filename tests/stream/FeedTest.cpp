// Feeds: which frames a reader gets, as what, when, and how its waiting ends.
#include <fcntl.h>
#include <poll.h>

#include <fstream>

#include "Streaming.h"

struct FeedTest : Streaming {
    // Frames that each of these feeds has received then, none before the first of them.
    bool Receive(int first, int last, const std::vector<void*>& by) {
        Multicast(first, last);
        const auto all = static_cast<unsigned>(last);
        return Eventually(
            [&] { return std::ranges::all_of(by, [all](void* feed) { return Of(feed).received == all; }); });
    }
};

// As "received dropped waiting".
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
    const std::vector<void*> three{Open(1), Open(3), Open(64)};
    EXPECT_TRUE(Receive(1, 2, three));
    EXPECT_EQ(Counts(three), (Texts{"2 1 1", "2 0 2", "2 0 2"}));
    EXPECT_EQ(Next(three[1], 0), 1);
    EXPECT_TRUE(Receive(3, 5, three));
    EXPECT_EQ(Counts(three), (Texts{"5 4 1", "5 1 3", "5 0 5"}));
    for (const int number : {3, 4, 5, -9}) EXPECT_EQ(Next(three[1], 0), number);
    void* const late = Open(2);
    EXPECT_TRUE(Receive(6, 100, three));
    Uninitialize(client); // the last frame has come to all feeds then
    EXPECT_EQ(Counts({three[0], three[1], three[2], late}),
              (Texts{"100 99 1", "100 93 3", "100 36 64", "95 93 2"}));
    for (int number = 37; number <= 100; ++number) EXPECT_EQ(Next(three[2], 0), number);
    for (const int number : {99, 100, -1}) EXPECT_EQ(Next(late, 0), number);
    EXPECT_EQ(Quorin_CloseFeed(three[1]), 0) << "three frames are in it";
    EXPECT_EQ(Statistics().feedsDropped, 99U + 93 + 36 + 93);
}

TEST_F(FeedTest, AFrameComesAsTheCallbackHasLeftItWithItsPlates) {
    SetForcePlateCallback(
        client, [](sForcePlates*, void*) {}, nullptr);
    SetDataCallback(
        client,
        [](sFrameOfMocapData* frame, void*) {
            frame->auxValue32 = 7000U + static_cast<unsigned>(frame->analogCount);
            if (frame->otherMarkerCount > 0) frame->otherMarkers[0].x = 4.5F, frame->otherMarkerCount = 1;
            switch (frame->frameNumber) { // with counts of 3 to 6 it is no frame
                case 3: frame->otherMarkerCount = 1001; break;
                case 4: frame->analogCount = 33; break;
                case 5: frame->rigidBodyCount = -1; break;
                case 6: frame->labeledMarkerCount = 0x7FFFFFFF; break;
                default: frame->frameNumber += 100;
            }
        },
        nullptr);
    ASSERT_EQ(Start(client), 0);
    void* const feed = Open(8);
    const auto stream = [&](int number) {
        server.Multicast(FrameBody(number, {1.0F * static_cast<float>(number), 2, 3, 4, 5, 6, 7, 8}, 5));
    };
    stream(1);
    {
        const Taken bare(feed);
        EXPECT_EQ(bare.Number(), 101);
        EXPECT_EQ(bare.plates.plateCount, 0);
        EXPECT_EQ(bare.frame->auxValue32, 7008U);
    }
    const auto init = [&] { return WaitForForcePlateInit(client, 5000); };
    ASSERT_EQ(Answer(init, 101, 101, Body().U32(1, 3).Put(Plate()).bytes), 0);
    for (int number = 2; number <= 7; ++number) stream(number);
    for (const int number : {2, 7}) {
        const Taken taken(feed);
        EXPECT_EQ(taken.Number(), 100 + number);
        EXPECT_EQ(taken.frame->auxValue32, 7002U) << "six channels are the plate's";
        EXPECT_EQ(taken.frame->analogCount, 2);
        EXPECT_EQ(taken.frame->analogValues[0], 7.0F);
        EXPECT_EQ(taken.frame->otherMarkers[0].x * static_cast<float>(taken.frame->otherMarkerCount), 4.5F);
        ASSERT_EQ(taken.plates.plateCount, 1);
        EXPECT_EQ(taken.plates.frameNumber, number);
        EXPECT_EQ(taken.plates.plates[0].force[0], static_cast<float>(number - 2));
    }
    EXPECT_EQ(Counts({feed}), Texts{"7 4 0"});
}

static std::int64_t Now(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * std::int64_t{1000000000} + now.tv_nsec;
}

// What a callback may ask of its own client and of another one.
struct Callbacks {
    static void OnPlates(sForcePlates*, void* self) {
        auto& at = *static_cast<Callbacks*>(self);
        at.results = {Quorin_GetFrameTimes(at.client, &at.inPlates)};
    }
    static void OnFrame(sFrameOfMocapData*, void* self) {
        auto& at = *static_cast<Callbacks*>(self);
        sFrameTimes unused{};
        at.atNs = Now(CLOCK_MONOTONIC);
        at.results.push_back(Quorin_GetFrameTimes(at.client, &at.inFrame));
        at.results.push_back(InBackground([&] { return Quorin_GetFrameTimes(at.client, &unused); }).get());
        at.results.push_back(Quorin_GetFrameTimes(at.another, &unused));
        at.results.push_back(Next(at.feed, TARVO_WAIT_FOREVER)); // does not wait
        at.done.Add(true);
    }
    void *client, *another, *feed;
    std::vector<int> results{};
    sFrameTimes inPlates{}, inFrame{};
    std::int64_t atNs = 0;
    Arrivals<bool> done{};
};

static void* fed = nullptr;
static Arrivals<int> inLine;

TEST_F(FeedTest, TimesAreThoseOfTheDatagramsAndOfTheDeliveryAndACallbackDoesNotWait) {
    void* another = nullptr;
    CreateClient(&another);
    Callbacks callbacks{client, another, Open(8)};
    ASSERT_EQ(Start(client), 0);
    const auto init = [&] { return WaitForForcePlateInit(client, 5000); };
    ASSERT_EQ(Answer(init, 101, 101, Body().U32(1, 3).Put(Plate()).bytes), 0);
    SetForcePlateCallback(client, Callbacks::OnPlates, &callbacks);
    SetDataCallback(client, Callbacks::OnFrame, &callbacks);
    std::vector<std::int64_t> sentNs{Now(CLOCK_REALTIME)};
    for (const Datagram& datagram : Cut(103, 0, FrameBody(1, {1, 2, 3, 4, 5, 6}, 300))) {
        server.Send(ScriptedServer::Address("239.239.239.52", 5231), datagram.Wire());
        sentNs.push_back(Now(CLOCK_REALTIME));
    }
    const std::int64_t monotonicNs = Now(CLOCK_MONOTONIC);
    callbacks.done.Take(1);
    const Taken taken(callbacks.feed);
    EXPECT_EQ(callbacks.results, (std::vector{0, 0, 1, 1, -9}));
    for (const sFrameTimes* const times : {&callbacks.inPlates, &callbacks.inFrame})
        EXPECT_EQ(std::memcmp(&taken.times, times, sizeof *times), 0);
    const auto& [firstNs, lastNs, arrivalNs, deliveryNs] = taken.times;
    EXPECT_TRUE(sentNs[0] <= firstNs && firstNs <= sentNs[1]) << firstNs - sentNs[0];
    EXPECT_TRUE(sentNs[2] <= lastNs && lastNs <= sentNs[3]) << lastNs - sentNs[2];
    EXPECT_NEAR(static_cast<double>(arrivalNs - monotonicNs), static_cast<double>(lastNs - sentNs[3]), 2e6);
    EXPECT_TRUE(arrivalNs < deliveryNs && deliveryNs < callbacks.atNs);
    sFrameTimes none{};
    EXPECT_EQ(Quorin_GetFrameTimes(client, &none), 1) << "no frame in hand";
    fed = callbacks.feed;
    SetMessageCallback(client, [](int, char*) { inLine.Add(Next(fed, TARVO_WAIT_FOREVER)); });
    server.Send(ScriptedServer::Address("239.239.239.52", 5231), Bytes(15)); // which is reported
    EXPECT_EQ(inLine.Take(1), std::vector{-9}) << "nor does a line on the same thread";
    SetMessageCallback(client, nullptr);
    DestroyClient(another);
}

// Whether the system has put a thread of this process to sleep.
static bool Sleeps(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::string stat{std::istreambuf_iterator<char>(file), {}};
    return stat.find(") S ") != stat.npos;
}

// So many threads that wait for ever on a feed, and what they get.
struct Waiters {
    Waiters(void* feed, int count) {
        Arrivals<pid_t> begun;
        for (int i = 0; i < count; ++i)
            waiting.push_back(InBackground([=, &begun] {
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
    std::vector<std::future<int>> waiting;
};

TEST_F(FeedTest, WaitingEndsWithAFrameTheTimeTheSessionOrTheFeed) {
    void* const feed = Open(4);
    EXPECT_EQ(Next(feed, 0), -9) << "before the first session";
    const long waited = TimeOf([&] { EXPECT_EQ(Next(feed, 30), -9); });
    EXPECT_TRUE(waited >= 29 && waited < 5000) << waited;
    {
        Waiters early(feed, 3);
        EXPECT_EQ(Answer([&] { return Initialize(client, host); }, 0, 1, Bytes(265)), 10); // no session has ended
        ASSERT_EQ(Start(client), 0);
        Multicast(1, 3);
        EXPECT_EQ(early.Results(), (std::vector{1, 2, 3})) << "each frame to one of them";
    }
    {
        Waiters waiters(feed, 2);
        EXPECT_EQ(Uninitialize(client), 0);
        EXPECT_EQ(waiters.Results(), (std::vector{-1, -1}));
        EXPECT_EQ(Next(feed, TARVO_WAIT_FOREVER), -1);
        ASSERT_EQ(Start(client), 0);
        EXPECT_EQ(Next(feed, 0), -9) << "runs again";
    }
    Multicast(5, 10);
    ASSERT_TRUE(Eventually([&] { return Statistics().framesDelivered == 6; }));
    EXPECT_EQ(Uninitialize(client), 0);
    for (const int result : {7, 8, 9, 10, -1}) EXPECT_EQ(Next(feed, TARVO_WAIT_FOREVER), result);
    ASSERT_EQ(Start(client), 0);
    Waiters closed(feed, 3);
    EXPECT_EQ(Quorin_CloseFeed(feed), 0);
    EXPECT_EQ(closed.Results(), (std::vector{-1, -1, -1}));

    void* const full = Open(4);
    void* const empty = Open(4);
    Multicast(11, 12);
    for (const int number : {11, 12}) EXPECT_EQ(Next(empty), number);
    Waiters last(empty, 2);
    EXPECT_EQ(DestroyClient(client), 0);
    EXPECT_EQ(last.Results(), (std::vector{-1, -1}));
    for (const int result : {11, 12, -1}) EXPECT_EQ(Next(full, TARVO_WAIT_FOREVER), result);
    CreateClient(&client);
    EXPECT_EQ(Next(full, 0), -1) << "another client";
}

static bool Readable(int descriptor, int timeoutMs = 0) {
    pollfd one{descriptor, POLLIN, 0};
    return poll(&one, 1, timeoutMs) == 1 && one.revents == POLLIN;
}

TEST_F(FeedTest, TheDescriptorIsReadableExactlyWhenThereIsSomethingToSay) {
    void* const feed = Open(2);
    const int early = Quorin_FeedDescriptor(feed);
    EXPECT_NE(fcntl(early, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_FALSE(Readable(early)) << "before the first session";
    ASSERT_EQ(Start(client), 0);
    Multicast(1, 3);
    EXPECT_TRUE(Readable(early, kPatienceMs));
    ASSERT_TRUE(Eventually([&] { return Of(feed).received == 3; }));
    for (const int number : {2, 3}) {
        EXPECT_TRUE(Readable(early));
        EXPECT_EQ(Next(feed, 0), number);
    }
    EXPECT_FALSE(Readable(early));
    EXPECT_EQ(Uninitialize(client), 0);
    EXPECT_TRUE(Readable(early)) << "none will come";
    EXPECT_EQ(Next(feed), -1);
    EXPECT_TRUE(Readable(early) && Readable(Quorin_FeedDescriptor(Open(1))));
    ASSERT_EQ(Start(client), 0);
    EXPECT_FALSE(Readable(early));
    Multicast(4, 4);
    ASSERT_TRUE(Eventually([&] { return Of(feeds[1]).waiting == 1; }));
    EXPECT_TRUE(Readable(Quorin_FeedDescriptor(feeds[1])) && Quorin_FeedDescriptor(feed) == early);
    DestroyClient(std::exchange(client, nullptr));
    EXPECT_EQ(Next(feed) + Next(feed), 4 - 1);
    EXPECT_TRUE(Readable(early));
    EXPECT_EQ(Quorin_CloseFeed(feed), 0);
    EXPECT_EQ(fcntl(early, F_GETFD), -1) << "closed with its feed";
}

// One answer for each function: open, next, descriptor, statistics, times, stream statistics, interface.
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
    EXPECT_EQ(Answers(client, feed, true), (std::vector{0, 9, 0, 0, 1, 0, 0}));
    EXPECT_EQ(Answers(client, feed, false), (std::vector{2, 2, 0, 2, 2, 2, 0}));
    EXPECT_EQ(Answers(nullptr, nullptr, true), (std::vector{2, 2, -1, 2, 2, 2, 2}));
    for (void* const none : {gone, client, static_cast<void*>(nullptr)}) {
        EXPECT_EQ(Answers(client, none, true), (std::vector{0, 2, -1, 2, 1, 0, 0}));
        EXPECT_EQ(Quorin_CloseFeed(none), 2);
    }
    for (const std::uint32_t capacity : {0U, TARVO_MAX_FEED_FRAMES + 1U, ~0U}) {
        void* opened = feed;
        EXPECT_EQ(Quorin_OpenFeed(client, capacity, &opened), 1);
        EXPECT_EQ(opened, nullptr);
    }
}
