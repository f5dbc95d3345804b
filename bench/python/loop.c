/* What reading a feed costs without Python: the same frames of the same feed, the same values of each. */
#include "TarvoStream.h"

/* Reads count frames, each waited for up to timeoutMs, and tells how many it got. The sum keeps the reading of the
 * positions from being left out. */
int ReadFrames(void* feed, int count, unsigned int timeoutMs, double* sum) {
    static sFrameOfMocapData frame;
    static sForcePlates plates;
    sFrameTimes times;
    int taken = 0;
    while (taken < count && Quorin_NextFrame(feed, timeoutMs, &frame, &plates, &times) == 0) {
        for (int i = 0; i < frame.skeletons[0].rigidBodyCount; ++i)
            *sum += frame.skeletons[0].rigidBodies[i].position[0];
        Quorin_FreeFrame(&frame);
        ++taken;
    }
    return taken;
}
