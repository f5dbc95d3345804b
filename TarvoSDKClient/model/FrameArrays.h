// The heap arrays of a frame: how they are made and released.
#ifndef TARVO_MODEL_FRAME_ARRAYS_H
#define TARVO_MODEL_FRAME_ARRAYS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "TarvoSDKClient.h"

namespace FrameArrays {

// What an array without elements points to: not null, and never released, because an application that
// frees a frame skips arrays whose count is 0.
template <typename T>
T* Empty() {
    static T element{};
    return &element;
}

// Null when memory runs out. The elements are not initialised.
template <typename T>
T* Allocate(std::int32_t count) {
    if (count == 0) return Empty<T>();
    return new (std::nothrow) T[static_cast<std::size_t>(count)];
}

// Null when memory runs out; all bytes are zero. Made without the constructors, whose work would be overwritten;
// released by delete[].
template <typename T>
T* AllocateZeroed(std::size_t count) {
    void* const memory = ::operator new[](count * sizeof(T), std::nothrow);
    return static_cast<T*>(memory == nullptr ? nullptr : std::memset(memory, 0, count * sizeof(T)));
}

// The same for one record, released by delete.
template <typename T>
T* MakeZeroed() {
    void* const memory = ::operator new(sizeof(T), std::nothrow);
    return static_cast<T*>(memory == nullptr ? nullptr : std::memset(memory, 0, sizeof(T)));
}

template <typename T>
void Release(T* array) {
    if (array != Empty<T>()) delete[] array;
}

// How far a list is walked: counts are signed, and one that made a decode fail stands above its bound.
inline std::int32_t Walkable(std::int32_t count, std::int32_t bound) { return std::clamp(count, 0, bound); }

} // namespace FrameArrays

#endif
