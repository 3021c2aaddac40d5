// A closed gate of glog.
#include <benchmark/benchmark.h>

#include <glog/logging.h>

#include "trace/gate.h"

namespace {

void ClosedGateGlog(benchmark::State& state) {
    bench::PassGate(state,
                    BENCH_SITE(VLOG(5) << "process " << bench::Word() << ", item " << number));
}
BENCHMARK(ClosedGateGlog);

} // namespace
