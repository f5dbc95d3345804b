// Numbers and times in the words of the whole tool.
#ifndef VELMAR_WORDING_H
#define VELMAR_WORDING_H

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

// "1 frame", "2 frames", "0 rigid bodies".
std::string Counted(long long count, std::string_view thing);
template <std::integral T>
std::string Counted(T count, std::string_view thing) {
    return Counted(static_cast<long long>(count), thing);
}

// "01:02:03:04.05": hours, minutes, seconds and frames of a packed timecode, and its subframe with two digits
// at least.
std::string TimecodeText(std::uint32_t timecode, std::uint32_t subframe);

#endif
