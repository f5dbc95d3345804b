/* Prints the bones of the first skeleton of every frame, in C11 with the plain functions.
 * Usage: print_frames_c SERVER [FRAMES]; ends on Ctrl-C, or after so many frames.
 *
 * A client is a handle from CreateClient to DestroyClient. Every function gives 0 for success. OnFrame runs on a
 * thread of the library. It ends the program with the signal that Ctrl-C sends, for which the main thread waits;
 * the signal is blocked before the library starts its threads, so that they inherit that. */
#define _POSIX_C_SOURCE 200809L /* signals and kill, which C itself does not have */
#include <TarvoSDKClient.h>

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

struct Progress {
    long wanted; /* 0: without end */
    long seen;
};

static void OnFrame(sFrameOfMocapData* frame, void* userData) {
    struct Progress* progress = userData;
    if (progress->wanted > 0 && progress->seen == progress->wanted) return;
    printf("frame %d: %d skeletons\n", frame->frameNumber, frame->skeletonCount);
    if (frame->skeletonCount > 0) {
        const sSkeletonSample* skeleton = &frame->skeletons[0];
        for (int i = 0; i < skeleton->rigidBodyCount; ++i) {
            const sRigidBodySample* bone = &skeleton->rigidBodies[i];
            printf("  bone %d at %.3f %.3f %.3f\n", bone->id, bone->position[0], bone->position[1],
                   bone->position[2]);
        }
    }
    if (++progress->seen == progress->wanted) kill(getpid(), SIGINT);
}

static int Failed(const char* what, int result) {
    if (result != 0) fprintf(stderr, "%s: %d\n", what, result);
    return result != 0;
}

static int Run(void* client, char* server, struct Progress* progress) {
    sigset_t stop;
    int signal = 0;
    sigemptyset(&stop);
    sigaddset(&stop, SIGINT);
    sigprocmask(SIG_BLOCK, &stop, NULL);
    if (Failed("the level was not taken", SetVerbosityLevel(client, 0))) return 1; /* no log lines in between */
    if (Failed("the callback was not taken", SetDataCallback(client, OnFrame, progress))) return 1;
    if (Failed("no stream from the server (10: it does not support this version)", Initialize(client, server)))
        return 1;
    sigwait(&stop, &signal);
    return Failed("the session did not end", Uninitialize(client));
}

int main(int argc, char** argv) {
    struct Progress progress = {argc > 2 ? atol(argv[2]) : 0, 0};
    void* client = NULL;
    int failed = 0;
    if (argc < 2) {
        fprintf(stderr, "usage: %s SERVER [FRAMES]\n", argv[0]);
        return 2;
    }
    if (Failed("no client", CreateClient(&client))) return 1;
    failed = Run(client, argv[1], &progress);
    return Failed("the client was not destroyed", DestroyClient(client)) || failed;
}
