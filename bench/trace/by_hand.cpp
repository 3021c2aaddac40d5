// The floor under the trace: a load and a branch; the clock and a copy; the call of the system.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include "support/bench.h"
#include "trace/gate.h"

namespace {

constexpr char Line[] = "2024-01-17, 12:00:00.000,      main.cpp(  117) (05,Ge,Kr), "
                        "    road( 711- 711), Road::Drive(), process Travel expenses, item 12\n";

std::atomic<int> level{0};

void ClosedGateByHand(benchmark::State& state) {
    bench::PassGate(state, BENCH_SITE(if (level.load(std::memory_order_relaxed) > 0)
                                          [[unlikely]] std::printf("%d\n", number)));
}
BENCHMARK(ClosedGateByHand);

void LineIntoBuffersByHand(benchmark::State& state) {
    constexpr std::size_t Lines = 2000;
    std::vector<char> buffer(Lines * sizeof Line);
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::chrono::system_clock::now());
        std::memcpy(buffer.data() + next * sizeof Line, Line, sizeof Line);
        next = (next + 1) % Lines;
        benchmark::ClobberMemory();
    }
}
BENCHMARK(LineIntoBuffersByHand);

void LineIntoFileByHand(benchmark::State& state) {
    constexpr char File[] = "by_hand.log";
    const int file = open(File, O_WRONLY | O_CREAT | O_APPEND, 0600);
    ssize_t written = 0;
    for (auto _ : state)
        written += write(file, Line, sizeof Line - 1);
    bench::Require(written > 0, "lines by hand in the file");
    close(file);
    unlink(File);
}
BENCHMARK(LineIntoFileByHand);

} // namespace
