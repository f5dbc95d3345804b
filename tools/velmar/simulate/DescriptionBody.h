// The description list of what is streamed, as the body of a reply.
#ifndef VELMAR_SIMULATE_DESCRIPTION_BODY_H
#define VELMAR_SIMULATE_DESCRIPTION_BODY_H

#include <string>
#include <vector>

#include "simulate/FrameComposer.h"

struct DescriptionBody {
    std::vector<unsigned char> bytes;
    int entries = 0;

    // What did not fit: a list holds 200 entries, a reply 300,000 bytes. One for each kind.
    struct Missing {
        std::string kind;
        std::string first; // names
        std::string last;
        int count;
    };
    std::vector<Missing> missing{};

    std::string LeftOut() const; // those in words, or nothing
};

// Force plates, which nothing can do without; then marker sets with the names of their markers, skeletons with
// their bones, the group of the labelled markers, and every free rigid body, in this order.
DescriptionBody DescribeStream(FrameComposer& composer);

#endif
