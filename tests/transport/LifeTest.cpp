// Starting, stopping and sending of an endpoint.
#include "Endpoint.h"

struct LifeTest : EndpointTest {};

TEST_F(LifeTest, MessagesLeaveAsDatagramsOfTheProtocol) {
    ASSERT_EQ(Start(), 0);
    Bytes data(3000);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<unsigned char>(i % 251);
    // With the headers up to the sequence number.
    const std::pair<int, std::vector<Bytes>> rows[]{
        {0, {{0x51, 0xF9, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0}}},
        {1462, {{0x51, 0xF9, 0, 0, 0xB6, 5, 0, 0, 8, 0, 0xB6, 5}}},
        {1463, {{0x51, 0xF9, 0, 0, 0xB7, 5, 0, 0, 8, 0, 0xB6, 5}, {0x51, 0xF9, 0, 0, 0xB7, 5, 0, 0, 8, 1, 1, 0}}},
        {3000,
         {{0x51, 0xF9, 0, 0, 0xB8, 11, 0, 0, 8, 0, 0xB6, 5},
          {0x51, 0xF9, 0, 0, 0xB8, 11, 0, 0, 8, 1, 0xB6, 5},
          {0x51, 0xF9, 0, 0, 0xB8, 11, 0, 0, 8, 2, 76, 0}}},
        {-1, {}},
        {-1463, {}},
    };
    for (const auto& [length, headers] : rows) {
        SCOPED_TRACE(length);
        EXPECT_EQ(endpoint.Send(0x108, length == 0 ? nullptr : data.data(), length, 0x44332211), 0);
        auto rest = data.begin();
        for (const Bytes& header : headers) {
            const auto begin = rest;
            rest += header[10] + 256 * header[11];
            EXPECT_EQ(server.ExpectRequest(8).wire,
                      Body().Put(header).Put({0x11, 0x22, 0x33, 0x44}).Put({begin, rest}).bytes);
        }
        EXPECT_TRUE(server.IsQuiet());
    }
}

TEST_F(LifeTest, AnAddressFrom224To239IsAGroup) {
    for (const char* const group : {"239.239.239.52", "224.0.0.1", "239", "2310.x"})
        EXPECT_TRUE(CCommandServer::IsMulticast(group)) << group;
    for (const char* const other : {"240.0.0.1", "223.255.255.255", "10.1.2.3", "24.0.0.1", "localhost", "22", ""})
        EXPECT_FALSE(CCommandServer::IsMulticast(other)) << other;
}

TEST_F(LifeTest, TheFirstValidSenderBecomesThePeer) {
    const int port = ScriptedServer(0).Port();
    ASSERT_EQ(endpoint.Start("not looked at", port), 0);
    EXPECT_EQ(Start(), 1) << "already running";
    const sockaddr_in client = ScriptedServer::Address("127.0.0.1", port);
    ScriptedServer invalid(0, "127.0.0.2");
    ScriptedServer late(0);
    for (const unsigned int size : {0U, 15U, 16U}) invalid.Send(client, Bytes(size));
    for (ScriptedServer* const sender : {&server, &late}) sender->SendMessage(client, Cut(103, 0, FrameBody(1)));
    frames.Take(2);
    EXPECT_EQ(log.Words(), (Texts{"Failed.", "15.", "0."}));
    endpoint.Send(8, nullptr, 0, 2);
    EXPECT_EQ(server.ExpectRequest(8).sequence, 2U);
    EXPECT_EQ(std::pair(endpoint.Stop(), endpoint.Stop()), std::pair(0, 0));
    log.Clear();
    EXPECT_EQ(endpoint.Send(8, nullptr, 0, 2), 0);
    EXPECT_EQ(endpoint.Call(nullptr, 0, nullptr, 60000), 1);
    EXPECT_EQ(log.Words(), Texts{"Failed."}) << "of the request; a stopped endpoint drops a message silently";
    for (const ScriptedServer* const heard : {&server, &invalid, &late}) EXPECT_TRUE(heard->IsQuiet());
}

// What an application keeps for each thread is given back on the receive thread, as its very last act.
TEST_F(LifeTest, AStopIsOverWhenItsThreadIs) {
    static std::atomic<bool> givenBack{false};
    CAppCallBack::SetStreamFunc([](sFrameOfMocapData* frame, void*) {
        const auto giveBack = [](void*) { givenBack = usleep(100000) == 0; }; // and that takes its time
        const thread_local std::shared_ptr<void> kept(&givenBack, giveBack);
        frames.Add(frame->frameNumber);
    });
    ASSERT_EQ(Start(), 0);
    endpoint.Send(8, nullptr, 0, 0);
    server.Reply(server.ExpectRequest(8), 103, FrameBody(1));
    EXPECT_EQ(frames.Take(1), std::vector<int>{1});
    EXPECT_EQ(endpoint.Stop(), 0);
    EXPECT_TRUE(givenBack);
}

TEST_F(LifeTest, AFailedStartReportsAndLeavesTheEndpointStopped) {
    const std::string handle = std::to_string(dup(1)); // of the next socket
    close(std::stoi(handle));
    const Texts taken{"Failed:" + handle + " syserr:98 Address already in use", "Close h:" + handle + ".",
                      "Failed."};
    EXPECT_EQ(endpoint.Start(nullptr, "no-host.invalid", server.Port(), true), 1);
    EXPECT_EQ(log.Words(), (Texts{"Failed.", "Failed.", "Failed.", taken[1], "Failed."}));
    for (const bool group : {true, false}) {
        log.Clear();
        EXPECT_EQ(group ? endpoint.Start("", "239.1.1.1", server.Port(), true) : endpoint.Start("", server.Port()),
                  1);
        EXPECT_EQ(log.Words(), taken);
    }
    EXPECT_EQ(Start(), 0);
}
