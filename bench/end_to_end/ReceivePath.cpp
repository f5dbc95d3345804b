// Processor time of the receive thread for a frame, wake-up included, in the three rhythms in which frames come.
#include "end_to_end/Bench.h"

double ReceiveInStep(FrameSender& sender, Receiver& receiver, int frames) {
    receiver.arrivals.Expect(frames);
    for (int i = 1; i <= frames; ++i) {
        sender.Send(receiver);
        Require(receiver.arrivals.Await(i), "a frame is lost although nothing else is on the way");
    }
    return receiver.arrivals.ProcessorTime();
}

double ReceivePaced(FrameSender& sender, Receiver& receiver, int frames, int rate) {
    receiver.arrivals.Expect(frames);
    sender.Stream(receiver, frames, rate);
    Require(receiver.arrivals.Await(frames), "a frame is lost although there is time for it");
    return receiver.arrivals.ProcessorTime();
}

double ReceiveQueued(FrameSender& sender, Receiver& receiver, int rounds) {
    constexpr int kDatagrams = 120;
    const int frames = 1 + kDatagrams / sender.Datagrams();
    Arrivals& arrivals = receiver.arrivals;
    double sum = 0;
    for (int i = 0; i < rounds; ++i) {
        arrivals.Expect(frames);
        arrivals.HoldFirst();
        sender.Send(receiver);
        arrivals.AwaitHeld();
        for (int k = 1; k < frames; ++k) sender.Send(receiver);
        arrivals.Release();
        Require(arrivals.Await(frames), "a frame is lost although there is room for it");
        sum += arrivals.ProcessorTime();
    }
    return sum / rounds;
}

namespace {

constexpr int kFillsTheQueue = 40; // of the library, which then lets a frame go for each that comes

} // namespace

void MeasureReceivePath(Bench& bench) {
    constexpr int kFrames = 400;
    const auto measure = [&](const std::string& what, const FrameLoad& load) {
        FrameSender sender(load);
        ReceiveInStep(sender, bench.client, kFillsTheQueue);
        bench.InTurn(what, load, bench.Repetitions(),
                     [&](Receiver& receiver) { return ReceiveInStep(sender, receiver, kFrames); });
    };
    for (const FrameLoad& load : kLoads) measure("in step", load);
    for (const int bodies : kGrowth) measure("in step by bodies", Bodies(bodies));
}

void MeasurePaced(Bench& bench) {
    struct Pace {
        const char* what;
        int rate;
        int frames;
    };
    for (const Pace& pace : {Pace{"paced at 120 Hz", 120, 90}, Pace{"paced at 1 kHz", 1000, 500}})
        for (const FrameLoad& load : {kLoads[0], kLoads[2], kLoads[3]}) {
            FrameSender sender(load);
            ReceiveInStep(sender, bench.client, kFillsTheQueue);
            bench.InTurn(pace.what, load, bench.quick ? 3 : 5, [&](Receiver& receiver) {
                return ReceivePaced(sender, receiver, pace.frames / (bench.quick ? 3 : 1), pace.rate);
            });
        }
}

void MeasureQueued(Bench& bench) {
    for (const FrameLoad& load : {kLoads[2], kLoads[3]}) {
        FrameSender sender(load);
        ReceiveInStep(sender, bench.client, kFillsTheQueue);
        bench.InTurn("queued", load, bench.Repetitions(),
                     [&](Receiver& receiver) { return ReceiveQueued(sender, receiver, 40); });
    }
}
