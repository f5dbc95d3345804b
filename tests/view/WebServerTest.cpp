// The web server as somebody at the other end of a socket sees it, well-meaning or not.
#include "view/WebServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "view/CountedFrames.h"
#include "view/PageProtocol.h"

using namespace std::chrono_literals;

// Instead of the system's: sanitizers need descriptors themselves.
// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
std::atomic<bool> noDescriptors{false};
extern "C" int __real_accept(int listening, sockaddr* address, socklen_t* size);
extern "C" int __wrap_accept(int listening, sockaddr* address, socklen_t* size) {
    if (!noDescriptors) return __real_accept(listening, address, size);
    errno = EMFILE;
    return -1;
}
// NOLINTEND(bugprone-reserved-identifier)

// One connection to a port of this machine. What it reads comes within ten seconds, or is empty.
class Peer {
public:
    explicit Peer(std::uint16_t port) : m_socket(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
        EXPECT_EQ(connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        const timeval limit{10, 0};
        setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    Peer(Peer&& other) noexcept : m_socket(std::exchange(other.m_socket, -1)) {}
    ~Peer() { close(m_socket); }

    void Send(const std::string& bytes) const { send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    std::string Read(std::size_t size) const {
        std::string bytes(size, '\0');
        const ssize_t count = recv(m_socket, bytes.data(), size, MSG_WAITALL);
        bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return bytes;
    }
    std::string ReadUntil(const std::string& end) const {
        std::string all;
        for (std::string some = Read(1); !some.empty(); some = all.ends_with(end) ? "" : Read(1)) all += some;
        return all;
    }
    std::string ReadAll() const { return ReadUntil("no such end"); }
    bool IsSilentFor(std::chrono::milliseconds time) const {
        pollfd waiting{m_socket, POLLIN, 0};
        return poll(&waiting, 1, static_cast<int>(time.count())) == 0;
    }
    // A WebSocket frame to the server.
    void Say(const std::string& text, char first = '\x81') const {
        std::string frame{first, static_cast<char>(0x80 | (text.size() < 126 ? text.size() : 126))};
        if (text.size() >= 126) frame += {static_cast<char>(text.size() >> 8), static_cast<char>(text.size())};
        Send(frame + std::string(4, '\0') + text); // masked with zeros
    }
    // A WebSocket frame from it: its first byte, then what it holds.
    std::string Hear() const {
        const std::string head = Read(2);
        if (head.size() < 2) return "";
        std::size_t size = static_cast<unsigned char>(head[1]);
        const std::string more = Read(size == 126 ? 2 : size == 127 ? 8 : 0);
        if (!more.empty()) size = 0;
        for (const char byte : more) size = size << 8 | static_cast<unsigned char>(byte);
        return head[0] + Read(size);
    }

private:
    int m_socket;
};

static const std::string kTaken = R"({"type":"taken"})";
static const char* const kUpgrade =
    "Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
    "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==";

struct WebServerTest : testing::Test {
    ~WebServerTest() override { Stop(); }
    void Start(const std::string& token = {}) {
        EXPECT_EQ(pipe2(feed, O_NONBLOCK | O_CLOEXEC), 0);
        server.emplace(WebServer::Options{"127.0.0.1", 0, token, true, page}, board, history);
        server->Watch(feed[0], [this] {
            char count = 0;
            if (read(feed[0], &count, 1) != 1) return;
            history.Add(static_cast<unsigned char>(count));
            server->FramesCame();
            alive = history.Alive();
            came = history.End();
        });
        thread = std::thread([this] { server->Run(); });
    }
    void Stop() {
        if (!thread.joinable()) return;
        server->Stop();
        thread.join();
        server.reset();
        EXPECT_EQ(close(feed[0]) + close(feed[1]), 0) << "the watched descriptor is not the server's";
    }
    // Frames come, at most 255.
    void Frames(int count) {
        const std::uint64_t before = came;
        const char byte = static_cast<char>(count);
        EXPECT_EQ(write(feed[1], &byte, 1), 1);
        for (const auto end = std::chrono::steady_clock::now() + 10s; came < before + static_cast<unsigned>(count);
             std::this_thread::yield())
            ASSERT_LT(std::chrono::steady_clock::now(), end);
    }
    std::string Own() const { return fmt::format("127.0.0.1:{}", server->Port()); }
    // The whole one, or its head when a WebSocket is open then.
    std::string Answer(const std::string& request) const {
        const Peer peer(server->Port());
        peer.Send(request);
        const std::string head = peer.ReadUntil("\r\n\r\n");
        return head.starts_with("HTTP/1.1 101") ? head : head + peer.ReadAll();
    }
    std::string Opening() const {
        return fmt::format("GET /stream HTTP/1.1\r\nHost: {0}\r\nOrigin: http://{0}\r\n{1}\r\n\r\n", Own(),
                           kUpgrade);
    }
    Peer Page() const {
        Peer peer(server->Port());
        peer.Send(Opening());
        EXPECT_TRUE(peer.ReadUntil("\r\n\r\n").starts_with("HTTP/1.1 101 ")) << "no WebSocket";
        return peer;
    }

    const std::vector<unsigned char> page{0x1F, 0x8B, 0, 7};
    StateBoard board;
    CountedFrames history;
    std::atomic<std::ptrdiff_t> alive{0};
    std::atomic<std::uint64_t> came{0};
    int feed[2];
    std::optional<WebServer> server;
    std::thread thread;
};

// In a request, words stand for headers: those of this server, and others.
TEST_F(WebServerTest, OnlyThePageOfThisServerIsAnswered) {
    const struct {
        std::string request;
        int status, withToken;
    } table[] = {
        {"/? OWN", 200, 200},
        {"/? NAMED", 200, 200},
        {"/? FOREIGN", 403, 200}, // a token is what nobody else has
        {"/? PORTLESS", 403, 200},
        {"/?", 403, 403},
        {"/? OWN OWN", 403, 403},
        {"/?token=5ecre OWN", 200, 403},
        {"/?token=5ecret1 OWN", 200, 403},
        {"/?token= OWN", 200, 403},
        {"/stream OWN SAME UPGRADE", 101, 403},
        {"/stream? OWN SAME UPGRADE", 101, 101},
        {"/stream? OWN SAME", 426, 426},
        {"/stream? OWN UPGRADE", 403, 403},
        {"/stream? OWN SECURE UPGRADE", 403, 403},
        {"/stream? OWN EVIL UPGRADE", 403, 403},
        {"/stream? NAMED SAME UPGRADE", 403, 403},
        {"/stream? FOREIGN EVIL UPGRADE", 403, 101},
        {"/../../etc/passwd? OWN", 404, 404},
        {"/%2e%2e/etc/passwd? OWN", 404, 404},
        {"/? OWN BODY", 413, 413},
        {"/? OWN CHUNKS", 413, 413},
        {"/? OWN HUGE", 431, 431},
        {"/? OWN \x16\x03", 400, 400},
    };
    for (const std::string token : {"", "5ecret"}) {
        Start(token);
        const std::string port = std::to_string(server->Port());
        const std::map<std::string, std::string> headers = {
            {"OWN", "Host: " + Own()},
            {"NAMED", "Host: localhost:" + port},
            {"FOREIGN", "Host: evil.example:" + port},
            {"PORTLESS", "Host: 127.0.0.1"},
            {"SAME", "Origin: http://" + Own()},
            {"SECURE", "Origin: https://" + Own()},
            {"EVIL", "Origin: http://evil.example:" + port},
            {"UPGRADE", kUpgrade},
            {"BODY", "Content-Length: 5"},
            {"CHUNKS", "Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n"},
            {"HUGE", "X: " + std::string(100'000, 'x')},
        };
        for (const auto& [asked, status, withToken] : table) {
            std::istringstream words(asked);
            std::string target, request, word;
            words >> target;
            if (!token.empty() && target.ends_with('?')) target += "x=1&token=" + token;
            request.append("GET ").append(target).append(" HTTP/1.1\r\n");
            while (words >> word) request.append(headers.contains(word) ? headers.at(word) : word).append("\r\n");
            const std::string answer = Answer(request + "\r\n");
            const std::string expected = std::to_string(token.empty() ? status : withToken);
            EXPECT_EQ(answer.substr(0, 13), "HTTP/1.1 " + expected + " ") << asked;
            EXPECT_TRUE(expected < "400" ||
                        std::ranges::count(answer.substr(answer.find("\r\n\r\n") + 4), '\n') == 1)
                << "one line: " << answer;
        }
        EXPECT_EQ(Answer("POST /?token=5ecret HTTP/1.1\r\nHost: " + Own() + "\r\n\r\n").substr(9, 3), "405");
        Stop();
    }
}

TEST_F(WebServerTest, ThePageComesAsItIsAndIsKeptNowhere) {
    Start();
    const std::string own = "Host: " + Own() + "\r\n\r\n";
    const std::string answer = Answer("GET / HTTP/1.1\r\n" + own), head = Answer("HEAD / HTTP/1.1\r\n" + own);
    EXPECT_EQ(answer, head + std::string(page.begin(), page.end()));
    for (const char* const field :
         {"Content-Type: text/html; charset=utf-8", "Content-Encoding: gzip", "Content-Length: 4",
          "Cache-Control: no-store", "X-Content-Type-Options: nosniff", "Referrer-Policy: no-referrer",
          "X-Frame-Options: DENY", "Cross-Origin-Resource-Policy: same-origin", "Connection: close"})
        EXPECT_NE(head.find(std::string(field) + "\r\n"), head.npos) << field << head;
}

TEST_F(WebServerTest, StateComesFirstThenFramesAsTheirBytesWhenTheLastOneWasTaken) {
    Start();
    board.Publish(StateBoard::Topic::kHello, {{"version", "1"}});
    Frames(3);
    const Peer peer = Page();
    EXPECT_EQ(peer.Hear(), "\x81{\"type\":\"hello\",\"version\":\"1\"}");
    const std::string first = peer.Hear();
    EXPECT_EQ(first.substr(0, 9), std::string("\x82VFR1\0\0\0\0", 9));
    const std::string places("\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x40", 16); // 0.0 and 2.0
    EXPECT_EQ(first.substr(17), places + std::string(8, '\2'));
    Frames(2);
    board.Publish(StateBoard::Topic::kStatus, {{"state", "gone"}});
    EXPECT_EQ(peer.Hear(), "\x81{\"state\":\"gone\",\"type\":\"status\"}") << "and no frame";
    peer.Say(kTaken);
    const std::string second = peer.Hear();
    EXPECT_EQ(second.substr(5, 4), std::string("\1\0\0\0", 4)) << "one was passed over";
    EXPECT_EQ(second.substr(33), std::string(8, '\4'));
    peer.Say(kTaken.substr(0, 5), '\x01'); // in two fragments, with a ping between
    peer.Say("hey", '\x89');
    peer.Say(kTaken.substr(5), '\x80');
    EXPECT_EQ(peer.Hear(), "\x8Ahey");
    Frames(1);
    EXPECT_EQ(peer.Hear().substr(33), std::string(8, '\5'));
}

TEST_F(WebServerTest, RubbishAndWantOfMemoryEndOnePageAndNoOther) {
    Start();
    Frames(1);
    const Peer good = Page();
    good.Hear();
    const std::string tooLong = std::string("\x88\x03\xF1") + "a message is too long";
    const struct {
        std::string text;
        char first;
        std::string answer;
    } table[] = {
        {"taken", '\x81', "\x88\x03\xF0this is no message of a page"},
        {kTaken, '\x82', "\x88\x03\xEBonly text is understood"},
        {std::string(kMaxPageMessage + 1, ' '), '\x81', tooLong},
        {std::string(60000, ' '), '\x01', tooLong},
        {"\xFF\xFE", '\x81', "\x88\x03\xEF"},
        {kTaken, '\xC1', "\x88\x03\xEA"}, // compressed
        {kTaken, '\x83', "\x88\x03\xEA"},
        {kTaken, '\x80', "\x88\x03\xEA"}, // continues nothing
    };
    for (const auto& [text, first, answer] : table) {
        const Peer other = Page();
        other.Hear();
        other.Say(text, first);
        EXPECT_EQ(other.Hear(), answer) << text;
    }
    const Peer raw = Page();
    raw.Send("GET / HTTP/1.1\r\n\r\n");
    const Peer poor = Page();
    poor.Hear();
    poor.Say(R"({"type":"at","index":1})"); // has nothing yet to look for: the frame it has is not taken
    history.withoutMemory = 1;
    Frames(1);
    poor.Say(kTaken);
    EXPECT_EQ(poor.Hear(), "");
    Frames(2);
    good.Say(kTaken);
    EXPECT_EQ(good.Hear().substr(33), std::string(8, '\3'));
}

TEST_F(WebServerTest, APageThatNeverReadsCostsOneFrameAndDelaysNobody) {
    history.bodySize = 100'000;
    history.mostKept = 10;
    Start();
    Frames(1);
    const Peer stalled = Page(), live = Page();
    for (int i = 0; i < 1000; ++i) {
        board.Publish(StateBoard::Topic::kStatus, {{"text", std::to_string(i) + std::string(20'000, 'x')}});
        if (i % 10 != 0) continue;
        while (live.Hear()[0] != '\x82') continue;
        live.Say(kTaken);
        Frames(1);
        EXPECT_LE(alive, 12) << "ten are kept, and one goes to each page";
    }
}

TEST_F(WebServerTest, OfFiveHundredAtOnceTheFirstAreServedAndTheOthersTold) {
    Start();
    std::vector<Peer> pages;
    while (pages.size() < 32) pages.push_back(Page());
    const std::string own = "Host: " + Own() + "\r\n";
    EXPECT_EQ(Answer(Opening()).substr(9, 3), "503") << "a page too many";
    std::vector<Peer> crowd;
    while (crowd.size() < 500) crowd.emplace_back(server->Port());
    int told = 0;
    for (std::size_t i = 32; i < crowd.size(); ++i) {
        const std::string answer = Peer(std::move(crowd[i])).ReadAll();
        told += answer.starts_with("HTTP/1.1 503 ") && answer.ends_with("try again later\n") ? 1 : 0;
    }
    EXPECT_EQ(told, 468);
    crowd[31].Send("GET / HTTP/1.1\r\n" + own + "\r\n");
    EXPECT_TRUE(crowd[31].ReadAll().starts_with("HTTP/1.1 200 "));
    Frames(1);
    EXPECT_EQ(pages[31].Hear()[0], '\x82');
}

TEST_F(WebServerTest, WithoutDescriptorsItWaitsAndGoesOn) {
    Start();
    noDescriptors = true;
    const Peer peer(server->Port());
    peer.Send("GET / HTTP/1.1\r\nHost: " + Own() + "\r\n\r\n");
    const std::clock_t start = std::clock();
    EXPECT_TRUE(peer.IsSilentFor(500ms));
    EXPECT_LT(std::clock() - start, CLOCKS_PER_SEC / 10) << "it tries without end";
    noDescriptors = false;
    EXPECT_TRUE(peer.ReadAll().starts_with("HTTP/1.1 200 "));
}

TEST_F(WebServerTest, AnAddressThatCannotBeHadIsNamed) {
    Start();
    const auto why = [&](const char* address, std::uint16_t port) -> std::string {
        try {
            const WebServer other({address, port, "", true, page}, board, history);
            return "";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    };
    EXPECT_EQ(why("127.0.0.1", server->Port()),
              fmt::format("nothing can listen on 127.0.0.1 port {}: Address already in use", server->Port()));
    EXPECT_EQ(why("192.0.2.1", 80), "nothing can listen on 192.0.2.1 port 80: Cannot assign requested address");
    EXPECT_EQ(why("nowhere", 80), "nothing can listen on nowhere port 80: Invalid argument");
    EXPECT_EQ(why("127.0.0.1", 0), "");
    const Peer connected = Page(), silent(server->Port());
    server->Stop();
    EXPECT_EQ(connected.ReadAll(), "");
    EXPECT_EQ(silent.ReadAll(), "");
    board.Publish(StateBoard::Topic::kHello, {{"version", "of nobody"}});
}
