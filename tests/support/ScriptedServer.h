// A capture server for tests: plain sockets, and bytes written one by one from the layout of the protocol.
// It shares no code with the library, so that the two cannot be wrong alike.
#ifndef TESTS_SUPPORT_SCRIPTED_SERVER_H
#define TESTS_SUPPORT_SCRIPTED_SERVER_H

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using Bytes = std::vector<unsigned char>;
using Texts = std::vector<std::string>;

// Longer than any wait of the library, so that only a fault reaches it.
inline constexpr std::chrono::seconds kPatience{20};

// What callbacks bring, in their order.
template <typename T>
struct Arrivals {
    void Add(T value) {
        const std::lock_guard guard(m_mutex);
        m_values.push_back(std::move(value));
        m_added.notify_all();
    }

    // Takes everything out that has come, once there are this many.
    std::vector<T> Take(std::size_t count) {
        std::unique_lock lock(m_mutex);
        m_added.wait_for(lock, kPatience, [&] { return m_values.size() >= count; });
        return std::exchange(m_values, {});
    }

    std::mutex m_mutex;
    std::condition_variable m_added;
    std::vector<T> m_values;
};

auto InBackground(auto work) { return std::async(std::launch::async, std::move(work)); }

// Whether a condition comes true that nothing announces.
bool Eventually(auto condition) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    for (; !condition(); std::this_thread::sleep_for(std::chrono::milliseconds(1)))
        if (std::chrono::steady_clock::now() > deadline) return false;
    return true;
}

// How long some work takes, in milliseconds.
long TimeOf(auto work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

// Writes little-endian numbers and texts one behind the other.
struct Body {
    Body& U8(auto... values) { return (Number(values, 1), ..., *this); }
    Body& U16(auto... values) { return (Number(values, 2), ..., *this); }
    Body& U32(auto... values) { return (Number(values, 4), ..., *this); }
    Body& F32(auto... values) { return U32(std::bit_cast<std::uint32_t>(values)...); }
    Body& Put(const Bytes& more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }
    Body& Fill(std::size_t count, unsigned char byte = 0) { return Put(Bytes(count, byte)); }
    // A text in a field of this size.
    Body& Text(const std::string& text, std::size_t size) {
        return Put({text.begin(), text.end()}).Fill(size - text.size());
    }

    void Number(auto value, int width) {
        const auto bits = static_cast<std::uint64_t>(value);
        for (int i = 0; i < width; ++i) bytes.push_back(static_cast<unsigned char>(bits >> (8 * i)));
    }

    Bytes bytes;
};

inline Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }

// The body of a frame without sets, bodies, skeletons and labelled markers; the x of its other markers count up.
inline Bytes FrameBody(int number, const std::vector<float>& analog = {}, int otherMarkers = 0) {
    Body body;
    body.U32(number, 0, otherMarkers);
    for (int i = 0; i < otherMarkers; ++i) body.F32(static_cast<float>(i), 0.5F, -1.0F);
    body.U32(0, 0, 0, analog.size());
    for (const float value : analog) body.F32(value);
    return body.Fill(22).bytes;
}

// A six-channel plate at 10, 20, 30 whose channels are forces and moments as they stand.
inline Bytes Plate() {
    Body plate;
    plate.U32(70, -1, 0, 0).F32(10.0F, 20.0F, 30.0F).Fill(12);
    for (int i = 0; i < 9; ++i) plate.F32(i % 4 == 0 ? 1.0F : 0.0F);
    for (int i = 0; i < 64; ++i) plate.F32(i % 9 == 0 ? 1.0F : 0.0F);
    return plate.Fill(48).U32(4).Fill(8196).U32(0xABCD).bytes;
}

// One datagram by the fields of its header, each of which a test may falsify.
struct Datagram {
    int type;
    std::uint32_t sequence;
    std::size_t total;
    std::size_t index;
    Bytes payload;
    std::size_t length = payload.size();
    int magic = 0xF951;

    Bytes Wire() const {
        return Body().U16(magic, 0).U32(total).U8(type, index).U16(length).U32(sequence).Put(payload).bytes;
    }
};

// The datagrams of one message.
inline std::vector<Datagram> Cut(int type, std::uint32_t sequence, const Bytes& message,
                                 std::size_t piece = 1462) {
    std::vector<Datagram> datagrams;
    for (std::size_t offset = 0; offset < message.size() || datagrams.empty(); offset += piece) {
        const auto part = std::span(message).subspan(offset, std::min(piece, message.size() - offset));
        datagrams.push_back({type, sequence, message.size(), datagrams.size(), {part.begin(), part.end()}});
    }
    return datagrams;
}

// A version record by which the server accepts the client.
inline const Bytes kAccepted = Body().Fill(260).U8(3, 0, 0, 0, 1).bytes;

// What a client sent: the sequence number of its header, what follows the header, and all as it came.
struct Request {
    std::uint32_t sequence = 0;
    Bytes payload;
    Bytes wire;
    sockaddr_in from{};
};

class ScriptedServer {
public:
    explicit ScriptedServer(int port = 5230, const char* host = "127.0.0.1")
        : m_socket(socket(AF_INET, SOCK_DGRAM, 0)) {
        const timeval patience{kPatience.count(), 0};
        setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        sockaddr_in address = Address(host, port);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(m_socket, Generic(address), size), 0) << "port " << port;
        getsockname(m_socket, Generic(address), &size);
        m_port = ntohs(address.sin_port);
    }
    ~ScriptedServer() { close(m_socket); }
    // From here on it sends from another port.
    void LeavePort() {
        close(m_socket);
        m_socket = socket(AF_INET, SOCK_DGRAM, 0);
    }
    ScriptedServer(const ScriptedServer&) = delete;

    int Port() const { return m_port; }

    // The next datagram, which must be of this type.
    Request ExpectRequest(int type) {
        Request request{0, {}, Bytes(65536), {}};
        Bytes& wire = request.wire;
        socklen_t size = sizeof request.from;
        const ssize_t got = recvfrom(m_socket, wire.data(), wire.size(), 0, Generic(request.from), &size);
        EXPECT_GE(got, 16) << "the client sends nothing, or no header";
        wire.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 16)));
        EXPECT_EQ(int{wire[8]}, type);
        for (unsigned int i = 0; i < 4; ++i) request.sequence |= std::uint32_t{wire[12 + i]} << (8 * i);
        request.payload.assign(wire.begin() + 16, wire.end());
        return request;
    }
    // Whether nothing has come; within a machine a datagram has arrived when the call that sends it is over.
    bool IsQuiet() const { return recv(m_socket, nullptr, 0, MSG_PEEK | MSG_DONTWAIT) < 0; }

    void Send(sockaddr_in to, const Bytes& wire) {
        EXPECT_EQ(sendto(m_socket, wire.data(), wire.size(), 0, Generic(to), sizeof to), std::ssize(wire));
    }
    void SendMessage(sockaddr_in to, const std::vector<Datagram>& datagrams) {
        for (const Datagram& datagram : datagrams) Send(to, datagram.Wire());
    }
    void Reply(const Request& request, int type, const Bytes& payload) {
        SendMessage(request.from, Cut(type, request.sequence, payload));
    }
    void Multicast(const Bytes& frame) { SendMessage(Address("239.239.239.52", 5231), Cut(103, 0, frame)); }

    static sockaddr_in Address(const char* text, int port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        inet_pton(AF_INET, text, &address.sin_addr);
        return address;
    }

private:
    // The socket calls take every kind of address through one type.
    static sockaddr* Generic(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }

    int m_socket;
    int m_port = 0;
};

#endif
