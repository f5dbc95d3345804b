#include "export/TableSize.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "Wording.h"

void CheckTableSize(const Take& take, long long rows, std::size_t valuesInRow) {
    constexpr double kAlways = 16e6; // values that are no burden: some hundred megabytes of text
    // A stream of which nine frames in ten were lost, and whose markers were hidden in nine of ten, needs 100.
    constexpr double kMostTimes = 256;
    constexpr std::size_t kHead = 2; // number and time
    const double recorded = static_cast<double>(take.recording.bytes) / sizeof(float);
    const double wanted = static_cast<double>(rows) * static_cast<double>(kHead + valuesInRow);
    if (wanted <= std::max(kAlways, kMostTimes * recorded)) return;
    throw std::runtime_error(
        fmt::format("{} would become {} of {}, {:.0f} times what was recorded: its frame numbers, names or "
                    "identifiers are not "
                    "those of one stream. Take a part of it with {}",
                    take.options.file, Counted(rows, "row"), Counted(valuesInRow, "value"), wanted / recorded,
                    take.options.names.range));
}
