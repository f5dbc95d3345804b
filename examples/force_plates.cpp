// Prints what the force plates measure: force, centre of pressure and free moment, in the capture volume's axes.
// Usage: force_plates SERVER [FRAMES]; ends on Ctrl-C, or after so many frames.
//
// The library computes the plates from the analog channels once it knows their placement and calibration, which
// WaitForForcePlateInit asks the server for. The first frame after that is taken as unloaded: nobody should stand
// on the plates. OnPlates runs on a thread of the library and ends the program with the signal that Ctrl-C sends,
// for which the main thread waits; blocked early, the signal reaches none of the library's threads.
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

void OnPlates(sForcePlates* plates, void* userData) {
    Progress& progress = *static_cast<Progress*>(userData);
    if (progress.wanted > 0 && progress.seen == progress.wanted) return;
    for (int i = 0; i < plates->plateCount; ++i) {
        const sForcePlateSample& plate = plates->plates[i];
        std::printf("frame %d plate %d: force %.1f %.1f %.1f at %.3f %.3f %.3f, free moment %.2f\n",
                    plates->frameNumber, i + 1, plate.force[0], plate.force[1], plate.force[2],
                    plate.centerOfPressure[0], plate.centerOfPressure[1], plate.centerOfPressure[2],
                    plate.freeMoment);
    }
    if (++progress.seen == progress.wanted) kill(getpid(), SIGINT);
}

// Whether the server has said that there are plates: a start of the computation succeeds without one.
bool DescribesPlates(TarvoSDKClient& client) {
    sDataDescriptions* list = nullptr;
    if (client.GetDataDescriptions(&list) != 0 || list == nullptr) return false;
    bool found = false;
    for (int i = 0; i < list->descriptionCount; ++i) found = found || list->descriptions[i].type == DescForcePlate;
    client.FreeDataDescriptions(list);
    return found;
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
    if (const int result = client.SetForcePlateCallback(OnPlates, &progress)) {
        std::fprintf(stderr, "the callback was not taken: %d\n", result);
        return 1;
    }
    if (const int result = client.Initialize(argv[1])) {
        std::fprintf(stderr, "no stream from %s: %d\n", argv[1], result);
        return 1;
    }
    constexpr long kPatienceMs = 10000;
    if (const int result = client.WaitForForcePlateInit(kPatienceMs)) {
        std::fprintf(stderr, "%s gives no usable descriptions: %d\n", argv[1], result);
        return 1;
    }
    if (!DescribesPlates(client)) {
        std::fprintf(stderr, "%s describes no force plates\n", argv[1]);
        return 1;
    }
    int signal = 0;
    sigwait(&interrupt, &signal);
    return client.Uninitialize(); // no callback runs after this
}
