// On which interface the stream is joined, on machines with networks of their own.
#include "Streaming.h"
#include "support/Machine.h"

static constexpr const char* kGroup = "239.239.239.52";

// A socket of the machine that the thread is on, whose datagrams to groups leave through the interface with this
// address.
struct Outlet {
    explicit Outlet(const char* address) {
        const in_addr interface = ScriptedServer::Address(address, 0).sin_addr;
        EXPECT_EQ(setsockopt(handle, IPPROTO_IP, IP_MULTICAST_IF, &interface, sizeof interface), 0) << address;
    }
    ~Outlet() { close(handle); }
    Outlet(const Outlet&) = delete;
    void Send(int frame) const {
        const Bytes wire = Cut(103, 0, FrameBody(frame))[0].Wire();
        const sockaddr_in group = ScriptedServer::Address(kGroup, 5231);
        EXPECT_EQ(
            sendto(handle, wire.data(), wire.size(), 0, reinterpret_cast<const sockaddr*>(&group), sizeof group),
            std::ssize(wire));
    }
    const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

// Another program of this machine that has joined the group on this interface.
struct OtherMember {
    explicit OtherMember(const char* interface) {
        const ip_mreqn membership{ScriptedServer::Address(kGroup, 0).sin_addr,
                                  ScriptedServer::Address(interface, 0).sin_addr, 0};
        EXPECT_EQ(setsockopt(handle, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership), 0);
    }
    ~OtherMember() { close(handle); }
    OtherMember(const OtherMember&) = delete;
    const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

// The client's machine has two cables to the server's; the thread is on the client's. Its default route, and that
// of the group, is over the first one.
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
    ~InterfaceTest() override { End(); }

    int Start(ScriptedServer& server, std::string address) {
        if (client == nullptr) CreateClient(&client);
        auto result = InBackground([this, address]() mutable { return Initialize(client, address.data()); });
        server.Reply(server.ExpectRequest(0), 1, kAccepted);
        return result.get();
    }
    // Ends the session; without an error line about the group.
    void End() {
        if (client == nullptr) return;
        log.Clear();
        EXPECT_EQ(DestroyClient(client), 0);
        client = nullptr;
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
        const sStreamStatistics s = Statistics();
        return s.interfaceName + (" " + std::to_string(s.interfaceState));
    }
    bool Arrives(const Outlet& outlet, int frame) const {
        outlet.Send(frame);
        return Eventually([&] { return Statistics().datagrams > 0; });
    }

    LogLines log;
    void* client = nullptr;
};

TEST_F(InterfaceTest, AServerBehindTheOtherInterfaceIsHeardThereAndOnce) {
    TwoCables cables;
    ASSERT_EQ(Start(*cables.server, "10.9.2.1"), 0);
    EXPECT_EQ(Joined(), "c2 1");
    const OtherMember other("10.9.1.2"); // what comes in on the first cable is this one's alone
    for (int frame = 1; frame <= 20; ++frame) {
        cables.first->Send(frame);
        cables.second->Send(frame);
    }
    ASSERT_TRUE(Eventually([&] { return Statistics().framesDelivered >= 20; }));
    ASSERT_TRUE(Arrives(*cables.second, 21));
    ASSERT_TRUE(Eventually([&] { return Statistics().framesDelivered >= 21; }));
    EXPECT_EQ(Statistics().framesDelivered, 21U);
    EXPECT_EQ(Statistics().framesRepeated, 0U);
}

TEST_F(InterfaceTest, AnInterfaceThatVanishesIsToldAndLeftInSilence) {
    TwoCables cables;
    ASSERT_EQ(Start(*cables.server, "10.9.2.1"), 0);
    ASSERT_TRUE(Arrives(*cables.second, 1));
    Shell("ip link set c2 down");
    EXPECT_EQ(Joined(), "c2 2");
    Shell("ip link set c2 up");
    EXPECT_EQ(Joined(), "c2 1");
    Shell("ip link del c2");
    EXPECT_EQ(Joined(), "c2 2");
    End();
}

TEST_F(InterfaceTest, AChosenInterfaceIsJoinedOrNone) {
    TwoCables cables;
    CreateClient(&client);
    for (const char* const unknown : {"c9", "10.9.1.1", "c1 ", "1", "256.1.1.1"}) {
        log.Clear();
        EXPECT_EQ(Quorin_SetStreamInterface(client, unknown), 1) << unknown;
        EXPECT_EQ(log.Lines(), (std::vector<LogLines::Line>{
                                   {3, "[Error] No interface of this host can be joined by the name or address: " +
                                           std::string(unknown) + "\n"}}));
    }
    const std::pair<const char*, const char*> rows[]{{"c1", "c1 1"}, {"10.9.2.2", "c2 1"}, {"10.9.1.2", "c1 1"},
                                                     {"", "c2 1"},   {"c1", "c1 1"},       {nullptr, "c2 1"}};
    for (const auto& [chosen, joined] : rows) {
        ASSERT_EQ(Quorin_SetStreamInterface(client, chosen), 0);
        ASSERT_EQ(Start(*cables.server, "10.9.2.1"), 0);
        EXPECT_EQ(Joined(), joined);
        EXPECT_TRUE(Arrives(joined[1] == '1' ? *cables.first : *cables.second, 1));
        EXPECT_EQ(Quorin_SetStreamInterface(client, "c9"), 1);
        Uninitialize(client);
        cables.server->ExpectRequest(106);
        EXPECT_EQ(Joined(), " 0");
    }
    ASSERT_EQ(Quorin_SetStreamInterface(client, "c1"), 0);
    Shell("ip link del c1");
    EXPECT_EQ(Start(*cables.server, "10.9.2.1"), 1) << "not on another one";
    EXPECT_EQ(log.Count("name or address: c1"), 1);
}

// A simulated server and its clients on a machine that knows no network.
TEST_F(InterfaceTest, AServerOnThisMachineIsHeardWithoutAnyRoute) {
    const Machine alone{};
    Shell("ip link set lo up; ip address add 10.9.3.1/32 dev lo");
    ScriptedServer server(5230, "0.0.0.0");
    const Outlet outlet("127.0.0.1");
    for (const char* const address : {"127.0.0.1", "127.1.2.3", "10.9.3.1", "localhost"}) {
        ASSERT_EQ(Start(server, address), 0) << address;
        server.ExpectRequest(106);
        EXPECT_EQ(Joined(), "lo 1");
        EXPECT_TRUE(Arrives(outlet, 1)) << address;
        End();
    }
}

// The server may as well stream over the interface of the default route.
TEST_F(InterfaceTest, AServerOnThisMachineIsHeardOnTheDefaultInterface) {
    TwoCables cables;
    ScriptedServer here;
    const Outlet onDefault("10.9.1.2");
    const Outlet onLoopback("127.0.0.1");
    ASSERT_EQ(Start(here, "127.0.0.1"), 0);
    onDefault.Send(1);
    onLoopback.Send(2);
    EXPECT_TRUE(Eventually([&] { return Statistics().framesDelivered >= 2; }));
    EXPECT_TRUE(Arrives(onLoopback, 3) && Eventually([&] { return Statistics().framesDelivered >= 3; }));
    EXPECT_EQ(Statistics().framesDelivered, 3U);
    EXPECT_EQ(Statistics().framesRepeated, 0U);
}
