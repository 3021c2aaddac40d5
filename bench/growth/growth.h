// Rows of growing sizes. The first size of each is 1, 10 or 1024, and the others are none of them:
// the tests run those alone.
#pragma once

#include <benchmark/benchmark.h>

#include <string>

namespace bench {

/// The time of one element, which stays the same where cost grows with size alone.
inline void CountElements(benchmark::State& state, double n) {
    state.counters["each"] = benchmark::Counter(n, benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}

inline std::size_t SizeOf(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

} // namespace bench
