// Reads frames on a thread of one's own, for work that takes longer than a callback may.
// Usage: worker_thread SERVER [FRAMES]; ends on Ctrl-C, or after so many frames.
//
// A feed keeps the frames that the worker has not come to yet, here up to 64: a worker that falls behind misses
// the oldest ones rather than filling the memory, and the feed tells how many. What Quorin_NextFrame fills in
// belongs to the worker, which releases it. When the session ends, the worker gets what is left and then a result
// that is not 0. SIGINT is blocked in every thread, and the main thread waits for it.
#include <TarvoStream.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

static void Work(void* feed, long wanted) {
    const auto frame = std::make_unique<sFrameOfMocapData>();
    sFrameTimes times;
    for (long seen = 0; wanted == 0 || seen < wanted; ++seen) {
        if (Quorin_NextFrame(feed, TARVO_WAIT_FOREVER, frame.get(), nullptr, &times) != 0) break;
        const double delayMs = static_cast<double>(times.deliveryMonotonicNs - times.arrivalMonotonicNs) / 1e6;
        std::printf("frame %d: %d skeletons, handed on %.3f ms after it arrived\n", frame->frameNumber,
                    frame->skeletonCount, delayMs); // the work
        Quorin_FreeFrame(frame.get());
    }
    sFeedStatistics statistics{};
    statistics.size = sizeof statistics;
    if (Quorin_GetFeedStatistics(feed, &statistics) == 0)
        std::printf("%llu frames were missed\n", static_cast<unsigned long long>(statistics.dropped));
    kill(getpid(), SIGINT);
}

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);

    TarvoSDKClient client;
    client.SetVerbosityLevel(0); // no log lines among the output
    void* feed = nullptr;
    int result = Quorin_OpenFeed(&client, 64, &feed);
    if (result == 0) result = client.Initialize(argv[1]);
    if (result != 0) {
        std::fprintf(stderr, "no stream from %s: %d\n", argv[1], result);
        Quorin_CloseFeed(feed);
        return 1;
    }
    std::thread worker(Work, feed, argc > 2 ? std::atol(argv[2]) : 0);
    sigwait(&interrupt, &result);
    result = client.Uninitialize();
    worker.join();
    Quorin_CloseFeed(feed);
    return result;
}
