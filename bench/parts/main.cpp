// The parts of the library by themselves, in processor time.
#include <malloc.h>

#include <cstdlib>

#include "parts/Floor.h"
#include "parts/Pair.h"

void* operator new(std::size_t size) {
    if (sizesAsked != nullptr) sizesAsked->push_back(size);
    void* const memory = std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

int main(int argc, char** argv) {
    // Released memory stays with the process, so that no figure is made of the kernel's paging.
    mallopt(M_TRIM_THRESHOLD, 64 << 20); // NOLINT(concurrency-mt-unsafe)
    mallopt(M_MMAP_THRESHOLD, 32 << 20); // NOLINT(concurrency-mt-unsafe)
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    RegisterCodecs();
    RegisterForcePlates();
    RegisterLedgers();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
