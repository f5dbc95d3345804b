/* Frames in a program that lives in an event loop, in C11: beside them it watches its standard input.
 * Usage: event_loop_c SERVER [FRAMES]; ends on a line of input, or after so many frames. Input that is closed
 * counts as none.
 *
 * The descriptor of a feed is readable while frames wait, so it goes into poll, epoll or whatever the loop is
 * built on. It is only watched: frames are taken with Quorin_NextFrame, which does not wait here. */
#define _POSIX_C_SOURCE 200809L /* poll, which C itself does not have */
#include <TarvoStream.h>

#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

enum { kTimedOut = 9, kKeptFrames = 64 };

/* Takes what waits. 0, or what ended the stream. */
static int TakeFrames(void* feed, long* left) {
    static sFrameOfMocapData frame;
    int result = 0;
    while (*left > 0 && (result = Quorin_NextFrame(feed, 0, &frame, NULL, NULL)) == 0) {
        printf("frame %d\n", frame.frameNumber);
        Quorin_FreeFrame(&frame);
        --*left;
    }
    return result == kTimedOut ? 0 : result;
}

/* True when a line came; what is closed is not watched any more. */
static int TakeInput(struct pollfd* input) {
    char text[256];
    if ((input->revents & (POLLIN | POLLHUP)) == 0) return 0;
    if (read(input->fd, text, sizeof text) > 0) return 1;
    input->fd = -1;
    return 0;
}

static int Loop(void* feed, long left) {
    struct pollfd watched[2] = {{-1, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    watched[0].fd = Quorin_FeedDescriptor(feed);
    if (watched[0].fd == -1) return 1;
    while (left > 0) {
        if (poll(watched, 2, -1) < 0) return 1;
        if (TakeInput(&watched[1])) return 0;
        if ((watched[0].revents & POLLIN) != 0 && TakeFrames(feed, &left) != 0) return 0;
    }
    return 0;
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
        Failed("no stream from the server (10: it does not support this version)", Initialize(client, argv[1])) ||
        Failed("the loop failed", Loop(feed, argc > 2 ? atol(argv[2]) : 1000000));
    Uninitialize(client);
    Quorin_CloseFeed(feed);
    return Failed("the client was not destroyed", DestroyClient(client)) || failed;
}
