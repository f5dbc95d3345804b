// Sockets over the loopback interface, and the transfer handle.
#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <set>

#include "platform/SocketTransfer.h"
#include "support/Said.h"

using namespace System;

constexpr unsigned int kTcp = kProtocolTcp, kUdp = kProtocolUdp, kLoopback = 0x7F000001;
constexpr char kHost[] = "127.0.0.1", kGroup[] = "239.1.2.3", kUnknown[] = "no-such-host.invalid";
constexpr char kNowhere[] = "10.9.9.9"; // no interface has it, and no route leads there

struct Sockets : testing::Test, CSocketFacade {
    ~Sockets() override { std::ranges::for_each(kept, ::close); }

    // Receives on it end after five seconds at most, and hear only the groups that it has joined itself.
    int Keep(int socket) {
        const timeval patience{5, 0};
        const int off = 0;
        setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        setsockopt(socket, IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof off);
        return kept.emplace_back(socket);
    }
    int Bound(unsigned int protocol) {
        EXPECT_EQ(Server(peer, 0, protocol), 0);
        return Keep(peer);
    }
    static unsigned int PortOf(int socket) {
        sockaddr_in name{};
        socklen_t size = sizeof name;
        getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size);
        return ntohs(name.sin_port);
    }
    std::string Tell(int from, const char* what, unsigned int host, int to) {
        return said(SendTo(from, what, unsigned(std::strlen(what)), host, PortOf(to), nullptr, 0));
    }
    std::string Heard(int socket) {
        EXPECT_EQ(ReceiveFrom(socket, text, length = 5, address, port), 0);
        return {text, length};
    }

    std::vector<int> kept;
    Said said;
    int client = -1, peer = -1;
    unsigned int address = 0, port = 0, length = 0;
    char text[32]{};
};

// A report carries the line of the statement that gave up, by which one operation is told from another.
TEST_F(Sockets, AnOperationThatGetsNoSocketSaysWhichItIs) {
    Bound(kUdp); // also, sanitizers need descriptors when they first see an object
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(Server(peer, 0, kUdp), 1);
    EXPECT_EQ(Broadcast(peer, nullptr, 0), 1);
    EXPECT_EQ(Multicast(peer, nullptr, kGroup, 0, true), 1);
    EXPECT_EQ(Multicast(peer, nullptr, 0, kGroup, 0, true), 1);
    EXPECT_EQ(Client(peer, kHost, 0, kUdp, 0), 7);
    setrlimit(RLIMIT_NOFILE, &limit);
    std::set<std::string> lines;
    for (const LogLines::Line& line : said.log.Lines()) lines.insert(line.text);
    EXPECT_EQ(lines.size(), 5U);
}

TEST_F(Sockets, CloseSparesWhatIsNoSocket) {
    const int file = Keep(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    client = Bound(kUdp);
    EXPECT_EQ(said(Close(0) || Close(file)), "0 Close h:#.|Failed.");
    EXPECT_EQ(said(Fd_is_Socket(client) + Fd_is_Socket(file)), "1 Failed.");   // both are still open
    EXPECT_EQ(said(Close(client, kGroup)), "0 Close h:#.|Failed:# syserr:99"); // never joined
    EXPECT_EQ(said(Fd_is_Socket(client)), "-1 Failed.");
}

TEST_F(Sockets, NamesAndAddressesAreConverted) {
    const auto resolve = [&](const char* name) {
        const std::string answer = said(GetIpByName(name, address));
        return answer + ' ' + std::to_string(address);
    };
    EXPECT_EQ(resolve("0.0.7.8"), "0 1800");
    EXPECT_EQ(resolve("0.0.0.0"), "0 0");
    EXPECT_EQ(resolve("255.255.255.255"), "0 4294967295");
    EXPECT_EQ(resolve("localhost"), "0 Failed. 2130706433");
    EXPECT_EQ(resolve(kUnknown), "4 Failed.|Failed. 0");
    EXPECT_EQ(said(ChangeIpAddress("255.255.255.255") == ~0U && ChangeIpAddress("256.1.1.1") == 0), "1 Failed.");
    EXPECT_EQ(said(ChangeIpAddress(0xC0A80001, text, 11)) + text, "1 Failed.");
    EXPECT_EQ(said(ChangeIpAddress(0xC0A80001, text, 12)) + text, "0192.168.0.1");
}

TEST_F(Sockets, TheLowestIdlePortIsFound) {
    const unsigned int taken = PortOf(Bound(kUdp));
    const auto find = [&](unsigned int from, unsigned int to, unsigned int protocol) {
        const std::string answer = said(GetNextPort(from, to, protocol, port));
        return answer + ' ' + std::to_string(port);
    };
    EXPECT_EQ(find(taken, ~0U, kUdp), "0 Failed:# syserr:98|Close h:#.|Close h:#. " + std::to_string(taken + 1));
    EXPECT_EQ(find(taken, taken, kUdp), "1 Failed:# syserr:98|Close h:#.|Failed. 0");
    port = 7;
    EXPECT_EQ(find(0, 5, kUdp) + find(6, 5, kUdp), "1 Failed. 71 Failed. 7");
    EXPECT_EQ(find(1, ~0U, 2), "1 Failed. 0");
    EXPECT_EQ(find(65536, ~0U, kUdp).back(), '0');
}

TEST_F(Sockets, DatagramsAndBroadcastsArriveWithTheirSender) {
    EXPECT_EQ(said(Broadcast(peer, nullptr, 0)), "0");
    EXPECT_EQ(said(Client(client, kHost, PortOf(Keep(peer)), kUdp, 5000)), "0");
    EXPECT_EQ(Tell(Keep(client), "", kLoopback, peer) + Tell(client, "longer", kLoopback, peer), "00");
    ::send(client, "", 0, 0); // the facade sends no empty ones
    EXPECT_EQ(said(SendTo(client, "name", 4, "localhost", PortOf(peer), nullptr, 0)), "0 Failed.");
    EXPECT_EQ(Tell(client, "all", 0x7FFFFFFF, peer), "1 Failed:# syserr:13");
    EXPECT_EQ(Tell(peer, "all", 0x7FFFFFFF, peer), "0");
    EXPECT_EQ(Heard(peer), "longe");
    EXPECT_EQ(std::pair(address, port), std::pair(kLoopback, PortOf(client)));
    EXPECT_EQ(Heard(peer), "");
    EXPECT_EQ(said(ReceiveFrom(peer, text, length = 5, text + 16, port)), "0");
    EXPECT_EQ(std::string(text, length) + &text[16], "name127.0.0.1");
    EXPECT_EQ(Heard(peer), "all");
}

TEST_F(Sockets, MulticastReachesTheMembersThroughEveryInterface) {
    const unsigned int links[] = {inet_addr(kHost), inet_addr(kNowhere), inet_addr(kHost)};
    int members[3];
    const int foreign = Bound(kUdp); // of a program that shares its port as most do
    const int one = 1;
    setsockopt(foreign, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    const unsigned int at = PortOf(foreign);
    EXPECT_EQ(said(Multicast(members[0], nullptr, kGroup, at, true)), "0");
    EXPECT_EQ(said(Multicast(members[1], nullptr, 0, kGroup, at, true)), "0");
    EXPECT_EQ(said(Multicast(members[2], links + 1, 2, kGroup, at, false)),
              "0 Failed:# syserr:99|Failed:# syserr:19");
    EXPECT_EQ(said(Multicast(client, kHost, kGroup, at, false)), "0");
    EXPECT_EQ(said(SendTo(Keep(client), "1", 1, kGroup, at, links, 0)), "0");
    EXPECT_EQ(said(SendTo(client, "2", 1, kGroup, at, links, 3)), "4 Failed syserr:99|Failed.");
    EXPECT_EQ(said(SendTo(client, "3", 1, kGroup, at, links, ~0U)), "0");
    EXPECT_EQ(said(SendTo(client, "4", 1, kGroup, at, links, 1)), "0");
    for (const int member : members) {
        int loop = -1, ttl = -1;
        socklen_t size = sizeof loop;
        getsockopt(Keep(member), IPPROTO_IP, IP_MULTICAST_LOOP, &loop, &size);
        getsockopt(member, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, &size);
        EXPECT_EQ(std::pair(ttl, loop), std::pair(255, member == members[2] ? 0 : 1));
        for (const char* const digit : {"1", "2", "4"}) EXPECT_EQ(Heard(member), digit);
    }
}

TEST_F(Sockets, StreamsCarryBytesAlsoAboveDescriptor1023) {
    const int listening = Bound(kTcp);
    const rlimit limit{2048, 2048};
    setrlimit(RLIMIT_NOFILE, &limit);
    for (int i = 0; i < 1100; ++i) Keep(::dup(listening));
    EXPECT_EQ(said(Client(client, kHost, PortOf(listening), kTcp, 5000)), "0");
    EXPECT_EQ(said(Accept(peer, listening, address, port)), "0");
    EXPECT_GT(client, 1023);
    EXPECT_EQ(std::pair(address, port), std::pair(kLoopback, PortOf(client)));
    EXPECT_EQ(fcntl(client, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(said(Send(client, "hello", 5, true) || Send(client, "", 0, true)), "0");
    const auto receive = [&](unsigned int capacity, unsigned int timeoutMs) {
        const std::string answer = said(Receive(Keep(peer), text, length = capacity, timeoutMs, true));
        return answer == "0" ? std::string(text, length) : answer.substr(0, 10);
    };
    EXPECT_EQ(receive(3, 5000), "hel");
    EXPECT_EQ(receive(16, 5000), "lo");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(receive(16, 50), "1 Failed:#");
    EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(45));
    EXPECT_EQ(said(Close(client)), "0 Close h:#.");
    EXPECT_EQ(receive(16, 5000), "");
    std::string answer = "0"; // until the refusal has come back
    for (int i = 0; i < 1000 && answer == "0"; ++i) answer = said(Send(peer, "x", 1, true));
    EXPECT_EQ(answer, "1 Failed:# syserr:32");
}

TEST_F(Sockets, ConnectsThatFailSayWhy) {
    const int listening = Bound(kTcp);
    port = PortOf(listening);
    const auto connect = [&](const char* host, unsigned int timeoutMs) {
        const int result = Client(client, host, port, kTcp, timeoutMs);
        return said(result == 0 ? Keep(client) * 0 : result);
    };
    // A backlog of five holds six connections; the next gets no answer.
    for (int i = 0; i < 6; ++i) EXPECT_EQ(connect(kHost, 5000), "0");
    const std::string line = "14 NoBlockClient # connect:127.0.0.1 " + std::to_string(port) + " timeout:";
    EXPECT_TRUE(connect(kHost, 150).starts_with(line + "150ms syserr:"));
    ::shutdown(listening, SHUT_RDWR);
    EXPECT_EQ(connect(kHost, 5000), line + "5000ms syserr:111|Close h:#.");
    EXPECT_TRUE(connect(kNowhere, 5000).ends_with("timeout:5000ms syserr:101|Close h:#."));
    EXPECT_EQ(connect(kUnknown, 5000), "4 Failed.|Failed.|Failed.|Close h:#.");
    EXPECT_EQ(connect(kUnknown, 0), "4 Failed.|Failed.|Failed.|Close h:#.");
}

TEST_F(Sockets, RefusalsAreReportedAndLeaveNothingOpen) {
    EXPECT_EQ(said(Send(-1, "x", 1, true) + Receive(-1, text, length, true)), "2 Failed.|Failed.");
    EXPECT_EQ(said(Receive(-1, text, length, 0, true) + Server(client, 0, 2)), "2 Failed.|Failed.");
    EXPECT_EQ(said(ReceiveFrom(-1, text, length, address, port)), "1 Failed.");
    EXPECT_EQ(said(Client(client, kHost, 9, 2, 0) + Client(client, kHost, 9, 2, 9)), "2 Failed.|Failed.");
    EXPECT_EQ(said(SendTo(9, "", 0, nullptr, 9, nullptr, 0) + GetPeerAddress(0, text)), "2 Failed.|Failed.");
    EXPECT_EQ(said(Multicast(peer, nullptr, nullptr, 0, true)), "1 Failed.");
    EXPECT_EQ(said(Multicast(peer, nullptr, 0, nullptr, 0, true)), "1 Failed.");
    EXPECT_EQ(said(ChangeProtocolType(address = 2, port) + LocalPortIdle(2, 9) + LocalPortIdle(kUdp, 65536)), "6");
    peer = Bound(kUdp);
    EXPECT_EQ(said(Server(client, PortOf(peer), kUdp)), "1 Failed:# syserr:98|Close h:#.");
    EXPECT_EQ(said(Accept(client, peer, address, port)), "1 Failed:# syserr:95");
    EXPECT_EQ(said(Broadcast(client, kNowhere, 0)), "1 Failed:# syserr:99|Close h:#.");
    EXPECT_EQ(said(Multicast(client, kNowhere, kGroup, 0, true)), "1 Failed:# syserr:99|Close h:#.");
    EXPECT_EQ(said(Multicast(client, nullptr, "1.2.3.4", 0, true)), "1 Failed:# syserr:22|Close h:#.");
    EXPECT_EQ(said(Multicast(client, nullptr, 0, "1.2.3.4", 0, true)), "1 Failed:# syserr:22|Close h:#.");
    EXPECT_EQ(said(SendTo(peer, "x", 1, kUnknown, 9, nullptr, 0)), "1 Failed.|Failed.|Failed.");
}

TEST_F(Sockets, TransferIsInvalidBeforeItsCloseIsReported) {
    static CSocketTransfer transfer;
    static int handleDuringClose = 0;
    EXPECT_EQ(std::pair(transfer.IsValid(), int{transfer}), std::pair(true, -1));
    EXPECT_EQ(said(transfer.Close() || transfer.SetSocket(Bound(kUdp), kUdp)), "0");
    EXPECT_FALSE(transfer.IsValid());
    Application::CAppCallBack::SetLogMessageCB([](int, char*) { handleDuringClose = transfer; });
    EXPECT_EQ(transfer.Close(), 0);
    EXPECT_EQ(handleDuringClose, -1);
}

TEST_F(Sockets, TransferAnswersWhoeverSentLastAndCopiesOnlyItsHandle) {
    const auto peerOf = [&](const CSocketTransfer& transfer) {
        EXPECT_EQ(transfer.GetAddress(address, port), 0);
        return std::pair(address, port);
    };
    client = Bound(kUdp);
    CSocketTransfer transfer;
    EXPECT_EQ(said(transfer.SetSocket(Bound(kUdp), kUdp) || transfer.SetAddress("10.0.0.7", 900)), "0");
    EXPECT_EQ(Tell(client, "a", kLoopback, transfer) + Tell(client, "b", kLoopback, transfer), "00");
    EXPECT_EQ(said(transfer.Receive(text, length = 1, address, port)), "0");
    EXPECT_EQ(peerOf(transfer), std::pair(0x0A000007U, 900U));
    EXPECT_EQ(said(transfer.Receive(text, length = 1, 0, true)), "0");
    EXPECT_EQ(peerOf(transfer), std::pair(kLoopback, PortOf(client)));
    EXPECT_EQ(said(transfer.Send("hi", 2, true)), "0");
    EXPECT_EQ(Heard(client), "hi");
    CSocketTransfer copy(transfer);
    EXPECT_EQ(int{copy}, int{transfer});
    EXPECT_EQ(peerOf(copy), std::pair(0U, 0U));
    EXPECT_EQ(said(copy.Receive(text, length, 10, true)).substr(0, 10), "1 Failed:#"); // as a stream does
    EXPECT_EQ(copy.SetAddress(1, 2), 0);
    EXPECT_EQ(peerOf(copy = transfer), std::pair(1U, 2U));
}
