// Closed gates, in the same shape for the library and its peers.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <utility>

namespace bench {

inline const std::string& Word() {
    static const auto& word = *new std::string("Travel expenses");
    return word;
}

/// A site in its function, as it is where it stands in the code of a program.
#define BENCH_SITE(...)                                                                            \
    [&](int number) __attribute__((always_inline)) {                                               \
        __VA_ARGS__;                                                                               \
    }

template <class Site, int... Number>
void PassInARow(Site& site, std::integer_sequence<int, Number...> /*numbers*/) {
    ((site(Number), benchmark::ClobberMemory()), ...);
}

/// Passes a site sixteen times in a row, so that the loop around it does not count.
template <class Site>
void PassGate(benchmark::State& state, Site site) {
    constexpr int Batch = 16;
    while (state.KeepRunningBatch(Batch))
        PassInARow(site, std::make_integer_sequence<int, Batch>());
}

} // namespace bench
