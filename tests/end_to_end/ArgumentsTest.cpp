// What an application can get wrong: addresses, texts, ports, and what it does in its callbacks.
#include <climits>

#include "Client.h"
#include "client/ClientCore.h"

struct ArgumentsTest : ClientTest {
    // A session of this core towards these ports, on which the server accepts the client when it is asked.
    int Session(ClientCore& core, int commandPort, int dataPort) {
        return Answer([&] { return core.Initialize(nullptr, host, commandPort, dataPort); }, 0, 1, kAccepted);
    }
};

TEST_F(ArgumentsTest, AnAddressThatNamesNoServerFailsAtOnceAndLeavesTheClientUsable) {
    EXPECT_LT(
        TimeOf([&] {
            EXPECT_EQ(Initialize(client, nullptr), 1);
            for (std::string address : {std::string(), std::string(300, '1'), std::string(100'000, 'x'),
                                        std::string("%s%n%n"), std::string("1.2.3.4.5"), std::string("256.1.1.1"),
                                        std::string("\xFF\x80"), std::string(" \n")}) {
                SCOPED_TRACE(address.substr(0, 20));
                EXPECT_EQ(Initialize(client, address.data()), 1);
            }
        }),
        4000);
    EXPECT_EQ(Start(client), 0);
}

TEST_F(ArgumentsTest, PortsGroupsAndTextsAtTheirExtremesEndWell) {
    for (const int port : {INT_MIN, -1, 0, 65536, INT_MAX}) {
        SCOPED_TRACE(port);
        ClientCore core(0);
        EXPECT_EQ(Session(core, 5230, port), 0) << "its lower 16 bits are a port";
        server.ExpectRequest(106);
        EXPECT_EQ(CCommandServer().Start(nullptr, host, port, true), 0);
    }
    for (std::string group :
         {std::string(), std::string(70'000, '2'), std::string("224.x"), std::string("300.1.1.1")}) {
        SCOPED_TRACE(group.substr(0, 20));
        ClientCore core(0);
        core.SetMulticastAddress(group.data());
        EXPECT_EQ(Session(core, 5230, 5231), 1);
    }
    ClientCore core(0);
    ASSERT_EQ(Session(core, 5230, 5231), 0);
    server.ExpectRequest(106);
    void* reply = nullptr;
    int length = -1;
    for (std::string text : {std::string(), std::string(1461, 't'), std::string(60'000, 't')}) {
        EXPECT_EQ(core.SendMessage(text.data()), 0);
        const auto sent = Cut(8, 0, Body().Put(Text(text)).U8(0).bytes);
        for (const Datagram& datagram : sent) EXPECT_EQ(server.ExpectRequest(8).wire, datagram.Wire());
    }
    for (const auto& [attempts, timeoutMs] : {std::pair{0, 1}, {-1, 1}, {1, 0}, {2, INT_MIN}})
        EXPECT_EQ(core.SendMessageAndWait(host, attempts, timeoutMs, &reply, &length), 1);
    EXPECT_EQ(reply, nullptr);
    EXPECT_EQ(length, -1);
}

namespace {

void* other;
Arrivals<int> results;
sFrameOfMocapData kept;

void SeeNext(sFrameOfMocapData* frame, void*) { results.Add(frame->frameNumber); }

// Everything that a callback may do.
void DoAll(sFrameOfMocapData* frame, void* self) {
    if (self == nullptr) return; // the other client's stream
    SetForcePlateCallback(self, nullptr, nullptr);
    SetVerbosityLevel(self, INT_MAX);
    sServerDescription description;
    results.Add(GetServerDescription(other, &description));
    results.Add(Quorin_CopyFrame(frame, &kept));
    results.Add(DestroyClient(other));
    results.Add(SetDataCallback(self, SeeNext, nullptr));
}

} // namespace

TEST_F(ArgumentsTest, ACallbackMayCopyAskAndDestroyAnotherClientAndReplaceItself) {
    CreateClient(&other);
    ASSERT_EQ(Start(client) + Start(other), 0);
    EXPECT_EQ(SetDataCallback(client, nullptr, nullptr), 0);
    server.Multicast(FrameBody(1)); // to nobody, twice
    for (int passed = 0; passed < 2;) passed += GetLastFrameOfMocapData(client) == nullptr ? 0 : 1;
    EXPECT_EQ(SetDataCallback(other, nullptr, nullptr), 0);
    EXPECT_EQ(SetDataCallback(client, DoAll, client), 0);
    server.Multicast(FrameBody(2, {}, 3));
    server.Reply(server.ExpectRequest(102), 102, Bytes(525, 8));
    EXPECT_EQ(results.Take(4), (std::vector<int>{0, 0, 0, 0}));
    EXPECT_EQ(kept.frameNumber, 2);
    EXPECT_EQ(kept.otherMarkers[2].x, 2.0F);
    EXPECT_EQ(Quorin_FreeFrame(&kept), 0);
    server.Multicast(FrameBody(3));
    EXPECT_EQ(results.Take(1), std::vector<int>{3});
}
