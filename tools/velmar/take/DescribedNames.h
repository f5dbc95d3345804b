// The names of a recording's items, from the descriptions in it.
#ifndef VELMAR_TAKE_DESCRIBED_NAMES_H
#define VELMAR_TAKE_DESCRIBED_NAMES_H

#include <map>
#include <string>
#include <vector>

#include "capture/RecordedDescriptions.h"

// Maps give an empty name for what is not described.
struct DescribedNames {
    using Names = std::map<int, std::string>; // by id, or by index

    explicit DescribedNames(const RecordedDescriptions& descriptions);

    std::map<std::string, Names> markers; // by set
    Names rigidBodies;
    Names skeletons;
    std::map<int, Names> bones; // by skeleton
    bool simulated;             // then the labelled markers' words are known
};

#endif
