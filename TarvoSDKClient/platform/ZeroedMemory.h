// Memory that reads as zero and is taken from the system only where it is touched.
#ifndef TARVO_PLATFORM_ZEROED_MEMORY_H
#define TARVO_PLATFORM_ZEROED_MEMORY_H

#include <cstddef>

namespace System {

// Owns one area of whole pages; empty after construction. Create and Destroy are for one thread at a time.
class CZeroedMemory {
public:
    CZeroedMemory() = default;
    ~CZeroedMemory() { Destroy(); }
    CZeroedMemory(const CZeroedMemory&) = delete;
    CZeroedMemory& operator=(const CZeroedMemory&) = delete;

    // Of an empty one. 0; 1 with a report when the system has no room for it.
    int Create(std::size_t length);
    void Destroy();

    unsigned char* Data() const { return m_data; } // null when empty

private:
    unsigned char* m_data = nullptr;
    std::size_t m_length = 0;
};

} // namespace System

#endif
