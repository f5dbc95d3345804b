// What feeds cost the receive thread, beside the same bare loop as the path without them.
#include <memory>
#include <stdexcept>

#include "TarvoStream.h"
#include "end_to_end/Bench.h"

namespace {

// So many feeds of one client. What they hold is released with them.
class OpenFeeds {
public:
    OpenFeeds(void* client, int count) : m_feeds(static_cast<std::size_t>(count)) {
        constexpr std::uint32_t kCapacity = 64;
        for (void*& feed : m_feeds)
            Require(Quorin_OpenFeed(client, kCapacity, &feed) == 0, "a feed cannot be opened");
    }
    ~OpenFeeds() {
        for (void* feed : m_feeds) Quorin_CloseFeed(feed);
    }
    OpenFeeds(const OpenFeeds&) = delete;
    const std::vector<void*>& Handles() const { return m_feeds; }

private:
    std::vector<void*> m_feeds;
};

// A thread for each feed that waits for its frames, not on the receiver's core.
class Readers {
public:
    explicit Readers(const OpenFeeds& feeds) {
        for (void* const feed : feeds.Handles()) m_threads.emplace_back(Read, feed);
    }
    ~Readers() {
        for (std::thread& thread : m_threads) thread.join();
    }
    Readers(const Readers&) = delete;

private:
    static void Read(void* feed) {
        const auto frame = std::make_unique<sFrameOfMocapData>();
        while (Quorin_NextFrame(feed, TARVO_WAIT_FOREVER, frame.get(), nullptr, nullptr) == 0)
            Quorin_FreeFrame(frame.get());
    }

    std::vector<std::thread> m_threads;
};

std::string Name(const FrameLoad& load, int feeds, const char* what) {
    return load.name + ", " + std::to_string(feeds) + (feeds == 1 ? " feed " : " feeds ") + what;
}

} // namespace

void MeasureFeeds(Bench& bench) {
    constexpr int kFillsThem = 80;
    constexpr int kRate = 120;
    for (FrameLoad load : {kLoads[2], kLoads[3]}) {
        FrameSender sender(load);
        const std::string name = load.name;
        for (const int count : {0, 1, 10}) {
            const OpenFeeds feeds(bench.client.Handle(), count);
            ReceiveInStep(sender, bench.client, kFillsThem);
            load.name = Name({.name = name}, count, "full");
            bench.InTurn("feeds queued", load, bench.Repetitions(),
                         [&](Receiver& receiver) { return ReceiveQueued(sender, receiver, 40); });
            load.name = Name({.name = name}, count, "full");
            bench.InTurn("feeds in step", load, bench.Repetitions(),
                         [&](Receiver& receiver) { return ReceiveInStep(sender, receiver, 200); });
        }
        for (const int count : {1, 10}) {
            auto feeds = std::make_unique<OpenFeeds>(bench.client.Handle(), count);
            const Readers readers(*feeds);
            load.name = Name({.name = name}, count, "awaited");
            bench.InTurn("feeds paced at 120 Hz", load, bench.quick ? 3 : 5,
                         [&](Receiver& receiver) { return ReceivePaced(sender, receiver, 60, kRate); });
            feeds.reset();
        }
    }
}
