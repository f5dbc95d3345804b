/* The public headers and the shared library as a C program uses them. Exits with 0 when all holds. */
#include <stdio.h>
#include <string.h>

#include "TarvoSDKClient.h"
#include "TarvoStream.h"

static int failures;

static void Check(int holds, const char* what) {
    if (holds) return;
    ++failures;
    printf("failed: %s\n", what);
}

static void OnFrame(sFrameOfMocapData* frame, void* userData) {
    (void)frame;
    (void)userData;
}

static void CheckFrames(void) {
    static sFrameOfMocapData frame;
    static sFrameOfMocapData copy;
    sTriple marker = {1.0F, 2.0F, 3.0F};
    frame.otherMarkerCount = 1;
    frame.otherMarkers = &marker;
    Check(Quorin_CopyFrame(&frame, &copy) == 0 && copy.otherMarkers != &marker && copy.otherMarkers->z == 3.0F,
          "a copied frame has arrays of its own");
    Check(Quorin_FreeFrame(&copy) == 0 && copy.otherMarkers == NULL, "a freed frame is zero");
}

static void CheckStream(void* client) {
    static sFrameOfMocapData frame;
    sFrameTimes times;
    sStreamStatistics statistics = {.size = sizeof statistics};
    void* feed = NULL;
    Check(Quorin_OpenFeed(client, TARVO_MAX_FEED_FRAMES, &feed) == 0 && feed != NULL, "a feed is opened");
    Check(Quorin_NextFrame(feed, 0, &frame, NULL, &times) == 9, "no frame waits in it");
    Check(Quorin_FeedDescriptor(feed) >= 0, "it can be polled");
    Check(Quorin_CloseFeed(feed) == 0 && Quorin_NextFrame(feed, 0, &frame, NULL, NULL) == 2, "a feed is closed");
    Check(Quorin_GetStreamStatistics(client, &statistics) == 0 && statistics.size == sizeof statistics &&
              statistics.interfaceState == StreamNotJoined && statistics.datagrams == 0,
          "an idle client has seen nothing");
}

int main(void) {
    void* client = NULL;
    unsigned char version[4] = {0};
    char text[16];
    sDataDescriptions* descriptions = NULL;
    Check(CreateClient(&client) == 0 && client != NULL, "a client is created");
    Check(TarvoVersion(client, version) == 0 && memcmp(version, "\2\5\34\113", 4) == 0,
          "the version is 2.5.28.75");
    Check(SetDataCallback(client, OnFrame, NULL) == 0, "a callback is taken");
    Check(GetDataDescriptions(client, &descriptions) == 10, "no query before a server has accepted the version");
    Check(TimecodeStringify(client, 0x01020304U, 5U, text, sizeof text) == 1 && strcmp(text, "01:02:03:04.5") == 0,
          "a timecode is printed");
    Check(GetLastFrameOfMocapData(client) == NULL, "no frame has come");
    CheckFrames();
    CheckStream(client);
    Check(DestroyClient(client) == 0, "the client is destroyed");
    return failures == 0 ? 0 : 1;
}
