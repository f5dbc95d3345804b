// What no codec can avoid: its allocations and the copy of the bytes, in a plain row.
#ifndef BENCH_PARTS_FLOOR_H
#define BENCH_PARTS_FLOOR_H

#include <cstring>
#include <new>
#include <vector>

#include "Loads.h"

inline std::vector<std::size_t>* sizesAsked = nullptr; // where operator new notes sizes; null: nowhere

// The sizes that some work allocates, in their order.
template <typename Work>
std::vector<std::size_t> Allocations(Work work) {
    std::vector<std::size_t> sizes;
    sizes.reserve(1 << 16); // noting allocates nothing
    sizesAsked = &sizes;
    work();
    sizesAsked = nullptr;
    return sizes;
}

// Allocates the same sizes in the same order, copies the source's bytes into them once, and releases them.
class Floor {
public:
    // All bytes go to the arrays, front to back, as far as they hold them, and the rest to the record before
    // them, which is zeroed first; without a record there are only the arrays.
    Floor(std::vector<std::size_t> sizes, Body source, bool record)
        : m_sizes(std::move(sizes)), m_source(std::move(source)), m_made(m_sizes.size()), m_record(record) {}

    void operator()() {
        const unsigned char* at = m_source.data();
        std::size_t left = m_source.size();
        for (std::size_t i = 0; i < m_sizes.size(); ++i) {
            m_made[i] = operator new(m_sizes[i], std::nothrow);
            if (i == 0 && m_record) {
                std::memset(m_made[0], 0, m_sizes[0]);
                continue;
            }
            const std::size_t part = std::min(left, m_sizes[i]);
            std::memcpy(m_made[i], at, part);
            at += part;
            left -= part;
        }
        if (m_record) std::memcpy(m_made[0], at, std::min(left, m_sizes[0]));
        asm volatile("" : : "r"(m_made.data()) : "memory"); // all of it is wanted
        for (void* piece : m_made) operator delete(piece);
    }

private:
    std::vector<std::size_t> m_sizes;
    Body m_source;
    std::vector<void*> m_made;
    bool m_record;
};

#endif
