// Wildcard patterns by RE2, compiled ahead.
#include <benchmark/benchmark.h>

#include <re2/re2.h>

#include "support/bench.h"
#include "value/samples.h"

namespace {

void Match(benchmark::State& state, const char* line, bool isHit) {
    const re2::RE2 pattern(bench::PatternRegex);
    const re2::StringPiece text(line);
    bench::Require(re2::RE2::FullMatch(text, pattern) == isHit, "RE2");
    for (auto _ : state)
        benchmark::DoNotOptimize(re2::RE2::FullMatch(text, pattern));
}

void MatchHitRe2(benchmark::State& state) {
    Match(state, bench::Hit, true);
}
BENCHMARK(MatchHitRe2);

void MatchMissRe2(benchmark::State& state) {
    Match(state, bench::Miss, false);
}
BENCHMARK(MatchMissRe2);

} // namespace
