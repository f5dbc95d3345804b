// Arbitrary bytes as a body: decoding, what follows it in an application, and releasing must end well. One
// program for each codec.
#include <sanitizer/asan_interface.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "AppDataModel.h"

namespace {

// An invariant of the library that does not hold.
void Require(bool holds) {
    if (!holds) std::abort();
}

// Where the one big record of a run lives: the sanitizer's own heap would map it anew each time, which takes ten
// times as long as all the rest. Forbidden while no record is in it, and around it always.
struct RecordSlot {
    static constexpr std::size_t kBig = 100'000; // only the records of a frame and of a reply are bigger
    static constexpr std::size_t kFence = 4096;

    void* Take(std::size_t size) {
        Require(!busy && size + 2 * kFence <= sizeof memory);
        busy = true;
        ASAN_POISON_MEMORY_REGION(memory, sizeof memory);
        ASAN_UNPOISON_MEMORY_REGION(memory + kFence, size);
        return memory + kFence;
    }
    bool Give(const void* record) {
        if (record != memory + kFence) return false;
        Require(busy);
        busy = false;
        ASAN_POISON_MEMORY_REGION(memory, sizeof memory);
        return true;
    }

    alignas(16) unsigned char memory[400'000];
    bool busy;
};
RecordSlot slot; // of constant initialisation: there before the first allocation

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

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return size > RecordSlot::kBig ? slot.Take(size) : std::malloc(size);
}
void* operator new(std::size_t size) { return std::malloc(size); }
void operator delete(void* memory) noexcept {
    if (!slot.Give(memory)) std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept { operator delete(memory); }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A block of its own, so that the sanitizer sees the first byte read past it.
    const std::unique_ptr<unsigned char[]> body(new unsigned char[size]);
    if (size > 0) std::memcpy(body.get(), data, size);
    Try(body.get(), static_cast<unsigned int>(size));
    Require(!slot.busy);
    return 0;
}
