// Losses behind a slow callback, and what a client costs that does nothing.
#include <fstream>
#include <memory>

#include "end_to_end/Bench.h"

namespace {

void CountLosses(Bench& bench) {
    constexpr int kRate = 1000;
    constexpr std::int64_t kHoldNs = 200000;
    const int frames = kRate * (bench.quick ? 2 : 10);
    FrameSender sender(kLoads[3]);
    Arrivals& arrivals = bench.client.arrivals;
    arrivals.Expect(frames, kHoldNs);
    const int rate = static_cast<int>(sender.Stream(bench.client, frames, kRate));
    arrivals.Await(frames);
    const double lost = frames - arrivals.Count();
    bench.rows.push_back({"lost frames",
                          "stage at 1 kHz, 0.2 ms each",
                          "",
                          {lost},
                          {},
                          "of " + std::to_string(frames) + ", sent at " + std::to_string(rate) + " Hz"});
}

void MeasureIdle(Bench& bench) {
    const std::int64_t before = Now(CLOCK_PROCESS_CPUTIME_ID);
    const timespec idle{2, 0};
    nanosleep(&idle, nullptr);
    const auto spent = static_cast<double>(Now(CLOCK_PROCESS_CPUTIME_ID) - before);
    bench.rows.push_back({"idle client", "2 s", "us", {spent / 1e3}, {}, "of the process, this sleep included"});
}

// A figure of the process in KiB.
double Status(const std::string& name) {
    std::ifstream status("/proc/self/status");
    double value = 0;
    for (std::string word; status >> word;)
        if (word == name && status >> value) break;
    return value;
}

void MeasureMemory(Bench& bench) {
    constexpr int kClients = 8;
    const double resident = Status("VmRSS:");
    const double size = Status("VmSize:");
    std::vector<std::unique_ptr<StreamClient>> clients(kClients);
    for (auto& client : clients) client = std::make_unique<StreamClient>();
    const auto each = [](double now, double before) { return std::vector<double>{(now - before) / kClients}; };
    bench.rows.push_back({"memory of a client", "resident", "KiB", each(Status("VmRSS:"), resident), {}, ""});
    bench.rows.push_back({"memory of a client", "virtual", "KiB", each(Status("VmSize:"), size), {}, ""});
}

} // namespace

void MeasureFootprint(Bench& bench) {
    CountLosses(bench);
    MeasureIdle(bench);
    MeasureMemory(bench);
}
