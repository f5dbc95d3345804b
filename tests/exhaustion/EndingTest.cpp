// A process ends with its own code and soon, whatever its client is doing.
#include "Exhaustion.h"

enum State { kCreated, kHandshake, kRunning, kStreaming, kQuery, kPlates, kInFrame, kInLog };
enum Owner { kNobody, kStatic, kExitHandler };

static std::atomic<bool> endsInCallback{false};
static std::atomic<bool> inCallback{false};
static sServerDescription description;

[[noreturn]] static void End() {
    alarm(2);     // or else by a signal
    std::exit(7); // NOLINT(concurrency-mt-unsafe): while other threads run, as applications do
}

static void StayInCallback() {
    if (endsInCallback) End();
    inCallback = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // the process ends meanwhile
}

static TarvoSDKClient& MakeClient(Owner owner) {
    static TarvoSDKClient object;
    static TarvoSDKClient* const other = new TarvoSDKClient;
    if (owner == kExitHandler) std::atexit([] { delete other; });
    return owner == kStatic ? object : *other;
}

[[noreturn]] static void EndIn(State state, Owner owner, bool inTheCallback) {
    auto& server = *new AnsweringServer(state == kHandshake ? 0 : 101);
    TarvoSDKClient& client = MakeClient(owner);
    const auto wait = [&](auto request) {
        std::thread(request).detach();
        Eventually([&] { return server.unanswered == 1; });
    };
    endsInCallback = inTheCallback;
    if (state > kHandshake) client.Initialize(host);
    if (state == kHandshake) wait([&] { client.Initialize(host); });
    const auto stream = [&] { return server.SendFrame(), false; };
    if (state == kStreaming) std::thread([=] { Eventually(stream); }).detach();
    if (state == kQuery) wait([&] { client.GetServerDescription(&description); });
    if (state == kPlates) wait([&] { client.WaitForForcePlateInit(0); });
    if (state == kInFrame) client.SetDataCallback([](sFrameOfMocapData*, void*) { StayInCallback(); }, nullptr);
    if (state == kInLog) client.SetMessageCallback([](int, char*) { StayInCallback(); });
    const int type = state == kInLog ? 200 : 103; // an unknown one is reported
    if (state >= kInFrame)
        server.SendMessage(server.Address("239.239.239.52", 5231), Cut(type, 0, server.Frame()));
    if (state >= kInFrame) Eventually([] { return inCallback.load(); });
    End();
}

struct EndingTest : testing::TestWithParam<int> {};

// A client that starts may not be destroyed, be it by an exit.
TEST_P(EndingTest, TheProcessKeepsItsCode) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto state = State(GetParam());
    for (const bool inTheCallback : {false, true})
        for (const Owner owner : {kNobody, kStatic, kExitHandler}) {
            if (inTheCallback > (state >= kInFrame) || (owner != kNobody && state == kHandshake)) continue;
            EXPECT_EXIT(EndIn(state, owner, inTheCallback), testing::ExitedWithCode(7), "") << owner;
        }
}

INSTANTIATE_TEST_SUITE_P(, EndingTest, testing::Range<int>(kCreated, kInLog + 1));
