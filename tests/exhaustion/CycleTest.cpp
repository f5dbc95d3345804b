// Many lives of clients one after the other leave no more behind than the first of them.
#include <malloc.h>

#include "Exhaustion.h"

// Clients, since a stop takes its time but little work; and the lives of each, fewer where all is ten times
// slower.
constexpr int kAtOnce = 20;
constexpr int kEach = VELMAR_SANITIZE == std::string_view("thread") ? 10 : 50;

static void AtOnce(auto work) {
    std::vector<std::future<void>> all;
    for (std::size_t i = 0; i < kAtOnce; ++i) all.push_back(InBackground([=] { work(i); }));
}

// Bytes that are allocated. Pages would not do: the stacks of threads that have ended stay, as many as ever ran at
// the same time.
static std::size_t Allocated() {
    const auto heap = mallinfo2();
    return VELMAR_SANITIZE == std::string_view() ? heap.uordblks + heap.hblkhd : 0;
}

static void ExpectNoMoreThanAfterATenth(int rounds, auto round) {
    const long threads = Entries("/proc/self/task");
    for (int i = 0; i < rounds / 10; ++i) round();
    const auto before = InUse(threads);
    const std::size_t allocated = Allocated();
    for (int i = rounds / 10; i < rounds; ++i) round();
    EXPECT_EQ(InUse(threads), before);
    EXPECT_LT(Allocated(), allocated + 65536) << "and that is less than 100 bytes for each life";
}

TEST(CycleTest, ALifeLeavesNothing) {
    const AnsweringServer server;
    ExpectNoMoreThanAfterATenth(10, [] {
        AtOnce([](std::size_t) {
            for (int i = 0; i < kEach; ++i) EXPECT_EQ(TarvoSDKClient().Initialize(host), 0);
        });
    });
}

TEST(CycleTest, AStopUnderAStreamEndsTheRequestsThatWaitAndLeavesNothing) {
    AnsweringServer server(101);
    static std::atomic<int> frames{0};
    TarvoSDKClient().SetDataCallback([](sFrameOfMocapData*, void*) { ++frames; }, nullptr);
    ExpectNoMoreThanAfterATenth(kEach, [&] {
        std::vector<TarvoSDKClient> clients(kAtOnce);
        AtOnce([&](std::size_t i) { EXPECT_EQ(clients[i].Initialize(host), 0); });
        server.unanswered = 0;
        const auto wait = [&](std::size_t i) {
            sDataDescriptions* list = nullptr;
            EXPECT_EQ(i % 2 == 0 ? clients[i].WaitForForcePlateInit(0) : clients[i].GetDataDescriptions(&list), 1);
        };
        auto waiting = InBackground([&] { AtOnce(wait); });
        std::atomic<bool> over{false};
        auto stream = InBackground([&] { Eventually([&] { return server.SendFrame(), over.load(); }); });
        EXPECT_TRUE(Eventually([&] { return server.unanswered == kAtOnce; }));
        const auto stop = [&](std::size_t i) { clients[i].Uninitialize(); };
        EXPECT_LT(TimeOf([&] { AtOnce(stop), waiting.get(); }), 2000) << "of the 5000 that a request waits";
        over = true;
    });
    EXPECT_GT(frames, 0);
}
