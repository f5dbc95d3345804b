#include "client/GlobalObject.h"

#include <algorithm>
#include <array>

namespace {
constexpr std::array<unsigned char, 4> kLibraryVersion{2, 5, 28, 75};
}

void CGlobalObject::GetVersion(unsigned char* version) const {
    std::copy(kLibraryVersion.begin(), kLibraryVersion.end(), version);
}
