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

} // namespace

std::vector<Row> MeasureMemory() {
    constexpr int kClients = 8;
    constexpr int kFillsTheQueue = 40;
    const double resident = Status("VmRSS:");
    const double size = Status("VmSize:");
    const auto row = [](const std::string& what, double now, double before, int clients) {
        return Row{"memory of a client", what, "KiB", {(now - before) / clients}, {}, ""};
    };
    std::vector<Row> rows;
    std::vector<std::unique_ptr<StreamClient>> clients;
    clients.push_back(std::make_unique<StreamClient>());
    FrameSender person(kLoads[2]);
    ReceiveInStep(person, *clients.front(), kFillsTheQueue);
    rows.push_back(row("resident, queue full of persons", Status("VmRSS:"), resident, 1));
    const double first = Status("VmRSS:");
    while (clients.size() <= kClients) clients.push_back(std::make_unique<StreamClient>());
    rows.push_back(row("resident, each further one", Status("VmRSS:"), first, kClients));
    rows.push_back(row("virtual", Status("VmSize:"), size, kClients + 1));
    return rows;
}

void MeasureFootprint(Bench& bench) {
    CountLosses(bench);
    MeasureIdle(bench);
}
