// The trace beside two logging libraries: closed gates, lines into memory, lines into a file.
//
// Each body has its peer with the same text and the same kind of destination in this binary.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include <zynkern/zynkern.h>

#ifdef ZYNKERN_HAS_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/ringbuffer_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

constexpr unsigned long Level = 5;
const std::string word = "Travel expenses";

void WriteLine(int number) {
    ZYN_TRACE(Level, ZynTrace::General, ZynTrace::Kernel,
              "process " << word << ", item " << number);
}

void ClosedGate(benchmark::State& state) {
    ZynTrace::SetFilter(0, 0, 0);
    int number = 0;
    for (auto _ : state) {
        WriteLine(++number);
        benchmark::DoNotOptimize(number);
    }
}
BENCHMARK(ClosedGate);

void ClosedFlow(benchmark::State& state) {
    ZynTrace::SetFilter(0, 0, 0);
    int number = 0;
    for (auto _ : state) {
        ZYN_FLOW("ClosedFlow", ZynTrace::FlowLevel, ZynTrace::Kernel);
        benchmark::DoNotOptimize(++number);
    }
}
BENCHMARK(ClosedFlow);

void LineIntoBuffers(benchmark::State& state) {
    ZynTrace::SetFilter(Level, ZynTrace::General, ZynTrace::Kernel);
    ZynTrace::SetXt(true, nullptr, nullptr);
    int number = 0;
    for (auto _ : state)
        WriteLine(++number);
    ZynTrace::SetXt(false, nullptr, nullptr);
}
BENCHMARK(LineIntoBuffers);

void LineIntoFile(benchmark::State& state) {
    ZynTrace::SetFilter(Level, ZynTrace::General, ZynTrace::Kernel);
    ZynTrace::SetMultiThreaded();
    ZynTrace::ReInit();
    int number = 0;
    for (auto _ : state)
        WriteLine(++number);
    std::filesystem::remove(ZynTrace::GetTraceFile().C_str());
}
BENCHMARK(LineIntoFile);

#ifdef ZYNKERN_HAS_SPDLOG
void SpdlogLine(spdlog::logger& logger, int number) {
    logger.info("process {}, item {}", word, number);
}

void ClosedGateSpdlog(benchmark::State& state) {
    spdlog::logger logger("closed", std::make_shared<spdlog::sinks::ringbuffer_sink_mt>(100));
    logger.set_level(spdlog::level::off);
    int number = 0;
    for (auto _ : state) {
        SpdlogLine(logger, ++number);
        benchmark::DoNotOptimize(number);
    }
}
BENCHMARK(ClosedGateSpdlog);

void LineIntoBuffersSpdlog(benchmark::State& state) {
    spdlog::logger logger("buffers", std::make_shared<spdlog::sinks::ringbuffer_sink_mt>(4000));
    int number = 0;
    for (auto _ : state)
        SpdlogLine(logger, ++number);
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
            SpdlogLine(logger, ++number);
    }
    std::filesystem::remove(File);
}
BENCHMARK(LineIntoFileSpdlog);
#endif

} // namespace
