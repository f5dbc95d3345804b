// Every resource of every operation fails once at every place where the operation uses it.
#include <algorithm>
#include <set>
#include <span>

#include "Exhaustion.h"
#include "client/ClientCore.h"

struct Operation {
    std::set<int> failures; // the documented results beside 0
    int (*run)(void* client, AnsweringServer& server);
    const char* spared = ""; // the resource of which it may lack one and succeed
};

// The next frame; null when a fault made it get lost.
static sFrameOfMocapData* NextFrame(void* client, AnsweringServer& server) {
    sFrameOfMocapData* frame = nullptr;
    server.SendFrame();
    Eventually([&] { return (frame = GetLastFrameOfMocapData(client)) != nullptr || fired; });
    return frame;
}

static int WholeLife(void*, AnsweringServer&) {
    void* client = nullptr;
    const int created = CreateClient(&client);
    const int result = client == nullptr ? 1 : Initialize(client, host);
    return DestroyClient(client) == 2 * created ? result : -1;
}
static int ExchangeTexts(void*, AnsweringServer&) {
    ClientCore core(0);
    void* reply = nullptr;
    int length = 0;
    if (core.Initialize(nullptr, host) != 0) return 1;
    const int result = core.SendMessage(host) + core.SendMessageAndWait(host, &reply, &length);
    return std::max(result, core.SendMessageAndWait(host, 1, 2000, &reply, &length));
}
// 2 for a list that is not there, or of which an entry lost its record.
static int Missing(const sDataDescriptions* list) {
    const auto lost = [](const sDescriptionEntry& entry) { return entry.data == nullptr; };
    return list == nullptr || std::ranges::any_of(std::span(list->descriptions, 5), lost) ? 2 : 0;
}
static int Ask(void* client, AnsweringServer&) {
    sServerDescription server;
    sDataDescriptions copy;
    std::array<sDataDescriptions*, 2> lists{};
    const int results[]{GetServerDescription(client, &server), GetDataDescriptionsEx(client, &copy, &lists[0]),
                        static_cast<TarvoSDKClient*>(client)->GetDataDescriptionsEx(&lists[1])};
    const int missing = std::max(Missing(lists[0]), Missing(lists[1]));
    for (auto* const list : lists) Quorin_FreeDescriptions(list);
    return std::max(missing, *std::ranges::max_element(results));
}
static int CopyAFrame(void* client, AnsweringServer& server) {
    static sFrameOfMocapData copy;
    sFrameOfMocapData* const frame = NextFrame(client, server);
    const int result = frame == nullptr ? 2 : Quorin_CopyFrame(frame, &copy);
    const bool whole = copy.frameNumber == (result == 0 ? 1 : 0); // or nothing of it
    Quorin_FreeFrame(frame);
    return Quorin_FreeFrame(&copy) == 0 && whole ? result : -1;
}
// 1: there is no feed, or no descriptor of it; 2: its frame was lost, or found no memory.
static int UseAFeed(void* client, AnsweringServer& server) {
    static sFrameOfMocapData taken;
    void* feed = nullptr;
    if (Quorin_OpenFeed(client, 4, &feed) != 0) return feed == nullptr ? 1 : -1;
    const bool polls = Quorin_FeedDescriptor(feed) != -1;
    Quorin_FreeFrame(NextFrame(client, server));
    int result = 9;
    Eventually([&] { return (result = Quorin_NextFrame(feed, 1, &taken, nullptr, nullptr)) != 9 || fired; });
    const bool whole = taken.frameNumber == (result == 0 ? 1 : 0); // or nothing of it
    if (Quorin_CloseFeed(feed) + Quorin_FreeFrame(&taken) != 0 || !whole) return -1;
    return result == 9 ? 2 : std::max(result, polls ? 0 : 1);
}
static int Restart(void* client, AnsweringServer&) { return Uninitialize(client) + Initialize(client, host); }
static int AwaitPlates(void* client, AnsweringServer&) { return WaitForForcePlateInit(client, 1); }

// A restart has its port for itself, and descriptions without memory may be those of no plate.
static const Operation kOperations[]{{{1, 2}, WholeLife}, {{1}, Restart, "sharing"},    {{1, 9}, ExchangeTexts},
                                     {{1, 2}, Ask},       {{1}, AwaitPlates, "memory"}, {{2}, CopyAFrame},
                                     {{1, 2}, UseAFeed}};

struct ExhaustionTest : testing::TestWithParam<std::size_t> {
    // Whether this use of the resource was made and failed.
    bool Fails(const char* resource, int use) {
        const auto& [failures, run, spared] = kOperations[GetParam()];
        Initialize(client, host);
        const auto next = static_cast<rlim_t>(dup(STDOUT_FILENO)); // the lowest descriptor that is free
        close(static_cast<int>(next));
        const bool descriptors = Is(resource, "descriptors");
        const rlimit tight{descriptors ? next + static_cast<rlim_t>(use) : 256, 256};
        const rlimit wide{256, 256};
        setrlimit(RLIMIT_NOFILE, &tight);
        left = use;
        armed = resource;
        const int result = run(client, server);
        armed = "";
        setrlimit(RLIMIT_NOFILE, &wide);
        const bool failed = fired.exchange(false) || (descriptors && result != 0);
        SCOPED_TRACE(testing::Message() << resource << ' ' << use);
        const bool needed = !Is(resource, "tuning") && !Is(resource, "message");
        EXPECT_EQ(result != 0, failed && Is(resource, spared) ? result != 0 : failed && needed);
        EXPECT_EQ(result != 0, failures.contains(result)) << result;
        return failed;
    }
    // What is left when the client, started if it does not run, has served as ever and has ended.
    std::array<long, 3> Rest() {
        Initialize(client, host);
        EXPECT_EQ(WaitForForcePlateInit(client, 1) + Quorin_FreeFrame(NextFrame(client, server)), 0);
        Uninitialize(client);
        return InUse(threads);
    }

    AnsweringServer server;
    const long threads = Entries("/proc/self/task");
    void* client = nullptr;
};

TEST_P(ExhaustionTest, FailsAsDocumentedLeavesNothingAndTheClientWorksOn) {
    CreateClient(&client);
    EXPECT_FALSE(Fails("nothing", 0));
    auto before = Rest(); // with what the process keeps from the first time
    int failures = 0;
    // Without one of the last two, an operation succeeds; without any other, it fails.
    for (const char* const resource : {"memory", "thread", "mutex", "condition", "socket", "descriptors", "bind",
                                       "joining", "sharing", "request", "tuning", "message"})
        for (int use = 0; Fails(resource, use); ++use, ++failures) {
            const auto rest = Rest();
            EXPECT_EQ(rest, std::exchange(before, rest)) << "more is left after " << resource << " " << use;
        }
    EXPECT_GT(failures, 3);
    DestroyClient(client);
}

INSTANTIATE_TEST_SUITE_P(, ExhaustionTest, testing::Range<std::size_t>(0, std::size(kOperations)));
