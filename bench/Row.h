// A figure with its floor, as the benchmarks write it and the table reads it.
#ifndef BENCH_ROW_H
#define BENCH_ROW_H

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// One value for each repetition; a figure without a floor has none there.
struct Row {
    std::string what;
    std::string load;
    std::string unit;
    std::vector<double> ours;
    std::vector<double> floor;
    std::string note;
};
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Row, what, load, unit, ours, floor, note)

// The value that this share of the values does not exceed. There must be one.
inline double Quantile(std::vector<double> values, double share) {
    const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1) + 0.5);
    std::nth_element(values.begin(), values.begin() + at, values.end());
    return values[static_cast<std::size_t>(at)];
}

inline double Median(const std::vector<double>& values) { return Quantile(values, 0.5); }

#endif
