// On which interface the stream is joined, on machines with networks of their own.
#include "Streaming.h"
#include "support/Machine.h"

// A socket of the machine that the thread is on, bound to the interface with this address: what it sends to the
// group leaves there, and it is a member of the group there, as another program may be.
struct Outlet {
    explicit Outlet(const char* address) {
        const ip_mreqn there{group.sin_addr, ScriptedServer::Address(address, 0).sin_addr, 0};
        EXPECT_EQ(setsockopt(handle, IPPROTO_IP, IP_MULTICAST_IF, &there, sizeof there), 0) << address;
        EXPECT_EQ(setsockopt(handle, IPPROTO_IP, IP_ADD_MEMBERSHIP, &there, sizeof there), 0) << address;
    }
    ~Outlet() { close(handle); }
    Outlet(const Outlet&) = delete;
    void Send(int frame) const {
        const Bytes wire = Cut(103, 0, FrameBody(frame))[0].Wire();
        const auto* const to = reinterpret_cast<const sockaddr*>(&group);
        EXPECT_EQ(sendto(handle, wire.data(), wire.size(), 0, to, sizeof group), std::ssize(wire));
    }
    const sockaddr_in group = ScriptedServer::Address("239.239.239.52", 5231);
    const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

// The client's machine, which the thread is on, has two cables to the server's. Its default route is over the
// first.
struct TwoCables {
    TwoCables() {
        Shell("for i in 1 2; do ip link add s$i type veth peer name c$i netns " + client.own.Path() +
              "; ip address add 10.9.$i.1/24 dev s$i; ip link set s$i up; done");
        server.emplace(5230, "10.9.2.1");
        first.emplace("10.9.1.1");
        second.emplace("10.9.2.1");
        client.own.Enter();
        Shell(
            "ip link set lo up; for i in 1 2; do ip address add 10.9.$i.2/24 dev c$i; ip link set c$i up; done\n"
            "ip route add default via 10.9.1.1");
    }
    const Machine client{};
    const Machine far{};
    std::optional<ScriptedServer> server;
    std::optional<Outlet> first, second;
};

struct InterfaceTest : testing::Test {
    InterfaceTest() { CreateClient(&client); }
    ~InterfaceTest() override {
        End();
        DestroyClient(client);
    }
    int Start(ScriptedServer& server, std::string address) {
        auto result = InBackground([this, &address] { return Initialize(client, address.data()); });
        server.Reply(server.ExpectRequest(0), 1, kAccepted);
        if (result.get() != 0) return 1;
        server.ExpectRequest(106);
        return 0;
    }
    // Without an error line about the group.
    void End() {
        log.Clear();
        Uninitialize(client);
        for (const auto& [level, text] : log.Lines()) EXPECT_NE(level, 3) << text;
    }
    sStreamStatistics Statistics() const {
        sStreamStatistics statistics{};
        statistics.size = sizeof statistics;
        EXPECT_EQ(Quorin_GetStreamStatistics(client, &statistics), 0);
        return statistics;
    }
    // "NAME STATE" of the joined interface.
    std::string Joined() const {
        return Statistics().interfaceName + (" " + std::to_string(Statistics().interfaceState));
    }
    // Whether all that has come when this frame is there are so many frames, each once.
    bool Arrives(const Outlet& outlet, int frame, std::uint64_t frames = 1) const {
        outlet.Send(frame);
        const bool come = Eventually([&] { return Statistics().framesDelivered >= frames; });
        return come && Statistics().framesDelivered == frames && Statistics().framesRepeated == 0;
    }

    LogLines log;
    void* client = nullptr;
};

TEST_F(InterfaceTest, AServerBehindTheOtherInterfaceIsHeardThereOnceUntilItVanishes) {
    TwoCables cables;
    const Outlet other("10.9.1.2"); // what comes in on the first cable is another program's alone
    ASSERT_EQ(Start(*cables.server, "10.9.2.1"), 0);
    EXPECT_EQ(Joined(), "c2 1");
    for (int frame = 1; frame <= 20; ++frame) {
        cables.first->Send(frame);
        cables.second->Send(frame);
    }
    EXPECT_TRUE(Eventually([&] { return Statistics().framesDelivered >= 20; }));
    EXPECT_TRUE(Arrives(*cables.second, 21, 21));
    for (const auto& [words, joined] :
         {std::pair("set c2 down", "c2 2"), {"set c2 up", "c2 1"}, {"del c2", "c2 2"}}) {
        Shell(std::string("ip link ") + words);
        EXPECT_EQ(Joined(), joined);
    }
}

TEST_F(InterfaceTest, AChosenInterfaceIsJoinedOrNone) {
    TwoCables cables;
    const std::string none = "[Error] No interface of this host can be joined by the name or address: ";
    for (const char* const unknown : {"c9", "10.9.1.1", "c1 ", "1", "256.1.1.1"}) {
        log.Clear();
        EXPECT_EQ(Quorin_SetStreamInterface(client, unknown), 1) << unknown;
        EXPECT_EQ(log.Lines(), (std::vector<LogLines::Line>{{3, none + unknown + "\n"}}));
    }
    const std::pair<const char*, const char*> rows[]{{"c1", "c1 1"}, {"10.9.2.2", "c2 1"}, {"10.9.1.2", "c1 1"},
                                                     {"", "c2 1"},   {"c1", "c1 1"},       {nullptr, "c2 1"}};
    for (const auto& [chosen, joined] : rows) {
        ASSERT_EQ(Quorin_SetStreamInterface(client, chosen), 0);
        ASSERT_EQ(Start(*cables.server, "10.9.2.1"), 0);
        EXPECT_EQ(Joined(), joined);
        EXPECT_TRUE(Arrives(joined[1] == '1' ? *cables.first : *cables.second, 1));
        EXPECT_EQ(Quorin_SetStreamInterface(client, "c9"), 1) << "nothing changed";
        End();
        EXPECT_EQ(Joined(), " 0");
    }
    ASSERT_EQ(Quorin_SetStreamInterface(client, "c1"), 0);
    Shell("ip link del c1");
    EXPECT_EQ(Start(*cables.server, "10.9.2.1"), 1) << "not on another one";
    EXPECT_EQ(log.Count(none + "c1"), 1);
}

// On a machine that knows no network, and over the interface of the default route as well.
TEST_F(InterfaceTest, AServerOnThisMachineIsHeardOnLoopbackAndOnTheDefaultInterface) {
    {
        const Machine alone{};
        Shell("ip link set lo up; ip address add 10.9.3.1/32 dev lo");
        ScriptedServer server(5230, "0.0.0.0");
        const Outlet outlet("127.0.0.1");
        for (const char* const address : {"127.0.0.1", "127.1.2.3", "10.9.3.1", "localhost"}) {
            ASSERT_EQ(Start(server, address), 0) << address;
            EXPECT_EQ(Joined(), "lo 1");
            EXPECT_TRUE(Arrives(outlet, 1)) << address;
            End();
        }
    }
    TwoCables cables;
    ScriptedServer here;
    ASSERT_EQ(Start(here, "127.0.0.1"), 0);
    EXPECT_TRUE(Arrives(Outlet("10.9.1.2"), 1, 1));
    EXPECT_TRUE(Arrives(Outlet("127.0.0.1"), 2, 2));
}
