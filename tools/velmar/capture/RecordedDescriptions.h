// What the server of a recording said of itself and of its frames.
#ifndef VELMAR_CAPTURE_RECORDED_DESCRIPTIONS_H
#define VELMAR_CAPTURE_RECORDED_DESCRIPTIONS_H

#include "OwnedDescriptions.h"
#include "TarvoSDKClient.h"
#include "capture/Recording.h"

struct RecordedDescriptions {
    explicit RecordedDescriptions(const Recording& recording);

    sServerDescription server{}; // zero when there is none
    OwnedDescriptions list;      // null when there is none, or an unusable one
};

#endif
