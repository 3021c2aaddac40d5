// Closed gates, in the same shape for the library and its peers.
#pragma once

#include <benchmark/benchmark.h>

#include <string>

namespace bench {

inline const std::string& Word() {
    static const auto& word = *new std::string("Travel expenses");
    return word;
}

/// Runs a site often enough in a row that the loop around it does not count.
template <class Site>
void PassGate(benchmark::State& state, Site site) {
    constexpr int Batch = 16;
    while (state.KeepRunningBatch(Batch)) {
#pragma GCC unroll 16
        for (int i = 0; i < Batch; ++i) {
            site(i);
            benchmark::ClobberMemory();
        }
    }
}

} // namespace bench
