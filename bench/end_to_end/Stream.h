// The stream between a sender and the two that receive it in turn: a client of the library and a bare loop.
#ifndef BENCH_END_TO_END_STREAM_H
#define BENCH_END_TO_END_STREAM_H

#include <atomic>
#include <ctime>
#include <functional>
#include <thread>
#include <vector>

#include "Loads.h"
#include "TarvoWire.h"
#include "wire/Addresses.h"
#include "wire/UdpSocket.h"

// Nanoseconds of a clock; by default of one that only goes forward.
std::int64_t Now(clockid_t clock = CLOCK_MONOTONIC);
// Keeps the thread on its core until then, so that no wake-up of its own is in a figure.
void SpinUntil(std::int64_t time);
void Require(bool holds, const char* what); // or std::runtime_error
sockaddr_in ServerAddress();

// The thread is on the first (sender) or last (receiver) processor that the process may use, and so are the
// threads that it starts from here on. False when those are the same.
enum class Core { kSender, kReceiver };
bool PinTo(Core core);

// What arrives of a run of frames. Expect on the sender's thread while none is on the way; Take on the receive
// thread; the figures when all that is awaited has come.
class Arrivals {
public:
    void Expect(int frames, std::int64_t holdNs = 0); // each frame keeps the receive thread for so long
    // The first frame keeps the receive thread until it is released. AwaitHeld: until that thread is there.
    void HoldFirst() { m_held = true; }
    void AwaitHeld() const;
    void Release() { m_held = false; }
    void Take(std::uint64_t sentAt);
    bool Await(int frames) const; // false when nothing has come for a while
    int Count() const { return m_count.load(std::memory_order_acquire); }
    const std::vector<double>& Latencies() const { return m_latencies; } // microseconds
    double ProcessorTime() const; // of the receive thread for a frame, microseconds

private:
    std::atomic<int> m_count{0};
    std::atomic<bool> m_held{false};
    std::atomic<bool> m_isHeld{false};
    std::vector<double> m_latencies;
    std::int64_t m_holdNs = 0;
    std::int64_t m_processorStart = 0; // in the first frame
    std::int64_t m_processorEnd = 0;   // in the last one
};

// Blocks in a receive on a thread of its own, on the core of its maker, and hands on what comes.
class DatagramLoop {
public:
    using Handler = std::function<void(UdpSocket&, Bytes, const sockaddr_in&)>;
    DatagramLoop(int port, Handler handler, bool joinsGroup);
    ~DatagramLoop();
    DatagramLoop(const DatagramLoop&) = delete;

private:
    void Run();

    UdpSocket m_socket;
    int m_port;
    Handler m_handler;
    std::atomic<bool> m_stopping{false};
    std::thread m_thread;
};

// Whoever receives the stream on this port.
struct Receiver {
    explicit Receiver(int dataPort) : port(dataPort) {}

    int port;
    Arrivals arrivals;
};

// The floor: receives the datagrams into one area and copies each payload behind the one before.
class BareLoop : public Receiver {
public:
    BareLoop();

private:
    void Join(Bytes datagram);

    Body m_joined = Body(kMaxMessageSize);
    std::size_t m_size = 0;
    DatagramLoop m_loop;
};

// Answers the requests for the version and for the server description.
struct Server {
    Server();
    DatagramLoop loop;
};

// A client of the library whose frame callback counts arrivals. A server must be there.
class StreamClient : public Receiver {
public:
    StreamClient();
    ~StreamClient();
    StreamClient(const StreamClient&) = delete;
    void* Handle() const { return m_client; }

private:
    void* m_client = nullptr;
};

// Sends one load again and again, each frame with the time at which its first datagram left.
class FrameSender {
public:
    explicit FrameSender(const FrameLoad& load);
    int Datagrams() const { return static_cast<int>(m_datagrams.size()); } // of a frame
    void Send(const Receiver& to);
    // So many frames at this rate. Frames a second that it came to.
    double Stream(const Receiver& to, int frames, double rate);

private:
    UdpSocket m_socket;
    std::vector<Body> m_datagrams;
};

#endif
