// Wildcard patterns by the C library.
#include <benchmark/benchmark.h>

#include <fnmatch.h>

#include "support/bench.h"
#include "value/samples.h"

namespace {

void Match(benchmark::State& state, const char* text, bool isHit) {
    bench::Require((fnmatch(bench::Pattern, text, 0) == 0) == isHit, "fnmatch");
    for (auto _ : state) {
        benchmark::DoNotOptimize(text);
        benchmark::DoNotOptimize(fnmatch(bench::Pattern, text, 0));
    }
}

void MatchHitFnmatch(benchmark::State& state) {
    Match(state, bench::Hit, true);
}
BENCHMARK(MatchHitFnmatch);

void MatchMissFnmatch(benchmark::State& state) {
    Match(state, bench::Miss, false);
}
BENCHMARK(MatchMissFnmatch);

} // namespace
