/* Reads frames from a feed and says when none comes, in C11.
 * Usage: watch_silence_c SERVER [FRAMES]; ends after so many frames (300 unless told otherwise).
 *
 * A feed is read on whatever thread it suits, here the main thread; nothing of this program runs on a thread of
 * the library. A wait that takes too long tells that the server is there (it has answered) but does not stream. */
#include <TarvoStream.h>

#include <stdio.h>
#include <stdlib.h>

enum { kTimedOut = 9, kPatienceMs = 2000, kKeptFrames = 64 };

/* Reads until so many frames have come, or the session has ended. */
static void Read(void* feed, long wanted) {
    static sFrameOfMocapData frame; /* 152 KB: not for the stack of a thread */
    long seen = 0;
    int result = 0;
    while (seen < wanted) {
        sForcePlates plates;
        result = Quorin_NextFrame(feed, kPatienceMs, &frame, &plates, NULL);
        if (result == kTimedOut) {
            printf("connected, but no frame for %d s\n", kPatienceMs / 1000);
            fflush(stdout);
            continue;
        }
        if (result != 0) return;
        printf("frame %d: %d labelled markers, %d force plates\n", frame.frameNumber, frame.labeledMarkerCount,
               plates.plateCount);
        Quorin_FreeFrame(&frame);
        ++seen;
    }
}

static int Failed(const char* what, int result) {
    if (result != 0) fprintf(stderr, "%s: %d\n", what, result);
    return result != 0;
}

int main(int argc, char** argv) {
    void* client = NULL;
    void* feed = NULL;
    int failed = 0;
    if (argc < 2) {
        fprintf(stderr, "usage: %s SERVER [FRAMES]\n", argv[0]);
        return 2;
    }
    if (Failed("no client", CreateClient(&client))) return 1;
    SetVerbosityLevel(client, 0); /* no log lines among the output */
    failed =
        Failed("no feed", Quorin_OpenFeed(client, kKeptFrames, &feed)) ||
        Failed("no stream from the server (10: it does not support this version)", Initialize(client, argv[1]));
    if (!failed) Read(feed, argc > 2 ? atol(argv[2]) : 300);
    Uninitialize(client);
    Quorin_CloseFeed(feed);
    return Failed("the client was not destroyed", DestroyClient(client)) || failed;
}
