// What leaves a simulated server, and where, as plain sockets receive it.
#include <net/if.h>
#include <poll.h>

#include <map>
#include <sstream>
#include <thread>

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
        const int roomForAll = 8 << 20; // as far as the system grants it
        setsockopt(m_socket, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        setsockopt(m_socket, SOL_SOCKET, SO_RCVBUFFORCE, &roomForAll, sizeof roomForAll);
        setsockopt(m_socket, IPPROTO_IP, IP_MULTICAST_ALL, &zero, sizeof zero);
        EXPECT_EQ(setsockopt(m_socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership), 0);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
    }
    ~Receiver() { close(m_socket); }
    Receiver(const Receiver&) = delete;

    Bytes Next() const { // nothing when none waits
        Bytes datagram(65536);
        const ssize_t size = recv(m_socket, datagram.data(), datagram.size(), MSG_DONTWAIT);
        if (size < 0) return {};
        datagram.resize(static_cast<std::size_t>(size));
        return datagram;
    }

    bool Hears(int limitMs) const {
        pollfd waiting{m_socket, POLLIN, 0};
        return poll(&waiting, 1, limitMs) == 1;
    }

private:
    const int m_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

// What the datagrams of a stream are, as a client has to take them.
struct Seen {
    long datagrams = 0, wrongMagic = 0, withoutHeader = 0, wrongLength = 0, first = 0, last = 0;
    std::vector<std::uint32_t> complete{}; // numbers of the frames that are

    void Take(const Bytes& datagram) {
        ++datagrams;
        const auto number = [&](std::size_t at, int width) {
            std::uint32_t value = 0;
            for (int i = width - 1; i >= 0; --i)
                value = value << 8U | datagram.at(at + static_cast<std::size_t>(i));
            return value;
        };
        if (datagram.size() < 16) return void(++withoutHeader);
        if (number(0, 2) != 0xF951) return void(++wrongMagic);
        const std::size_t size = number(10, 2);
        if (size != datagram.size() - 16) return void(++wrongLength);
        Join(number(9, 1), size, number(4, 4), size < 4 ? 0 : number(16, 4));
    }

private:
    void Join(std::uint32_t index, std::size_t size, std::size_t total, std::uint32_t start) {
        const bool ends = std::size_t{index} * 1462 + size == total;
        first += index == 0;
        last += ends;
        if (index > 0 && index + 1 == m_next) return; // repeated
        if (index == 0) m_number = start;
        m_next = index == 0 ? 1 : index == m_next ? m_next + 1 : 0;
        if (m_next > 0 && ends) {
            complete.push_back(m_number);
            m_next = 0;
        }
    }

    std::uint32_t m_next = 0; // index; 0: nothing fits
    std::uint32_t m_number = 0;
};

// What a frame log says.
struct Logged {
    std::map<std::string, long> sums{};
    std::vector<std::uint32_t> numbers{}, whole{};
    std::vector<std::string> notWhole{}; // what follows the checksum

    explicit Logged(const std::string& path) {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);) {
            std::istringstream columns(line);
            std::string time, checksum, state;
            columns >> time >> numbers.emplace_back() >> checksum >> state;
            if (state == "whole") whole.push_back(numbers.back());
            if (state != "whole") notWhole.push_back(line.substr(line.find(state)));
            for (std::string column; columns >> column;)
                sums[column.substr(0, column.find('='))] += std::stol(column.substr(column.find('=') + 1));
        }
    }
};

Seen Receive(const std::string& options, const std::string& faults) {
    const Receiver receiver("lo");
    Seen seen;
    std::jthread reader([&](const std::stop_token& stop) {
        for (bool last = false; !last;) { // what left before the stop is there
            last = stop.stop_requested();
            for (Bytes next; receiver.Hears(last ? 0 : 1) && !(next = receiver.Next(), false);) seen.Take(next);
        }
    });
    Output("simulate --rate 1000 --rigid-bodies 12 " + options + ' ' + faults, 0); // three datagrams in a frame
    reader.request_stop();
    reader.join();
    return seen;
}

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

TEST(Simulate, TheFrameLogAccountsForEveryDatagram) {
    const struct {
        std::string faults;
        const char* happened; // has been counted
        const char* notWhole; // what every line says whose frame is not
        long frames = 300;
    } rows[] = {
        {"--loss 0.2", "torn", "broken datagrams=3 lost=[123]( torn=1)?"},
        {"--loss 0.2 --burst 2", "torn", "broken datagrams=3 lost=[123]( torn=1)?"},
        {"--lose-frames 0.2", "lost", "broken datagrams=3 lost=3"},
        {"--lose-middle 0.3", "lost", "broken datagrams=3 lost=1"},
        {"--duplicate 0.2", "duplicated", "none"},
        {"--reorder 0.2", "reordered", "broken datagrams=3 reordered=[12]"},
        {"--reorder 1", "reordered", "broken datagrams=3 reordered=1", 1},
        {"--truncate 0.3", "torn", "broken datagrams=3 truncated=[123]( truncated_header=1)?( torn=1)?"},
        {"--corrupt 0.2", "torn", "broken datagrams=3 corrupted=[123]( corrupted_header=1| torn=1)"},
        {"--wrong-magic 0.3", "torn", "broken datagrams=3 magic=[123]( torn=1)?"},
        {"--foreign 0.2", "foreign", "none"},
        {"--skip 0.3", "datagrams", "skipped"},
        {"--restart-every 7", "datagrams", "none"},
        {"--loss 0.1 --reorder 0.1 --duplicate 0.1 --foreign 0.1 --lose-frames 0.1 --lose-middle 0.1 --skip 0.1",
         "torn", "skipped|broken datagrams=3 .*"}};
    for (const auto& [faults, happened, notWhole, frames] : rows) {
        SCOPED_TRACE(faults);
        Seen seen = Receive("--frame-log " + Path("frames.log") + " --frames " + std::to_string(frames), faults);
        Logged log(Path("frames.log"));
        EXPECT_EQ(log.sums["datagrams"], 3 * frames);
        EXPECT_GT(log.sums[happened], 0);
        EXPECT_THAT(log.notWhole, testing::Each(testing::MatchesRegex(notWhole)));
        for (std::size_t i = 0; i < log.numbers.size(); ++i)
            EXPECT_EQ(log.numbers[i], faults == "--restart-every 7" ? i % 7 + 1 : i + 1);
        EXPECT_EQ(seen.datagrams, 3 * frames - log.sums["lost"] + log.sums["duplicated"] + log.sums["foreign"]);
        EXPECT_TRUE(faults != "--lose-middle 0.3" || (seen.first == frames && seen.last == frames));
        std::sort(seen.complete.begin(), seen.complete.end());
        std::sort(log.whole.begin(), log.whole.end());
        EXPECT_TRUE(std::ranges::includes(seen.complete, log.whole));
        if (log.sums["corrupted"] > 0) continue; // in headers too
        EXPECT_EQ(std::ssize(seen.complete), std::ssize(log.whole) + log.sums["torn"]);
        EXPECT_EQ(seen.wrongMagic, log.sums["magic"] + log.sums["foreign"]);
        EXPECT_EQ(seen.withoutHeader, log.sums["truncated_header"]);
        EXPECT_EQ(seen.wrongLength, log.sums["truncated"] - log.sums["truncated_header"]);
    }
}
