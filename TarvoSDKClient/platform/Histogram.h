// How often which times were seen, in steps that grow with them.
#ifndef TARVO_PLATFORM_HISTOGRAM_H
#define TARVO_PLATFORM_HISTOGRAM_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/Counter.h"

namespace System {

// One thread adds, any thread reads; of fixed size. Each doubling has 16 steps, so that the middle of a step is
// within 3.2 % of every value in it.
class CHistogram {
public:
    void Reset();
    void Add(std::uint64_t value) {
        m_steps[StepOf(value)].Add(1);
        m_largest.Raise(value);
    }

    std::uint64_t Largest() const { return m_largest.Get(); }
    // The middle of the step that a fraction (0 to 1) of the values do not exceed, at most the largest value; 0
    // without values.
    std::uint64_t Quantile(double fraction) const;

private:
    static constexpr unsigned int kStepBits = 4;
    static constexpr unsigned int kValueBits =
        44; // nearly five hours of nanoseconds; what is longer counts as that
    static constexpr std::size_t kSteps = std::size_t{kValueBits - kStepBits + 1} << kStepBits;

    static std::size_t StepOf(std::uint64_t value);
    static std::uint64_t MiddleOf(std::size_t step);

    std::array<CCounter, kSteps> m_steps;
    CCounter m_largest;
};

} // namespace System

#endif
