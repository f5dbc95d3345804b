// From the first datagram's departure to the callback.
#include "end_to_end/Bench.h"

void MeasureLatency(Bench& bench) {
    for (const FrameLoad& load : {kLoads[2], kLoads[3]}) {
        FrameSender sender(load);
        for (const int rate : {120, 1000}) {
            const int frames = (rate == 120 ? 180 : 500) / (bench.quick ? 3 : 1);
            const auto stream = [&](Receiver& receiver) {
                receiver.arrivals.Expect(frames);
                sender.Stream(receiver, frames, rate);
                Require(receiver.arrivals.Await(frames), "a frame is lost while latency is measured");
                return receiver.arrivals.Latencies();
            };
            bench.InTurn(
                "latency", load.name + " at " + std::to_string(rate) + " Hz", [&] { return stream(bench.client); },
                [&] { return stream(bench.bare); });
        }
    }
}
