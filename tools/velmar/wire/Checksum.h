// The checksum by which a frame of the simulated server can be told from one that the network changed.
#ifndef VELMAR_WIRE_CHECKSUM_H
#define VELMAR_WIRE_CHECKSUM_H

#include <cstdint>
#include <span>

// FNV-1a.
inline std::uint32_t Checksum(std::span<const unsigned char> bytes) {
    std::uint32_t sum = 0x811C9DC5;
    for (const unsigned char byte : bytes) sum = (sum ^ byte) * 0x01000193;
    return sum;
}

#endif
