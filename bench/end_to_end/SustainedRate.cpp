// How fast frames may come before the first one is lost.
#include <algorithm>

#include "end_to_end/Bench.h"

namespace {

// Frames at this rate for so many seconds: whether all came, and the rate that the sender reached.
bool Sustains(FrameSender& sender, Receiver& receiver, double rate, double seconds, double& achieved) {
    const int frames = std::max(static_cast<int>(rate * seconds), 1);
    receiver.arrivals.Expect(frames);
    achieved = sender.Stream(receiver, frames, rate);
    return receiver.arrivals.Await(frames);
}

// Steps of so many seconds, each a quarter faster than the one before, until a frame is lost twice running: once
// may be another process's turn on the core. `limited`: the sender could not go on before that.
double Raise(FrameSender& sender, Receiver& receiver, double stepSeconds, bool& limited) {
    double reached = 0;
    for (double rate = 3e5 / ReceiveInStep(sender, receiver, 50);; rate *= 1.25) {
        double achieved = 0;
        const bool sustained = Sustains(sender, receiver, rate, stepSeconds, achieved) ||
                               Sustains(sender, receiver, rate, stepSeconds, achieved);
        limited = achieved < 0.9 * rate;
        if (sustained) reached = std::max(reached, achieved);
        if (!sustained || limited) return reached;
    }
}

} // namespace

void MeasureSustainedRate(Bench& bench) {
    for (const FrameLoad& load : kLoads) {
        FrameSender sender(load);
        Row row{"sustained rate", load.name, "Hz", {}, {}, ""};
        bool limited = false;
        for (int i = 0; i < (bench.quick ? 1 : 3); ++i) {
            const double stepSeconds = bench.quick ? 0.1 : 0.2;
            row.ours.push_back(Raise(sender, bench.client, stepSeconds, limited));
            row.note += limited ? "sender " : "receiver ";
            row.floor.push_back(Raise(sender, bench.bare, stepSeconds, limited));
            row.note += limited ? "(sender) " : "(receiver) ";
        }
        row.note = "limited by " + row.note;
        bench.rows.push_back(row);
    }
}
