// Hands frames to a thread of one's own, for work that takes longer than a callback may.
// Usage: worker_thread SERVER [FRAMES]; ends on Ctrl-C, or after so many frames.
//
// OnFrame may keep nothing of its frame, so it copies it with all arrays (Quorin_CopyFrame); whoever takes the
// copy releases it (Quorin_FreeFrame). A worker that falls behind misses frames rather than filling the memory.
// SIGINT is blocked in every thread, and the main thread waits for it.
#include <TarvoSDKClient.h>
#include <unistd.h>

#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

struct FreeCopy {
    void operator()(sFrameOfMocapData* frame) const {
        Quorin_FreeFrame(frame);
        delete frame;
    }
};
using FrameCopy = std::unique_ptr<sFrameOfMocapData, FreeCopy>;

class Worker {
public:
    explicit Worker(long wanted) : m_thread([this, wanted](const std::stop_token& stop) { Work(stop, wanted); }) {}

    static void OnFrame(sFrameOfMocapData* frame, void* self) {
        Worker& worker = *static_cast<Worker*>(self);
        FrameCopy copy(new sFrameOfMocapData());
        if (Quorin_CopyFrame(frame, copy.get()) != 0) return; // out of memory: this frame is missed
        const std::lock_guard lock(worker.m_mutex);
        if (worker.m_frames.size() < 64) worker.m_frames.push_back(std::move(copy));
        worker.m_arrived.notify_one();
    }

private:
    void Work(const std::stop_token& stop, long wanted) {
        for (long seen = 0; wanted == 0 || seen < wanted; ++seen) {
            std::unique_lock lock(m_mutex);
            if (!m_arrived.wait(lock, stop, [this] { return !m_frames.empty(); })) return;
            const FrameCopy frame = std::move(m_frames.front());
            m_frames.pop_front();
            lock.unlock();
            std::printf("frame %d: %d skeletons\n", frame->frameNumber, frame->skeletonCount); // the work
        }
        kill(getpid(), SIGINT);
    }

    std::mutex m_mutex;
    std::condition_variable_any m_arrived;
    std::deque<FrameCopy> m_frames; // guarded by m_mutex
    std::jthread m_thread;          // last: it ends before what it uses
};

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);

    Worker worker(argc > 2 ? std::atol(argv[2]) : 0); // outlives the client, which calls it
    TarvoSDKClient client;
    client.SetVerbosityLevel(0); // no log lines among the output
    int result = client.SetDataCallback(&Worker::OnFrame, &worker);
    if (result == 0) result = client.Initialize(argv[1]);
    if (result != 0) {
        std::fprintf(stderr, "no stream from %s: %d\n", argv[1], result);
        return 1;
    }
    sigwait(&interrupt, &result);
    return client.Uninitialize();
}
