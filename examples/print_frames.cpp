// Prints a line for every frame of a capture server.
// Usage: print_frames SERVER [FRAMES]; ends on Ctrl-C, or after so many frames.
//
// Frames arrive on a thread of the library, which calls OnFrame. The frame is valid during the call, and the next
// one waits meanwhile: take what you need and return. To end, OnFrame sends the process the signal that Ctrl-C
// sends; the main thread waits for it. It is blocked before the library starts its threads, so that they inherit
// that and nobody but the main thread takes it.
#include <TarvoSDKClient.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

struct Progress {
    long wanted; // 0: without end
    long seen;
};

void OnFrame(sFrameOfMocapData* frame, void* userData) {
    Progress& progress = *static_cast<Progress*>(userData);
    if (progress.wanted > 0 && progress.seen == progress.wanted) return;
    char timecode[32];
    Quorin_TimecodeStringify(frame->timecode, frame->timecodeSubframe, timecode, sizeof timecode);
    std::printf("frame %d at %s: %d marker sets, %d rigid bodies, %d skeletons, %d labelled markers, %d analog\n",
                frame->frameNumber, timecode, frame->markerSetCount, frame->rigidBodyCount, frame->skeletonCount,
                frame->labeledMarkerCount, frame->analogCount);
    if (++progress.seen == progress.wanted) kill(getpid(), SIGINT);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s SERVER [FRAMES]\n", argv[0]);
        return 2;
    }
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);

    Progress progress{argc > 2 ? std::atol(argv[2]) : 0, 0};
    TarvoSDKClient client;
    client.SetVerbosityLevel(0); // no log lines among the output
    if (const int result = client.SetDataCallback(OnFrame, &progress)) {
        std::fprintf(stderr, "the callback was not taken: %d\n", result);
        return 1;
    }
    if (const int result = client.Initialize(argv[1])) {
        std::fprintf(stderr, "no stream from %s: %s (%d)\n", argv[1],
                     result == 10 ? "it does not support this version" : "no answer", result);
        return 1;
    }
    int signal = 0;
    sigwait(&interrupt, &signal);
    return client.Uninitialize(); // no callback runs after this
}
