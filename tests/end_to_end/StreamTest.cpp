// The frame stream from the group to the callbacks and the queue.
#include <cmath>
#include <numeric>

#include "Client.h"
#include "client/ForcePlateStatics.h"

static Arrivals<std::string> events;

static std::string Words(void* who, int number, const float* values, int count) {
    std::string words = who == nullptr ? "nobody" : static_cast<const char*>(who);
    words += " " + std::to_string(number);
    for (int i = 0; i < count; ++i) words += " " + std::to_string(std::lround(values[i]));
    return words;
}

static void SeeFrame(sFrameOfMocapData* frame, void* who) {
    events.Add(Words(who, frame->frameNumber, frame->analogValues, frame->analogCount));
}

static void SeePlates(sForcePlates* plates, void* who) {
    const auto& [force, center, moment] = plates->plates[0];
    const float values[]{force[0], force[1], force[2], center[0], center[1], center[2], moment};
    events.Add(Words(who, plates->frameNumber, values, 7));
}

struct StreamTest : ClientTest {
    StreamTest() { Unread(client); }

    // Takes all frames out of the queue: their numbers in their order.
    static std::vector<int> Unread(void* client) {
        std::vector<int> numbers;
        while (sFrameOfMocapData* const frame = GetLastFrameOfMocapData(client)) {
            numbers.insert(numbers.end(), frame->frameNumber);
            TarvoFreeFrame(client, frame);
        }
        return numbers;
    }

    char one[4] = "one";
    char two[4] = "two";
};

TEST_F(StreamTest, AStartSendsTheVersionJoinsTheStreamAndGreets) {
    SetDataCallback(client, SeeFrame, one);
    auto starting = InBackground([&] { return Initialize(client, host); });
    const Request version = server.ExpectRequest(0);
    Body record;
    record.U8(0x51, 0xF9, 0, 0, 9, 1, 0, 0, 0, 0, 9, 1).U32(version.sequence).Fill(260).U8(2, 5, 28, 75, 0);
    EXPECT_EQ(version.wire, record.bytes);
    EXPECT_NE(version.sequence, 0U);
    EXPECT_EQ(version.sequence % 2, 0U);
    server.Reply(version, 1, kAccepted);
    const Bytes greeting{0x51, 0xF9, 0, 0, 6, 0, 0, 0, 106, 0, 6, 0, 0, 0, 0, 0, 's', 'a', 'y', 'h', 'i', 0};
    EXPECT_EQ(server.ExpectRequest(106).wire, greeting);
    server.Multicast(FrameBody(3));
    EXPECT_EQ(events.Take(1), Texts{"one 3"});
    EXPECT_EQ(starting.get(), 0);
    EXPECT_EQ(Initialize(client, host), 1) << "runs already";
    EXPECT_TRUE(server.IsQuiet());
}

// An endpoint that was stopped has forgotten its user data, one that was never started has not.
TEST_F(StreamTest, AFailedStartForgetsTheUserDataOfTheEndpointsThatItStopped) {
    SetDataCallback(client, SeeFrame, one);
    EXPECT_EQ(Answer([&] { return Initialize(client, host); }, 0, 1, Bytes(265)), 10);
    ASSERT_EQ(Start(client), 0);
    server.Multicast(FrameBody(1));
    EXPECT_EQ(events.Take(1), Texts{"one 1"});
    EXPECT_EQ(Uninitialize(client), 0);

    SetDataCallback(client, SeeFrame, one);
    {
        const ScriptedServer taken(5231);
        EXPECT_EQ(Answer([&] { return Initialize(client, host); }, 0, 1, kAccepted), 1);
    }
    ASSERT_EQ(Start(client), 0);
    server.Multicast(FrameBody(2));
    EXPECT_EQ(events.Take(1), Texts{"nobody 2"});
}

TEST_F(StreamTest, FramesReachTheCallbackBeforeTheQueueInTheSameOrder) {
    ASSERT_EQ(Start(client), 0);
    const auto see = [](sFrameOfMocapData* frame, void* handle) {
        events.Add(std::to_string(frame->frameNumber) + " after");
        for (const int number : Unread(handle)) events.Add(std::to_string(number));
    };
    SetDataCallback(client, see, client);
    for (const int number : {1, 2, 3}) server.Multicast(FrameBody(number));
    EXPECT_EQ(events.Take(5), (Texts{"1 after", "2 after", "1", "3 after", "2"}));
    EXPECT_EQ(Uninitialize(client), 0);
    EXPECT_EQ(Unread(client), std::vector<int>{3});
}

// More frames wait in the socket than fit one that asks for no room, and fewer than the least that it can be
// given.
TEST_F(StreamTest, ABurstWaitsForASlowCallbackAndTheQueueKeepsTheNewest32Frames) {
    static std::promise<void> goOn;
    ASSERT_EQ(Start(client), 0);
    const auto see = [](sFrameOfMocapData* frame, void* who) {
        if (frame->frameNumber == 1) goOn.get_future().wait_for(kPatience);
        SeeFrame(frame, who);
    };
    SetDataCallback(client, see, one);
    for (int number = 1; number <= 400; ++number) server.Multicast(FrameBody(number));
    goOn.set_value();
    EXPECT_EQ(events.Take(400).size(), 400U);
    EXPECT_EQ(Uninitialize(client), 0);
    std::vector<int> newest(32);
    std::iota(newest.begin(), newest.end(), 369);
    EXPECT_EQ(Unread(client), newest);
}

TEST_F(StreamTest, ClientsShareQueueAndCallbacksButNotUserData) {
    void* second = nullptr;
    CreateClient(&second);
    SetDataCallback(client, nullptr, one);
    SetDataCallback(second, SeeFrame, two);
    ASSERT_EQ(Start(client), 0);
    ASSERT_EQ(Start(second), 0);
    server.Multicast(FrameBody(5));
    Texts seen = events.Take(2);
    std::ranges::sort(seen);
    EXPECT_EQ(seen, (Texts{"one 5", "two 5"}));
    EXPECT_EQ(DestroyClient(second), 0);
    server.Multicast(FrameBody(6));
    EXPECT_EQ(events.Take(1), Texts{"one 6"});
    EXPECT_EQ(Uninitialize(client), 0);
    EXPECT_EQ(Unread(client), (std::vector<int>{5, 5, 6}));
    ASSERT_EQ(Start(client), 0);
    server.Multicast(FrameBody(7));
    EXPECT_EQ(events.Take(1), Texts{"nobody 7"}) << "forgotten by the stop";
    SetDataCallback(client, SeeFrame, one);
    server.Multicast(FrameBody(8));
    EXPECT_EQ(events.Take(1), Texts{"one 8"});
    server.Reply(asked, 103, FrameBody(9));
    EXPECT_EQ(events.Take(1), Texts{"one 9"}) << "to the client alone";
}

TEST_F(StreamTest, ForcePlatesComeBeforeTheirFrameAndTakeTheirChannels) {
    ASSERT_EQ(Start(client), 0);
    SetDataCallback(client, SeeFrame, one);
    SetForcePlateCallback(client, SeePlates, two);
    server.Multicast(FrameBody(1, {1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(events.Take(1), Texts{"one 1 1 2 3 4 5 6 7 8"}) << "not asked for yet";
    const auto init = [&] { return WaitForForcePlateInit(client, 5000); };
    EXPECT_EQ(Answer(init, 101, 101, Body().U32(1, 3).Put(Plate()).bytes), 0);
    server.Multicast(FrameBody(2, {1, 2, 3, 4, 5, 6, 7, 8}));
    server.Multicast(FrameBody(3, {2, 4, 7, 4, 5, 6, 9}));
    EXPECT_EQ(events.Take(4), (Texts{"two 2 0 0 0 10 20 30 0", "one 2 7 8", "two 3 1 2 4 10 20 30 0", "one 3 9"}));
    server.Reply(asked, 103, FrameBody(4, {1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(events.Take(2), (Texts{"two 4 0 0 0 10 20 30 0", "one 4"})) << "to the client alone";
    EXPECT_EQ(Answer(init, 101, 101, Body().U32(201).Fill(9000).bytes), 1) << "too many to be used";
}

// Loads that are known from the mechanics, over the wire and back. The unloaded readings are those of the test
// above: they are taken only once in a process.
TEST_F(StreamTest, LoadsThatMadeTheChannelsArriveAsForcePlateData) {
    static Arrivals<sForcePlates> measured;
    ASSERT_EQ(Start(client), 0);
    SetDataCallback(client, SeeFrame, one);
    SetForcePlateCallback(
        client, [](sForcePlates* plates, void*) { measured.Add(*plates); }, nullptr);
    const std::vector<float> unloaded{1, 2, 3, 4, 5, 6};
    std::mt19937 random(7);
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        const Statics::LoadedPlate plates[] = {{4, random}, {round % 2 == 0 ? 3 : 4, random}};
        Body described;
        described.U32(4);
        std::vector<float> idle;
        std::vector<float> loaded;
        for (const Statics::LoadedPlate& plate : plates) {
            const auto* const image = reinterpret_cast<const unsigned char*>(&plate.info);
            described.U32(3).Fill(8584); // of no known layout: takes no channels
            described.U32(3).Put(Bytes(image, image + sizeof plate.info));
            for (std::size_t k = 0; k < plate.components.size(); ++k) idle.push_back(k < 6 ? unloaded[k] : 0);
            for (const float value : plate.Channels(unloaded)) loaded.push_back(value);
        }
        idle.insert(idle.end(), {70, 80});
        loaded.insert(loaded.end(), {70, 80});
        const auto init = [&] { return WaitForForcePlateInit(client, 5000); };
        ASSERT_EQ(Answer(init, 101, 101, described.bytes), 0);
        server.Multicast(FrameBody(2 * round, idle));
        server.Multicast(FrameBody(2 * round + 1, loaded));
        const std::string number = std::to_string(2 * round + 1);
        EXPECT_EQ(events.Take(2)[1], "one " + number + " 70 80");
        const sForcePlates arrived = measured.Take(2)[1];
        ASSERT_EQ(arrived.plateCount, 2);
        for (int i = 0; i < 2; ++i) Statics::ExpectLoad(arrived.plates[i], plates[i]);
    }
}
