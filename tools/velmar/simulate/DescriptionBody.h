// The description list of what is streamed, as the body of a reply.
#ifndef VELMAR_SIMULATE_DESCRIPTION_BODY_H
#define VELMAR_SIMULATE_DESCRIPTION_BODY_H

#include <vector>

#include "simulate/FrameComposer.h"

struct DescriptionBody {
    std::vector<unsigned char> bytes;
    int entries = 0;
    int leftOut = 0; // a list holds 200 entries, a reply 300,000 bytes
};

// Marker sets with the names of their markers, skeletons with their bones, force plates, the group of the
// labelled markers, and every free rigid body, in this order.
DescriptionBody DescribeStream(FrameComposer& composer);

#endif
