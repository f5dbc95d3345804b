// The doctor in front of real faults: a server and a client in namespaces of their own, with two cables between.
#include <arpa/inet.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "ToolRun.h"
#include "support/Machine.h"

using namespace std::string_literals;

namespace {

sockaddr_in At(const char* host, std::uint16_t port) { return {AF_INET, htons(port), {inet_addr(host)}, {}}; }

// One that listens is a member of the group, shares its port, has next to no room, and never reads.
struct Socket {
    explicit Socket(const sockaddr_in& own, bool listens = false) {
        const int one = 1;
        const ip_mreqn membership{{inet_addr("239.239.239.52")}, {}, 0};
        for (const int option : {SO_REUSEADDR, SO_RCVBUF})
            if (listens) setsockopt(handle, SOL_SOCKET, option, &one, sizeof one);
        if (listens) setsockopt(handle, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership);
        EXPECT_EQ(bind(handle, reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
    }
    ~Socket() { close(handle); }
    const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

// Of a message of `total` bytes and this type.
std::string Fragment(int index, std::size_t size, std::size_t total, int type = 103) {
    return "\x51\xF9\0\0"s + static_cast<char>(total) + static_cast<char>(total >> 8U) + "\0\0"s +
           static_cast<char>(type) + static_cast<char>(index) + static_cast<char>(size) +
           static_cast<char>(size >> 8U) + "\0\0\0\0"s + std::string(size, '\xFF');
}

struct Row {
    const char* cause;
    const char* said = "";                                // somewhere in the lines
    const char* remedy = "";                              // somewhere in it
    std::string faults = "";                              // commands on the client's machine
    std::optional<std::string> server = "--interface s1"; // options; nothing: there is none
    std::vector<std::string> sent{};                      // over and over, instead of the server's frames
    bool besides = false;                                 // these too
    std::string name = "10.9.1.1";
    enum { kFree, kHeld, kListening } port = kFree;
    int code = 1;
    const char* as = ""; // a command that runs the doctor
};

struct Finding {
    nlohmann::json report;
    int code;
};

Finding Examine(const Row& row) {
    const Machine client{};
    const Machine server{};
    Shell("for i in 1 2; do ip link add s$i type veth peer name receiving$i netns " + client.own.Path() +
          "; ip address add 10.9.$i.1/24 dev s$i; ip link set s$i up; done; ip link set lo up; ip route add "
          "239.0.0.0/8 dev s1");
    std::optional<Server> simulated;
    if (row.server) simulated.emplace(row.sent.empty() || row.besides ? *row.server : "");
    const Socket sender(At("10.9.1.1", 0));
    const sockaddr_in group = At("239.239.239.52", 5231);
    EXPECT_EQ(connect(sender.handle, reinterpret_cast<const sockaddr*>(&group), sizeof group), 0);
    client.own.Enter();
    Shell("for i in 1 2; do ip address add 10.9.$i.2/24 dev receiving$i; ip link set receiving$i up; done");
    Shell("ip route add 239.0.0.0/8 dev receiving1; " + row.faults);
    const Socket holder(At("0.0.0.0", row.port == Row::kFree ? 0 : 5231), row.port == Row::kListening);
    const std::jthread stream([&](const std::stop_token& stop) {
        for (; !stop.stop_requested(); std::this_thread::sleep_for(std::chrono::milliseconds(5)))
            for (const std::string& datagram : row.sent) send(sender.handle, datagram.data(), datagram.size(), 0);
    });
    ToolRun doctor("doctor --json " + row.name, row.as);
    nlohmann::json report = nlohmann::json::parse(doctor.Rest());
    return {std::move(report), doctor.Wait()};
}

// Where other work keeps the machine from reading in time, that is what the doctor finds, rightly, and says before
// all else: it looks again then.
Finding ExamineInPeace(const Row& row) {
    const std::string busy = "receiver-too-slow";
    Finding finding = Examine(row);
    for (int again = 0; again < 4 && row.cause != busy && finding.report["cause"] == busy; ++again)
        finding = Examine(row);
    return finding;
}

void ExpectCauses(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.cause + " "s + row.faults + row.server.value_or("no server"));
        const auto [report, code] = ExamineInPeace(row);
        EXPECT_EQ(code, row.code);
        EXPECT_THAT(report["cause"], testing::MatchesRegex(row.cause)) << report.dump(1);
        EXPECT_THAT(report["checks"].dump(), testing::ContainsRegex(row.said));
        EXPECT_NE(report["remedy"], "");
        EXPECT_THAT(report["remedy"], testing::ContainsRegex(row.remedy));
    }
}

} // namespace

TEST(Doctor, NamesWhatKeepsAClientFromTheStream) {
    ExpectCauses({
        {.cause = "unknown-name", .said = "no.such.invalid", .name = "no.such.invalid"},
        {.cause = "no-route-to-server", .said = "no route", .name = "10.8.0.1"},
        {.cause = "no-multicast-on-interface",
         .said = "receiving1",
         .remedy = "set receiving1 up multicast on; to keep it: .*Multicast=yes.* receiving1.*--interface",
         .faults = "ip link set receiving1 multicast off"},
        {.cause = "server-silent", .said = "port 5230 of 10.9.1.1", .server = {}},
        {.cause = "version-refused", .said = "3.0.1.7", .server = "--refuse --server-version 3.0.1.7"},
        {.cause = "port-held", .said = "5231", .port = Row::kHeld},
        {.cause = "no-membership",
         .said = "buffer",
         .remedy = "receiving1.*igmp_max_memberships=100; to keep it: .*sysctl.d/",
         .faults = "echo 0 >/proc/sys/net/ipv4/igmp_max_memberships"},
        {.cause = "no-stream", .said = "no datagram on port 5231", .server = ""},
        {.cause = "firewall",
         .said = "[1-9][0-9]* datagrams of the stream reached this machine.* 1 rule ",
         .remedy = "nftables.conf lasts; .* in on receiving1 to 239.239.239.52 port 5231 .*--permanent",
         .faults = "nft 'table ip t { chain c { type filter hook input priority 0; udp dport 5231 drop; }; }'"},
        {.cause = "wrong-interface",
         .said = "receiving2, clients join on receiving1",
         .remedy = "SetStreamInterface.*--interface receiving2.*network of receiving1",
         .server = "--interface 10.9.2.1"},
        {.cause = "reverse-path-filter",
         .said = "the filter of receiving2 dropped",
         .remedy = "conf.receiving2.rp_filter=0; to keep it: .*sysctl.d/",
         .faults = "ip address flush dev receiving2; echo 1 >/proc/sys/net/ipv4/conf/receiving2/rp_filter",
         .server = "--interface 10.9.2.1"},
    });
    EXPECT_THAT(Output("doctor no.such.invalid", 1),
                testing::MatchesRegex("failure  name: 'no.such.*\n\nCause:  unknown-name\nRemedy: use .*\n"));
}

// The worst warning is the cause; where frames are lost, the code is 1. Where the system grants a small receive
// buffer, that is a warning of its own.
TEST(Doctor, WarnsOfWhatLosesSomeFrames) {
    const char* const nothing = "none|small-receive-buffer";
    ExpectCauses({
        {.cause = nothing, .said = " whole frames.*frames delivered to a client, 0 lost", .code = 0},
        // The group needs no route of its own.
        {.cause = nothing, .said = "on interface receiving1", .faults = "ip route del 239.0.0.0/8", .code = 0},
        {.cause = nothing,
         .said = "interface receiving2, which was chosen.*joins the stream on interface receiving2",
         .server = "--interface 10.9.2.1",
         .name = "10.9.1.1 --interface receiving2",
         .code = 0},
        // As a user without any privilege.
        {.cause = nothing,
         .said = "\"firewall\",\"state\":\"unknown\",\"text\":\"[^\"]*cannot be read",
         .code = 0,
         .as = "setpriv --inh-caps=-all --bounding-set=-all"},
        {.cause = "receiver-too-slow",
         .said = "[1-9][0-9]* datagrams dropped .* [1-9][0-9]* of them",
         .remedy = "rmem_max=524288; to keep it: .*sysctl.d/",
         .port = Row::kListening},
        {.cause = "foreign-datagrams|small-receive-buffer",
         .said = "do not belong to this protocol",
         .server = "--interface s1 --foreign 0.2",
         .code = 0},
        {.cause = "datagrams-repeated|small-receive-buffer",
         .said = "[1-9][0-9]* came twice",
         .server = "--interface s1 --duplicate 0.2",
         .code = 0},
        {.cause = "frames-broken",
         .said = "[1-9][0-9]* of .* did not continue a message.* lost \\([0-9]+ incomplete",
         .remedy = "link show dev receiving1",
         .server = "--interface s1 --seed 3 --loss 0.1"},
        {.cause = "frames-missing",
         .said = " lost \\([0-9]+ never seen.*longest pause between two frames was [0-9][0-9][0-9]+\\.",
         .remedy = "link show dev receiving1",
         .faults = DroppingStream("120 < 60"),
         .server = "--interface s1 --rate 120 --skeletons 0 --force-plates none"},
        {.cause = "numbers-went-back|small-receive-buffer",
         .said = "went back [1-9]",
         .server = "--interface s1 --restart-every 60",
         .code = 0},
        {.cause = "several-senders",
         .said = "10.9.1.1:[0-9]*, 10.9.1.1:[0-9]*: servers that stream at once",
         .remedy = "10.9.1.1:[0-9]*, 10.9.1.1:[0-9]* stream to 239.239.239.52:5231",
         .sent = {Fragment(0, 1462, 3000)},
         .besides = true},
    });
}

TEST(Doctor, NamesWhatIsWrongWithTheStream) {
    // Drops the IP packets of which a bit of the mask is set among their fragment flags and offset.
    const std::string drop =
        "; tc qdisc add dev receiving1 clsact; tc filter add dev receiving1 ingress protocol ip bpf da bytecode "
        "\"4,40 0 0 20,69 0 1 $MASK,6 0 0 2,6 0 0 4294967295\"";
    const std::string part[] = {Fragment(0, 1462, 3000), Fragment(1, 1462, 3000), Fragment(2, 76, 3000)};
    ExpectCauses({
        {.cause = "foreign-protocol", .said = "do not belong", .sent = {"\x51\xF8"s + part[0].substr(2)}},
        {.cause = "fragment-missing", .said = "fragment 1 of 0 to 2 never", .sent = {part[0], part[2]}},
        {.cause = "fragment-missing", .said = "fragment 2 of 0 to 2 never", .sent = {part[0], part[1]}},
        {.cause = "message-never-complete", .sent = {Fragment(0, 1462, 1500), Fragment(1, 22, 1500)}},
        {.cause = "other-version",
         .said = "the latest of type 103 with 2500 bytes",
         .sent = {Fragment(0, 1000, 2500), Fragment(1, 1000, 2500), Fragment(2, 500, 2500)}},
        {.cause = "fragments-out-of-order", .sent = {part[1], part[0], part[2]}},
        {.cause = "other-version", .said = "cannot be decoded as one", .sent = {Fragment(0, 60, 60)}},
        {.cause = "other-version", .said = "cannot be decoded as one", .sent = {Fragment(0, 60, 60, 203)}},
        {.cause = "ip-fragments-lost", .said = "1506 bytes, the MTU is 1500", .faults = "MASK=8191" + drop},
        {.cause = "ip-fragments-lost", .said = "0 fragments arrived, 0 packets", .faults = "MASK=16383" + drop},
    });
}

TEST(Doctor, TellsFaultsAsTheyComeAndGo) {
    MakeInterface("here");
    const char* const options = "--rate 100 --interface 10.7.0.1 --skeletons 0 --force-plates none";
    std::optional<Server> server(options);
    ToolRun doctor("doctor 127.0.0.1 --interface here --watch");
    const auto tells = [&](const std::string& pattern) {
        std::string line = doctor.Line();
        while (!line.empty() && !testing::Matches(testing::MatchesRegex(pattern))(line)) line = doctor.Line();
        return !line.empty();
    };
    const std::string time = "[0-9][0-9]:[0-9][0-9]:[0-9][0-9] ";
    while (!doctor.Line().empty()) continue; // the examination
    EXPECT_TRUE(tells("Remedy: .*"));
    EXPECT_EQ(doctor.Line(), "");
    EXPECT_TRUE(tells("Watching.*"));
    Shell("ip link set here down");
    EXPECT_TRUE(tells(time + "interface here of the stream is gone.*"));
    Shell("ip link set here up");
    EXPECT_TRUE(tells(time + "frames come again over interface here"));
    Shell(DroppingStream("9 == 4"));
    EXPECT_TRUE(tells(time + "[0-9]+ frames? lost \\([0-9]+ never seen\\)"));
    Shell("nft delete table ip t");
    EXPECT_TRUE(tells(time + "no frame lost for 2 s"));
    EXPECT_EQ(Output("send 127.0.0.1 pause", 0), "paused\n");
    EXPECT_TRUE(tells(time + "no frame for [0-9.]+ s"));
    EXPECT_EQ(Output("send 127.0.0.1 resume", 0), "resumed\n");
    EXPECT_TRUE(tells(time + "frames come again, after [0-9.]+ s"));
    server.reset();
    server.emplace(options);
    EXPECT_TRUE(tells(time + "the numbers of the frames went back 1 time: .*"));
    doctor.Interrupt();
    EXPECT_THAT(doctor.Rest(), testing::ContainsRegex("Watched for [0-9]+ s: [0-9]+ frames came, .* lost \\("));
    EXPECT_EQ(doctor.Wait(), 1);
}
