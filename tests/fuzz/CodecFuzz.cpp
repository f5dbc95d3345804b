// Arbitrary bytes as a body: decoding, what follows it in an application, and releasing must end well. One
// program for each codec.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "AppDataModel.h"

namespace {

// An invariant of the library that does not hold.
void Require(bool holds) {
    if (!holds) std::abort();
}

#if defined(FUZZ_FRAME)
// A frame that decodes is encoded to the bytes it came from, and its copy is too.
void Try(const unsigned char* body, unsigned int size) {
    CAppDataModel model;
    sFrameOfMocapData* frame = nullptr;
    int consumed = -1;
    if (model.DecodeMocap(body, size, consumed, frame) == 0) {
        static sFrameOfMocapData copy;
        Require(Quorin_CopyFrame(frame, &copy) == 0);
        std::vector<unsigned char> encoded(static_cast<std::size_t>(consumed));
        for (sFrameOfMocapData* const same : {frame, &copy}) {
            int length = 0;
            model.EncodeMocap(same, encoded.data(), length);
            Require(length == consumed && std::memcmp(encoded.data(), body, encoded.size()) == 0);
        }
        Quorin_FreeFrame(&copy);
    } else {
        Require(consumed == -1);
    }
    model.ReleaseMocap(frame);
}
#elif defined(FUZZ_DESCRIPTION)
// A list that decodes is encoded to as many bytes; a marker set without markers loses its name on the way.
void Try(const unsigned char* body, unsigned int size) {
    CAppDataModel model;
    sDataDescriptions* list = nullptr;
    int consumed = -1;
    const int result = model.DecodeDescription(body, size, consumed, list);
    Require((result == 0) == (list != nullptr));
    if (list == nullptr) return;
    std::vector<unsigned char> encoded(static_cast<std::size_t>(consumed));
    int length = 0;
    model.EncodeDescription(list, encoded.data(), length);
    Require(length == consumed);
    model.ReleaseDescription(list);
}
#else
void Try(const unsigned char* body, unsigned int size) {
    CAppDataModel model;
    sPacket* packet = nullptr;
    int consumed = 0;
    Require(model.DecodeMedia(body, size, consumed, packet) == 0 && consumed == sizeof *packet);
    const auto* const image = reinterpret_cast<const unsigned char*>(packet);
    Require(size == 0 || std::memcmp(image, body, std::min<std::size_t>(size, sizeof *packet)) == 0);
    for (std::size_t i = size; i < sizeof *packet; i += 4096) Require(image[i] == 0);
    model.ReleaseMedia(packet);
}
#endif

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A block of its own, so that the sanitizer sees the first byte read past it.
    const std::unique_ptr<unsigned char[]> body(new unsigned char[size]);
    if (size > 0) std::memcpy(body.get(), data, size);
    Try(body.get(), static_cast<unsigned int>(size));
    return 0;
}
