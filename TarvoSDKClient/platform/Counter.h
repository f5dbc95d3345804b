// A number that one thread counts and any thread reads.
#ifndef TARVO_PLATFORM_COUNTER_H
#define TARVO_PLATFORM_COUNTER_H

#include <atomic>
#include <cstdint>

namespace System {

// Costs its one writer what a plain number would.
class CCounter {
public:
    void Add(std::uint64_t value) { Set(Get() + value); }
    void Take(std::uint64_t value) { Set(Get() - value); }
    void Raise(std::uint64_t value) {
        if (value > Get()) Set(value);
    }
    void Set(std::uint64_t value) { m_value.store(value, std::memory_order_relaxed); }
    std::uint64_t Get() const { return m_value.load(std::memory_order_relaxed); }

private:
    std::atomic<std::uint64_t> m_value{0};
};

} // namespace System

#endif
