// What the account of a stream costs for each of its frames.
#include <cstring>
#include <memory>

#include "Loads.h"
#include "TarvoWire.h"
#include "parts/Pair.h"
#include "platform/Clock.h"
#include "transport/StreamLedger.h"

namespace {

// The datagrams of a load, as a receive brings them.
struct Datagrams {
    explicit Datagrams(const FrameLoad& load) : body(load.Encode()) {
        header.totalLength = static_cast<std::uint32_t>(body.size());
        header.type = PackageType_Frame;
    }
    std::size_t Count() const { return (body.size() + kMaxFragmentPayload - 1) / kMaxFragmentPayload; }

    Body body;
    tagPackageHeader header{kPackageMagic, 0, 0, 0, 0, 0, 0};
};

// The floor reads the clocks, which the times of a frame are made of, and counts nothing.
void RegisterLedger(const FrameLoad& load) {
    const auto ledger = std::make_shared<CStreamLedger>();
    ledger->Reset(0, 0);
    const Datagrams all(load);
    const auto ours = [ledger, datagrams = all, number = std::int32_t{0}]() mutable {
        const std::int64_t stamp = System::Now(CLOCK_REALTIME); // the kernel's, elsewhere
        std::memcpy(datagrams.body.data(), &++number, sizeof number);
        for (std::size_t i = 0; i < datagrams.Count(); ++i) {
            ledger->Received({nullptr, static_cast<unsigned int>(kMaxDatagramSize), 0, 0, stamp, 0});
            if (i == 0 && datagrams.Count() == 1) ledger->CameWhole(0);
            if (i == 0 && datagrams.Count() > 1)
                ledger->Begins(datagrams.header, std::span(datagrams.body).first(kMaxFragmentPayload), 0);
        }
        if (datagrams.Count() > 1) ledger->Messages().IsJoined(datagrams.header);
        benchmark::DoNotOptimize(ledger->LeftCallbacks(ledger->Deliver(number)));
    };
    RegisterPair("counting and stamping/" + load.name, ours, [] {
        for (const clockid_t clock : {CLOCK_REALTIME, CLOCK_MONOTONIC, CLOCK_REALTIME, CLOCK_MONOTONIC})
            benchmark::DoNotOptimize(System::Now(clock));
    });
}

} // namespace

void RegisterLedgers() {
    for (const FrameLoad& load : {kLoads[0], kLoads[2], kLoads[3]}) RegisterLedger(load);
}
