#include "platform/Histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace System {

void CHistogram::Reset() {
    for (CCounter& step : m_steps) step.Set(0);
    m_largest.Set(0);
}

// Values below 16 have steps of their own; above, the four bits behind the leading one tell the step.
std::size_t CHistogram::StepOf(std::uint64_t value) {
    value = std::min(value, (std::uint64_t{1} << kValueBits) - 1);
    const unsigned int bits = static_cast<unsigned int>(std::bit_width(value));
    if (bits <= kStepBits) return value;
    const unsigned int shift = bits - kStepBits - 1;
    return (std::size_t{shift} << kStepBits) + (value >> shift);
}

std::uint64_t CHistogram::MiddleOf(std::size_t step) {
    const std::size_t doublings = step >> kStepBits;
    if (doublings <= 1) return step;
    const std::size_t shift = doublings - 1;
    const std::uint64_t first = (step - (shift << kStepBits)) << shift;
    return first + (std::uint64_t{1} << shift) / 2;
}

std::uint64_t CHistogram::Quantile(double fraction) const {
    std::uint64_t total = 0;
    for (const CCounter& step : m_steps) total += step.Get();
    const auto wanted =
        std::max(static_cast<std::uint64_t>(std::ceil(fraction * static_cast<double>(total))), std::uint64_t{1});
    std::uint64_t seen = 0;
    for (std::size_t step = 0; step < kSteps; ++step) {
        seen += m_steps[step].Get();
        if (seen >= wanted) return std::min(MiddleOf(step), Largest());
    }
    return 0;
}

} // namespace System
