#include "TakeInterface.h"

#include <atomic>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "StopSignal.h"
#include "TakeArrays.h"
#include "TakeProperties.h"
#include "export/TableSize.h"
#include "take/Take.h"
#include "take/TakeFrames.h"

struct VelmarTake {
    std::atomic<bool> isStopped = false;
    std::string error;
    std::string properties;
    std::optional<Take> take;
    std::optional<TakeFrames> frames;
    long long latestNumber = 0;
};

namespace {

constexpr char kNoMemory[] = "there is not enough memory for the recording";

// Runs what may throw; the take gets the text of it.
template <typename Work>
bool Succeeds(VelmarTake& take, Work work) {
    const StopSignal::Request request(take.isStopped);
    try {
        try {
            work();
            return true;
        } catch (const std::bad_alloc&) {
            take.error = kNoMemory;
        } catch (const std::exception& failure) {
            take.error = failure.what();
        }
    } catch (...) { // no memory for the text itself
        take.error.clear();
    }
    return false;
}

std::optional<TakePoint> Point(std::int32_t kind, double value) {
    switch (kind) {
        case VelmarTakePoint_Number: return TakePoint{true, static_cast<long long>(value), 0};
        case VelmarTakePoint_Seconds: return TakePoint{false, 0, value};
        default: return std::nullopt;
    }
}

TakeOptions Options(const char* path, const VelmarTakeOptions& given) {
    TakeOptions options;
    options.file = path;
    options.range = {Point(given.fromKind, given.from), Point(given.toKind, given.to)};
    if (given.unloadedLast >= given.unloadedFirst)
        options.unloaded = FrameSpan{given.unloadedFirst, given.unloadedLast};
    if (given.rate > 0) options.rate = given.rate;
    options.names = {"start and stop", "unloaded=(FIRST, LAST)", "rate="};
    return options;
}

} // namespace

VelmarTake* VelmarTake_New() { return new (std::nothrow) VelmarTake; }

int VelmarTake_Open(VelmarTake* take, const char* path, const VelmarTakeOptions* options) {
    const bool opened = Succeeds(*take, [&] {
        take->take.emplace(Options(path, *options));
        CheckTableSize(*take->take, take->take->timeline.Slots(), TakeArrays::ValuesInSlot(*take->take));
        take->frames.emplace(*take->take, TakeFrames::Order::kSlots);
        take->properties = TakeProperties(*take->take);
    });
    return opened ? 0 : 1;
}

void VelmarTake_Stop(VelmarTake* take) { take->isStopped = true; }

const char* VelmarTake_Error(const VelmarTake* take) {
    return take->error.empty() ? kNoMemory : take->error.c_str();
}

const char* VelmarTake_Describe(const VelmarTake* take) { return take->properties.c_str(); }

const sServerDescription* VelmarTake_Server(const VelmarTake* take) { return &take->take->descriptions.server; }

const sDataDescriptions* VelmarTake_Descriptions(const VelmarTake* take) {
    return take->take->descriptions.list.get();
}

std::int64_t VelmarTake_Fill(VelmarTake* take, std::int64_t slots, const VelmarTakeArrays* arrays) {
    std::int64_t filled = 0;
    const bool isFilled = Succeeds(*take, [&] {
        TakeArrays rows(*take->take, *arrays, take->latestNumber);
        for (const TakeFrame* frame = nullptr; filled < slots && (frame = take->frames->Next()) != nullptr;
             ++filled)
            rows.Add(*frame);
        take->latestNumber = rows.LatestNumber();
    });
    return isFilled ? filled : -1;
}

void VelmarTake_Close(VelmarTake* take) { delete take; }
