// A benchmark and its floor side by side; the runner shuffles their repetitions.
#ifndef BENCH_PARTS_PAIR_H
#define BENCH_PARTS_PAIR_H

#include <benchmark/benchmark.h>

#include <string>

template <typename Work>
void Register(const std::string& name, Work work) {
    benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State& state) mutable {
        for (auto _ : state) work();
    });
}

template <typename Ours, typename Least>
void RegisterPair(const std::string& whatAndLoad, Ours ours, Least floor) {
    Register(whatAndLoad + "/ours", ours);
    Register(whatAndLoad + "/floor", floor);
}

void RegisterCodecs();
void RegisterForcePlates();
void RegisterLedgers();

#endif
