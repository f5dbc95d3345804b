// Sequences of arbitrary datagrams through the dispatch of one running endpoint, in place of its receive thread.
#include <cstring>
#include <memory>
#include <vector>

#include "AppDataModel.h"
#include "client/GlobalObject.h"
#include "platform/AppCallBack.h"
#include "support/SameRecord.h"
#include "transport/CommandServer.h"

namespace {

// A record that was used before must be as a fresh one would be, in every byte.
void CheckRecord(sFrameOfMocapData& frame) {
    static std::vector<unsigned char> body(std::size_t{1} << 24); // as much as the counts allow
    CAppDataModel model;
    sFrameOfMocapData* fresh = nullptr;
    int length = 0;
    model.EncodeMocap(&frame, body.data(), length);
    if (model.DecodeMocap(body.data(), static_cast<unsigned int>(length), length, fresh) != 0) std::abort();
    if (!SameRecord(frame, *fresh)) std::abort();
    model.ReleaseMocap(fresh);
}

CCommandServer& Endpoint() {
    static CCommandServer* const endpoint = [] {
        COutputMessage::SetLevel(Verbosity_None);
        Application::CAppCallBack::SetStreamFunc([](sFrameOfMocapData* frame, void*) { CheckRecord(*frame); });
        auto* const started = new CCommandServer;
        // Sends nothing: no request is made, and nobody knows its port.
        if (started->Start(nullptr, "127.0.0.1", 1, true) != 0) std::abort();
        return started;
    }();
    return *endpoint;
}

void EmptyTheQueue() {
    CGlobalObject& global = CommonKit::TSingletons<CGlobalObject>::Instance();
    while (sFrameOfMocapData* const frame = global.readCache()) Quorin_FreeFrame(frame);
}

} // namespace

// The input is a list of {uint16 size, how the header is made, bytes}: a valid header lets the fuzzer get past
// the first checks.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kPrefix = 3;
    while (size >= kPrefix) {
        std::uint16_t length = 0;
        std::memcpy(&length, data, sizeof length);
        const bool mended = (data[2] & 1) != 0;
        const bool single = (data[2] & 2) != 0;
        data += kPrefix;
        size -= kPrefix;
        const std::size_t taken = std::min<std::size_t>(length, size);
        const std::unique_ptr<unsigned char[]> datagram(new unsigned char[taken]);
        std::memcpy(datagram.get(), data, taken);
        if (mended && taken >= kPackageHeaderSize) {
            tagPackageHeader header{};
            std::memcpy(&header, datagram.get(), sizeof header);
            header.magic = kPackageMagic;
            header.fragmentLength = static_cast<std::uint16_t>(taken - kPackageHeaderSize);
            if (single) header.totalLength = header.fragmentLength;
            std::memcpy(datagram.get(), &header, sizeof header);
        }
        Endpoint().DisposeStream("127.0.0.1", 9, datagram.get(), static_cast<unsigned int>(taken));
        data += taken;
        size -= taken;
    }
    EmptyTheQueue();
    return 0;
}
