// What leaves a simulated server, and where, as plain sockets receive it.
#include <net/if.h>
#include <poll.h>

#include "ToolRun.h"
#include "support/Machine.h"
#include "support/ScriptedServer.h"

using testing::HasSubstr;

namespace {

// Joined on one interface of the machine that the calling thread is on.
class Receiver {
public:
    explicit Receiver(const char* interface) {
        const sockaddr_in own = ScriptedServer::Address("239.239.239.52", 5231);
        const ip_mreqn membership{own.sin_addr, {}, static_cast<int>(if_nametoindex(interface))};
        const int zero = 0; // only what comes through an interface that this socket has joined
        const int one = 1;
        setsockopt(m_socket, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        setsockopt(m_socket, IPPROTO_IP, IP_MULTICAST_ALL, &zero, sizeof zero);
        EXPECT_EQ(setsockopt(m_socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership), 0);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
    }
    ~Receiver() { close(m_socket); }
    Receiver(const Receiver&) = delete;

    bool Hears(int limitMs) const {
        pollfd waiting{m_socket, POLLIN, 0};
        return poll(&waiting, 1, limitMs) == 1;
    }

private:
    const int m_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

} // namespace

TEST(Simulate, StreamsWhereItSaysAndNeedsNoRouteForTheGroup) {
    const Machine far{};
    const Machine server{};
    Shell("ip link add cable type veth peer name far netns " + far.own.Path() +
          "; ip link add bare type veth peer name other; ip link set bare up; ip link set lo up; ip link set "
          "cable up; "
          "ip address add 10.9.1.1/24 dev cable");
    far.own.Enter();
    Shell("ip address add 10.9.1.2/24 dev far; ip link set far up");
    server.own.Enter();
    const struct {
        std::string options, said;
        bool here, there; // heard on the server's machine, and on the one at the other end of the cable
    } rows[] = {
        {"", "over interface lo, 0 hops: to this machine only\n", true, false},
        {"--interface lo", "over interface lo, 1 hop: to this machine only\n", true, false},
        {"--interface cable", "over interface cable, 1 hop: to its network\n", false, true},
        {"--interface 10.9.1.1", "over interface cable, 1 hop: to its network\n", false, true},
        {"--interface cable --ttl 3", "over interface cable, 3 hops: past 2 routers at most\n", false, true},
        {"--interface cable --ttl 0", "over interface cable, 0 hops: to this machine only\n", false, false}};
    for (const auto& [options, said, here, there] : rows) {
        SCOPED_TRACE(options);
        const Receiver nearby("lo");
        far.own.Enter();
        const Receiver distant("far");
        server.own.Enter();
        EXPECT_THAT(Output("simulate --frames 1 " + options, 0), HasSubstr(said));
        EXPECT_EQ(distant.Hears(there ? 10000 : 0), there);
        EXPECT_EQ(nearby.Hears(here ? 10000 : 0), here);
    }
    EXPECT_THAT(Output("simulate --interface bare", 2),
                HasSubstr("simulate: --interface: bare has no IPv4 address\n"));
    Shell("ip link set cable down");
    EXPECT_THAT(Output("simulate --interface cable", 1),
                HasSubstr("nothing can be sent to 239.239.239.52:5231 over"));
}

// Of which the loopback interface is all that it has.
TEST(Simulate, IsRecordedOnAMachineWithoutANetwork) {
    const Machine alone{};
    Shell("ip link set lo up");
    const Server server("--rate 250");
    EXPECT_THAT(Output("record 127.0.0.1 --frames 20 -o " + Path("alone.pcap"), 0), HasSubstr(": 20 frames in "));
}
