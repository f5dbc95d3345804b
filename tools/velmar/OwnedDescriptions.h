// A description list of the library's, released with its owner.
#ifndef VELMAR_OWNED_DESCRIPTIONS_H
#define VELMAR_OWNED_DESCRIPTIONS_H

#include <memory>

#include "TarvoSDKClient.h"

struct ReleaseDescriptions {
    void operator()(sDataDescriptions* list) const { Quorin_FreeDescriptions(list); }
};
using OwnedDescriptions = std::unique_ptr<sDataDescriptions, ReleaseDescriptions>;

#endif
