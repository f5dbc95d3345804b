// The names of a recording's items, from the descriptions in it.
#ifndef VELMAR_EXPORT_DESCRIBED_NAMES_H
#define VELMAR_EXPORT_DESCRIBED_NAMES_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "TarvoSDKClient.h"
#include "capture/Recording.h"

// Maps give an empty name for what is not described.
struct DescribedNames {
    using Names = std::map<int, std::string>; // by id, or by index

    explicit DescribedNames(const Recording& recording);

    std::map<std::string, Names> markers; // by set
    Names rigidBodies;
    Names skeletons;
    std::map<int, Names> bones; // by skeleton
    bool simulated = false;     // then the labelled markers' words are known

    struct Release {
        void operator()(sDataDescriptions* owned) const { Quorin_FreeDescriptions(owned); }
    };
    std::unique_ptr<sDataDescriptions, Release> list; // null when there is none, or an unusable one
};

#endif
