#include "capture/RecordedDescriptions.h"

#include <algorithm>

#include "AppDataModel.h"

RecordedDescriptions::RecordedDescriptions(const Recording& recording) {
    if (recording.server)
        std::copy_n(recording.server->begin(), std::min(recording.server->size(), sizeof server.bytes),
                    server.bytes);
    if (!recording.descriptions) return;
    sDataDescriptions* decoded = nullptr;
    int length = 0;
    const std::vector<unsigned char>& body = *recording.descriptions;
    CAppDataModel().DecodeDescription(body.data(), static_cast<unsigned int>(body.size()), length, decoded);
    list.reset(decoded);
}
