// Puts the figures of the parts and of the whole into one table of medians, and their raw values into one file.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <map>

#include "Row.h"

namespace {

// What a row, or one load of it, is wanted to be: a ratio, or a value where it has no floor.
const std::map<std::string, double> kWanted = {
    {"decode", 1.25},
    {"decode in dispatch/empty", 0.3},
    {"decode in dispatch/person", 0.6},
    {"decode in dispatch/stage", 1.3},
    {"descriptions", 1.25},
    {"copy and free", 1.15},
    {"paced at 120 Hz/empty", 1.3},
    {"paced at 120 Hz/person", 1.0},
    {"paced at 120 Hz/stage", 0.8},
    {"paced at 1 kHz/empty", 1.3},
    {"paced at 1 kHz/person", 1.0},
    {"paced at 1 kHz/stage", 0.8},
    {"queued/person", 0.7},
    {"queued/stage", 0.5},
    {"latency p50", 1.1},
    {"latency p99", 1.1},
    {"query p50", 1.5},
    {"lost frames", 0},
    {"idle client", 10000}, // one tick of the clock
    {"memory of a client/resident, queue full of persons", 2048},
};

// Repetitions of a part's "what/load/side", which come shuffled, become a row with both sides.
void AddParts(const nlohmann::json& report, std::vector<Row>& rows) {
    std::vector<nlohmann::json> runs = report.at("benchmarks");
    std::stable_sort(runs.begin(), runs.end(), [](const auto& a, const auto& b) {
        return a.at("family_index").template get<int>() < b.at("family_index").template get<int>();
    });
    for (const nlohmann::json& run : runs) {
        if (run.at("run_type") != "iteration") continue;
        const std::string name = run.at("run_name");
        const auto first = name.find('/');
        const auto last = name.rfind('/');
        const std::string what = name.substr(0, first);
        const std::string load = name.substr(first + 1, last - first - 1);
        auto row = std::find_if(rows.begin(), rows.end(),
                                [&](const Row& other) { return other.what == what && other.load == load; });
        if (row == rows.end()) row = rows.insert(rows.end(), {what, load, run.at("time_unit"), {}, {}, {}});
        (name.substr(last) == "/ours" ? row->ours : row->floor).push_back(run.at("cpu_time"));
    }
}

void Print(const Row& row) {
    const bool higherIsBetter = row.unit == "Hz";
    const double ours = Median(row.ours);
    const double floor = row.floor.empty() ? 0 : Median(row.floor);
    const double ratio = higherIsBetter ? floor / ours : ours / floor;
    auto wanted = kWanted.find(row.what + "/" + row.load);
    if (wanted == kWanted.end()) wanted = kWanted.find(row.what);
    const bool missed = wanted != kWanted.end() && (row.floor.empty() ? ours : ratio) > wanted->second;
    fmt::print("{:<22} {:<31} {:>12} {:>12} {:>7} {:>7}{} {}\n", row.what, row.load,
               fmt::format("{:.1f} {}", ours, row.unit),
               row.floor.empty() ? "-" : fmt::format("{:.1f} {}", floor, row.unit),
               row.floor.empty() ? "-" : fmt::format("{:.2f}", ratio),
               wanted == kWanted.end() ? "-" : fmt::format("{:g}", wanted->second), missed ? '!' : ' ', row.note);
}

// The straight line through the medians of the rows of one growth, and how much of them it explains.
void PrintFit(const std::string& what, const std::vector<Row>& rows) {
    double n = 0, x = 0, y = 0, xx = 0, xy = 0, yy = 0;
    std::string unit;
    for (const Row& row : rows) {
        if (row.what != what) continue;
        const double count = std::stod(row.load);
        const double cost = Median(row.ours);
        unit = row.unit;
        n += 1, x += count, y += cost, xx += count * count, xy += count * cost, yy += cost * cost;
    }
    const double covariance = n * xy - x * y;
    const double slope = covariance / (n * xx - x * x);
    const double r2 = covariance * covariance / ((n * xx - x * x) * (n * yy - y * y));
    fmt::print("{}: {:.3f} {} + {:.4f} {} for each body, R2 {:.5f}\n", what, (y - slope * x) / n, unit, slope,
               unit, r2);
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): the parser's own set-up
int main(int argc, char** argv) {
    CLI::App app("Prints the table of a benchmark run");
    std::string parts, whole, file;
    app.add_option("parts", parts, "Report of the parts")->required();
    app.add_option("whole", whole, "Rows of the whole")->required();
    app.add_option("--json", file, "Where all rows go");
    CLI11_PARSE(app, argc, argv);
    try {
        std::vector<Row> rows;
        AddParts(nlohmann::json::parse(std::ifstream(parts)), rows);
        const auto more = nlohmann::json::parse(std::ifstream(whole)).get<std::vector<Row>>();
        rows.insert(rows.end(), more.begin(), more.end());
        fmt::print("{:<22} {:<31} {:>12} {:>12} {:>7} {:>7}\n", "what", "load", "ours", "floor", "ratio",
                   "wanted");
        for (const Row& row : rows) Print(row);
        for (const char* const growth : {"decode by bodies", "in step by bodies"}) PrintFit(growth, rows);
        if (!file.empty()) std::ofstream(file) << nlohmann::json(rows).dump(1) << '\n';
    } catch (const std::exception& error) {
        fmt::print(stderr, "bench_table: {}\n", error.what());
        return 1;
    }
    return 0;
}
