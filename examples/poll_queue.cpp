// Reads frames from the library's queue in a loop of its own, as a program that draws or controls at its own pace
// does, and prints where the first marker of each frame is.
// Usage: poll_queue SERVER [FRAMES]; ends on Ctrl-C, or after so many frames.
//
// The queue keeps the newest 32 frames, so a loop that is too slow misses the oldest. GetLastFrameOfMocapData
// gives null when there is none. The record it returns is the library's and the next call overwrites it; the
// arrays in it are released by the caller before that. One thread only may read.
#include <TarvoSDKClient.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

std::atomic<bool> stopped{false};

void OnSignal(int) { stopped = true; }

void Print(const sFrameOfMocapData& frame) {
    if (frame.markerSetCount == 0 || frame.markerSets[0].markerCount == 0) {
        std::printf("frame %d: no marker sets\n", frame.frameNumber);
        return;
    }
    const sMarkerSetSample& set = frame.markerSets[0];
    const sTriple& marker = set.markers[0];
    // A name fills its buffer without a zero when it is that long.
    std::printf("frame %d: %.*s at %.3f %.3f %.3f\n", frame.frameNumber, static_cast<int>(sizeof set.name),
                set.name, marker.x, marker.y, marker.z);
}

// Prints and releases what has come since the last time; false when that failed.
bool Drain(TarvoSDKClient& client, long wanted, long& seen) {
    while (wanted == 0 || seen < wanted) {
        sFrameOfMocapData* const frame = client.GetLastFrameOfMocapData();
        if (frame == nullptr) return true;
        Print(*frame);
        ++seen;
        if (client.TarvoFreeFrame(frame) != 0) return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s SERVER [FRAMES]\n", argv[0]);
        return 2;
    }
    std::signal(SIGINT, OnSignal);
    TarvoSDKClient client;
    client.SetVerbosityLevel(0); // no log lines among the output
    if (const int result = client.Initialize(argv[1])) {
        std::fprintf(stderr, "no stream from %s: %d\n", argv[1], result);
        return 1;
    }
    const long wanted = argc > 2 ? std::atol(argv[2]) : 0;
    long seen = 0;
    while (!stopped && (wanted == 0 || seen < wanted)) {
        if (!Drain(client, wanted, seen)) return 1;
        std::this_thread::sleep_for(std::chrono::milliseconds(10)); // here a program does its own work
    }
    return client.Uninitialize();
}
