// One object per process, made on first use.
#ifndef TARVO_PLATFORM_SINGLETONS_H
#define TARVO_PLATFORM_SINGLETONS_H

#include <new>

namespace CommonKit {

// The object is never destroyed: receive threads may use it while the process runs its exit handlers. It
// lives in static storage, so making it cannot run out of memory.
template <typename T>
class TSingletons {
public:
    static T& Instance() {
        alignas(T) static unsigned char storage[sizeof(T)];
        static T* const instance = new (storage) T;
        return *instance;
    }
};

} // namespace CommonKit

#endif
