// What the server of a recording said of itself and of its frames.
#ifndef VELMAR_CAPTURE_RECORDED_DESCRIPTIONS_H
#define VELMAR_CAPTURE_RECORDED_DESCRIPTIONS_H

#include <memory>

#include "TarvoSDKClient.h"
#include "capture/Recording.h"

struct RecordedDescriptions {
    explicit RecordedDescriptions(const Recording& recording);

    struct Release {
        void operator()(sDataDescriptions* owned) const { Quorin_FreeDescriptions(owned); }
    };

    sServerDescription server{};                      // zero when there is none
    std::unique_ptr<sDataDescriptions, Release> list; // null when there is none, or an unusable one
};

#endif
