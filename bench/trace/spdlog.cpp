// Log lines of spdlog.
#include <benchmark/benchmark.h>

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/ringbuffer_sink.h>
#include <spdlog/spdlog.h>

#include <filesystem>
#include <memory>

#include "trace/gate.h"

namespace {

void WriteLine(spdlog::logger& logger, int number) {
    logger.info("process {}, item {}", bench::Word(), number);
}

void ClosedGateSpdlog(benchmark::State& state) {
    spdlog::logger logger("closed", std::make_shared<spdlog::sinks::ringbuffer_sink_mt>(100));
    logger.set_level(spdlog::level::off);
    bench::PassGate(state, BENCH_SITE(WriteLine(logger, number)));
}
BENCHMARK(ClosedGateSpdlog);

void LineIntoBuffersSpdlog(benchmark::State& state) {
    spdlog::logger logger("buffers", std::make_shared<spdlog::sinks::ringbuffer_sink_mt>(4000));
    int number = 0;
    for (auto _ : state)
        WriteLine(logger, ++number);
}
BENCHMARK(LineIntoBuffersSpdlog);

void LineIntoFileSpdlog(benchmark::State& state) {
    constexpr char File[] = "spdlog.log";
    {
        spdlog::logger logger("file",
                              std::make_shared<spdlog::sinks::basic_file_sink_mt>(File, true));
        logger.set_pattern("%Y-%m-%d, %H:%M:%S.%e, %s(%5#) (%l), %n(%P-%t), %!, %v");
        logger.flush_on(spdlog::level::info);
        int number = 0;
        for (auto _ : state)
            WriteLine(logger, ++number);
    }
    std::filesystem::remove(File);
}
BENCHMARK(LineIntoFileSpdlog);

} // namespace
