// The version and timecode helpers that need no client.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "TarvoSDKClient.h"
#include "client/GlobalObject.h"

void Quorin_GetVersion(unsigned char* version) {
    CommonKit::TSingletons<CGlobalObject>::Instance().GetVersion(version);
}

int Quorin_DecodeTimecode(unsigned int timecode, unsigned int subframe, int* hours, int* minutes, int* seconds,
                          int* frames, int* subframeOut) {
    if (hours == nullptr || minutes == nullptr || seconds == nullptr || frames == nullptr ||
        subframeOut == nullptr)
        return 0;
    *hours = static_cast<int>(timecode >> 24);
    *minutes = static_cast<int>((timecode >> 16) & 0xFF);
    *seconds = static_cast<int>((timecode >> 8) & 0xFF);
    *frames = static_cast<int>(timecode & 0xFF);
    *subframeOut = static_cast<int>(subframe);
    return 1;
}

int Quorin_TimecodeStringify(unsigned int timecode, unsigned int subframe, char* buffer, int bufferSize) {
    if (buffer == nullptr || bufferSize < 1) return 0;
    std::snprintf(buffer, static_cast<std::size_t>(bufferSize), "%2u:%2u:%2u:%2u.%d", timecode >> 24,
                  (timecode >> 16) & 0xFF, (timecode >> 8) & 0xFF, timecode & 0xFF, static_cast<int>(subframe));
    std::replace(buffer, buffer + std::strlen(buffer), ' ', '0');
    return 1;
}
