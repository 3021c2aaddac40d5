// The trace: closed gates, lines into memory, lines into a file. Each body has its peers with the
// same text and the same kind of destination in this program.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include <zynkern/zynkern.h>

#include "support/bench.h"
#include "trace/gate.h"

namespace {

constexpr unsigned long Level = 5;

#define WRITE_LINE(number)                                                                         \
    ZYN_TRACE(Level, ZynTrace::General, ZynTrace::Kernel,                                          \
              "process " << bench::Word() << ", item " << (number))

void ClosedGate(benchmark::State& state) {
    ZynTrace::SetFilter(0, 0, 0);
    bench::PassGate(state, BENCH_SITE(WRITE_LINE(number)));
}
BENCHMARK(ClosedGate);

void ClosedFlow(benchmark::State& state) {
    ZynTrace::SetFilter(0, 0, 0);
    bench::PassGate(state, BENCH_SITE(ZYN_FLOW("ClosedFlow", ZynTrace::FlowLevel, ZynTrace::Kernel);
                                      benchmark::DoNotOptimize(number)));
}
BENCHMARK(ClosedFlow);

void LineIntoBuffers(benchmark::State& state) {
    ZynTrace::SetFilter(Level, ZynTrace::General, ZynTrace::Kernel);
    ZynTrace::SetXt(true, nullptr, nullptr);
    int number = 0;
    for (auto _ : state)
        WRITE_LINE(++number);
    ZynBinary lines[3];
    ZynTrace::DumpBuffers(lines[0], lines[1], lines[2]);
    bench::Require(lines[2].Length() > bench::Word().size(), "lines in the buffers");
    ZynTrace::SetXt(false, nullptr, nullptr);
}
BENCHMARK(LineIntoBuffers);

void LineIntoFile(benchmark::State& state) {
    ZynTrace::SetFilter(Level, ZynTrace::General, ZynTrace::Kernel);
    ZynTrace::SetMultiThreaded();
    ZynTrace::ReInit();
    const std::string file = ZynTrace::GetTraceFile().C_str();
    int number = 0;
    for (auto _ : state)
        WRITE_LINE(++number);
    bench::Require(std::filesystem::file_size(file) > bench::Word().size(), "lines in the file");
    std::filesystem::remove(file);
}
BENCHMARK(LineIntoFile);

} // namespace
