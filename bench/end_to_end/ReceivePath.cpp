// Processor time of the receive thread for a frame, wake-up included.
#include "end_to_end/Bench.h"

double ReceiveInStep(FrameSender& sender, Receiver& receiver, int frames) {
    receiver.arrivals.Expect(frames);
    for (int i = 1; i <= frames; ++i) {
        sender.Send(receiver);
        Require(receiver.arrivals.Await(i), "a frame is lost although nothing else is on the way");
    }
    return receiver.arrivals.ProcessorTime();
}

void MeasureReceivePath(Bench& bench) {
    constexpr int kFrames = 400;
    constexpr int kWarmUp = 40; // fills the library's queue
    const auto measure = [&](const std::string& what, const FrameLoad& load) {
        FrameSender sender(load);
        ReceiveInStep(sender, bench.client, kWarmUp);
        Row row{what, load.name, "us", {}, {}, ""};
        for (int i = 0; i < bench.Repetitions(); ++i) {
            row.ours.push_back(ReceiveInStep(sender, bench.client, kFrames));
            row.floor.push_back(ReceiveInStep(sender, bench.bare, kFrames));
        }
        bench.rows.push_back(row);
    };
    for (const FrameLoad& load : kLoads) measure("receive path", load);
    for (const int bodies : kGrowth) measure("receive path by bodies", Bodies(bodies));
}
