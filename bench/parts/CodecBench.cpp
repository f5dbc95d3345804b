// Decode and release of frames and of description lists, and the copy of frames.
#include <memory>

#include "AppDataModel.h"
#include "model/FrameStore.h"
#include "parts/Floor.h"
#include "parts/Pair.h"

namespace {

sFrameOfMocapData* Decode(const Body& body) {
    sFrameOfMocapData* frame = nullptr;
    int length = 0;
    CAppDataModel().DecodeMocap(body.data(), static_cast<unsigned int>(body.size()), length, frame);
    return frame;
}

void Release(sFrameOfMocapData* frame) { CAppDataModel().ReleaseMocap(frame); }

// The floor zeroes the record, as the record must be, and holds every byte of the body once.
void RegisterDecode(const std::string& what, const FrameLoad& load) {
    const Body body = load.Encode();
    const auto ours = [body] { Release(Decode(body)); };
    RegisterPair(what + "/" + load.name, ours, Floor(Allocations(ours), body, true));
}

// As the dispatch does it, with a kept record, beside the same floor.
void RegisterDispatch(const FrameLoad& load) {
    const Body body = load.Encode();
    const auto plain = [body] { Release(Decode(body)); };
    const auto ours = [body] {
        CFrameStore& store = CFrameStore::Instance();
        store.GiveBack(store.Decode(body.data(), static_cast<unsigned int>(body.size())));
    };
    RegisterPair("decode in dispatch/" + load.name, ours, Floor(Allocations(plain), body, true));
}

// The floor zeroes the list and nothing of the records in it.
void RegisterDescriptions(const std::string& name, const Body& body) {
    const auto ours = [body] {
        sDataDescriptions* list = nullptr;
        int length = 0;
        CAppDataModel().DecodeDescription(body.data(), static_cast<unsigned int>(body.size()), length, list);
        CAppDataModel().ReleaseDescription(list);
    };
    RegisterPair("descriptions/" + name, ours, Floor(Allocations(ours), body, true));
}

// Beside the arrays, the floor copies the record and zeroes it as a released one must be.
void RegisterCopy(const FrameLoad& load) {
    const std::shared_ptr<sFrameOfMocapData> source(Decode(load.Encode()), Release);
    const auto copy = std::make_shared<sFrameOfMocapData>();
    const auto ours = [source, copy] {
        Quorin_CopyFrame(source.get(), copy.get());
        benchmark::ClobberMemory();
        Quorin_FreeFrame(copy.get());
    };
    const auto sizes = Allocations(ours);
    std::size_t bytes = 0;
    for (const std::size_t size : sizes) bytes += size;
    RegisterPair("copy and free/" + load.name, ours,
                 [source, copy, arrays = Floor(sizes, Body(bytes, 1), false)]() mutable {
                     std::memcpy(static_cast<void*>(copy.get()), source.get(), sizeof *copy);
                     arrays();
                     std::memset(static_cast<void*>(copy.get()), 0, sizeof *copy);
                     benchmark::ClobberMemory();
                 });
}

} // namespace

void RegisterCodecs() {
    for (const FrameLoad& load : kLoads) RegisterDecode("decode", load);
    for (const FrameLoad& load : kLoads) RegisterDispatch(load);
    for (const FrameLoad& load : kLoads) RegisterCopy(load);
    for (const int bodies : kGrowth) RegisterDecode("decode by bodies", Bodies(bodies));
    RegisterDescriptions("person", DescribeFigures(1, 53, 2));
    RegisterDescriptions("stage", DescribeFigures(10, 1000, 4));
}
