// The functions of TarvoStream.h in any order, from several threads at once, while frames come.
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <span>
#include <thread>

#include "AppDataModel.h"
#include "TarvoStream.h"
#include "client/ClientCore.h"
#include "client/GlobalObject.h"
#include "platform/AppCallBack.h"

namespace {

constexpr std::size_t kThreads = 3;
constexpr std::size_t kFeeds = 8;

std::atomic<long> steps{0};

void Require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

// A client, and an endpoint that has its feeds: what the endpoint is given comes as if the client had received it.
class Session {
public:
    Session() {
        Require(CreateClient(&m_client) == 0, "a client is made");
        ClientCore* const core = *static_cast<ClientCore**>(m_client); // all that a client holds
        m_endpoint.emplace(&core->Feeds());
        // Sends nothing: no request is made, and nobody knows its port.
        Require(m_endpoint->Start(nullptr, "127.0.0.1", 1, true) == 0, "an endpoint starts");
        m_endpoint->SetUserData(CCommandServer::DataType_Stream, m_client);
    }
    ~Session() {
        m_endpoint.reset();
        DestroyClient(m_client);
    }
    Session(const Session&) = delete;

    void* Client() const { return m_client; }
    // The empty frame. Frames of one client come one after the other.
    void Receive() {
        constexpr std::uint16_t kBodySize = 50;
        const tagPackageHeader header{kPackageMagic, 0, kBodySize, PackageType_Frame, 0, kBodySize, 0};
        std::array<unsigned char, sizeof header + kBodySize> datagram{};
        std::memcpy(datagram.data(), &header, sizeof header);
        const std::lock_guard guard(m_receiving);
        m_endpoint->DisposeStream("127.0.0.1", 9, datagram.data(), datagram.size());
    }

private:
    void* m_client = nullptr;
    std::optional<CCommandServer> m_endpoint;
    std::mutex m_receiving;
};

// Nobody may be inside a client that is destroyed; feeds are used as they come, closed ones too.
struct World {
    std::array<std::shared_mutex, 2> locks;
    std::array<std::unique_ptr<Session>, 2> sessions;
    std::array<std::atomic<void*>, kFeeds> feeds{};
};

void OnFrame(sFrameOfMocapData* frame, void* client) {
    sFrameTimes times;
    Require(Quorin_GetFrameTimes(client, &times) == 1, "the frame is in hand of another endpoint");
    frame->auxValue32 = 7;
}

void Read(void* feed, unsigned int argument) {
    thread_local const auto frame = std::make_unique<sFrameOfMocapData>();
    sForcePlates plates;
    sFrameTimes times;
    const int result =
        Quorin_NextFrame(feed, argument % 2, frame.get(), &plates, (argument & 4U) != 0 ? &times : nullptr);
    Require(result == 0 || result == 1 || result == 2 || result == 9, "a documented result");
    if (result != 0) return;
    Require(frame->auxValue32 == 7, "frames are as the callback leaves them");
    Quorin_FreeFrame(frame.get());
}

void CountFrames(void* feed, unsigned int argument) {
    sFeedStatistics of{argument % 40, 0, 0, 0, 0};
    if (Quorin_GetFeedStatistics(feed, &of) == 0 && of.size == sizeof of)
        Require(of.waiting <= of.capacity && of.dropped + of.waiting <= of.received, "the counts of a feed fit");
}

void UseClient(Session& session, std::atomic<void*>& feed, unsigned int what, unsigned int argument) {
    void* opened = nullptr;
    sStreamStatistics statistics{};
    statistics.size = argument * 2;
    switch (what) {
        case 4: session.Receive(); break;
        case 5: Quorin_SetStreamInterface(session.Client(), argument % 2 == 0 ? "lo" : "none"); break;
        case 6: Quorin_GetStreamStatistics(session.Client(), &statistics); break;
        default:
            if (Quorin_OpenFeed(session.Client(), argument % 9, &opened) == 0)
                Quorin_CloseFeed(feed.exchange(opened));
    }
}

// One step for each byte. Handles of closed feeds stay in use.
void Run(World& world, std::span<const std::uint8_t> program) {
    for (const std::uint8_t step : program) {
        ++steps;
        const unsigned int argument = step / 9U;
        const std::size_t which = argument % 2;
        std::atomic<void*>& feed = world.feeds[argument % kFeeds];
        switch (const unsigned int what = step % 9U) {
            case 0: Read(feed, argument); break;
            case 1: CountFrames(feed, argument); break;
            case 2: Quorin_FeedDescriptor(feed); break;
            case 3: Quorin_CloseFeed(feed); break;
            case 8: {
                const std::unique_lock alone(world.locks[which]);
                if (argument % 8 == 0) world.sessions[which] = std::make_unique<Session>();
                break;
            }
            default: {
                const std::shared_lock inside(world.locks[which]);
                UseClient(*world.sessions[which], feed, what, argument);
            }
        }
    }
}

World& TheWorld() {
    static World* const world = [] {
        COutputMessage::SetLevel(Verbosity_None);
        Application::CAppCallBack::SetStreamFunc(OnFrame);
        std::atexit([] { std::fprintf(stderr, "steps: %ld\n", steps.load()); });
        auto* const made = new World;
        for (auto& session : made->sessions) session = std::make_unique<Session>();
        return made;
    }();
    return *world;
}

} // namespace

// The input is a program for each thread, one behind the other.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    World& world = TheWorld();
    const std::span<const std::uint8_t> all(data, size);
    const std::size_t each = size / kThreads;
    {
        std::array<std::jthread, kThreads> threads;
        for (std::size_t i = 0; i < kThreads; ++i)
            threads[i] = std::jthread([&, i] { Run(world, all.subspan(i * each, each)); });
    }
    for (std::atomic<void*>& feed : world.feeds) Quorin_CloseFeed(feed.exchange(nullptr));
    while (sFrameOfMocapData* const frame = CommonKit::TSingletons<CGlobalObject>::Instance().readCache())
        Quorin_FreeFrame(frame);
    return 0;
}
