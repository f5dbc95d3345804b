#include "view/FrameHistory.h"

std::uint64_t FrameHistory::PlaceAt(double arrivalMs) const {
    std::uint64_t first = Oldest();
    std::uint64_t end = End();
    while (end - first > 1) {
        const std::uint64_t middle = first + (end - first) / 2;
        (ArrivalMs(middle) <= arrivalMs ? first : end) = middle;
    }
    return first;
}
