// The library as an application meets it: a client between a sender and the callback.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <memory>

#include "end_to_end/Bench.h"

namespace {

struct Chapter {
    const char* name;
    void (*measure)(Bench&);
};
constexpr Chapter kChapters[] = {{"paced", MeasurePaced},         {"queued", MeasureQueued},
                                 {"in-step", MeasureReceivePath}, {"feeds", MeasureFeeds},
                                 {"latency", MeasureLatency},     {"queries", MeasureRoundTrip},
                                 {"rate", MeasureSustainedRate},  {"footprint", MeasureFootprint}};

std::vector<Row> Measure(bool quick, const std::string& only) {
    const bool twoCores = PinTo(Core::kReceiver);
    if (!twoCores) fmt::print(stderr, "one processor only: sender and receiver share it\n");
    BareLoop bare;
    PinTo(Core::kSender);
    const Server server;
    std::vector<Row> memory = MeasureMemory();
    StreamClient client;
    Bench bench{bare, client, quick, std::move(memory)};
    for (const auto& [name, measure] : kChapters)
        if (only.empty() || only == name) measure(bench);
    return bench.rows;
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): the parser's own set-up
int main(int argc, char** argv) {
    CLI::App app("Measures a client against a bare receive loop; to be run where nothing leaves the machine");
    bool quick = false;
    std::string file;
    std::string only;
    app.add_flag("--quick", quick, "Fewer and shorter repetitions");
    app.add_option("--only", only,
                   "One chapter: paced, queued, in-step, feeds, latency, queries, rate, footprint");
    app.add_option("--json", file, "Where the figures go")->required();
    CLI11_PARSE(app, argc, argv);
    try {
        std::ofstream(file) << nlohmann::json(Measure(quick, only)).dump(1) << '\n';
    } catch (const std::exception& error) {
        fmt::print(stderr, "end_to_end: {}\n", error.what());
        return 1;
    }
    return 0;
}
