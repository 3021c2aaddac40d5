// How the cost of streams grows: with the parameters, with their nesting, and with the index.
#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

#include <zynkern/zynkern.h>

#include "growth/growth.h"
#include "support/bench.h"

namespace {

using bench::CountElements;
using bench::SizeOf;

constexpr unsigned long FirstSize = 1024;

void PutParms(ZynStream& stream, std::size_t n) {
    for (std::size_t id = 1; id <= n; ++id) {
        stream.StartParmEnc(id) << 7L;
        stream.EndParmEnc();
    }
}

void Parameters(benchmark::internal::Benchmark* row) {
    row->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000)->Arg(1000000);
}

// The block grows with the values.
void EncodeParameters(benchmark::State& state) {
    for (auto _ : state) {
        ZynStream stream(FirstSize);
        PutParms(stream, SizeOf(state));
        stream.Close();
        benchmark::DoNotOptimize(stream.PreWrite());
    }
    CountElements(state, static_cast<double>(state.range(0)));
}
BENCHMARK(EncodeParameters)->Apply(Parameters);

// The block has its size already.
void EncodeParametersAgain(benchmark::State& state) {
    ZynStream stream(FirstSize);
    PutParms(stream, SizeOf(state));
    for (auto _ : state) {
        stream.Clear();
        PutParms(stream, SizeOf(state));
        stream.Close();
        benchmark::DoNotOptimize(stream.PreWrite());
    }
    CountElements(state, static_cast<double>(state.range(0)));
}
BENCHMARK(EncodeParametersAgain)->Apply(Parameters);

void DecodeParameters(benchmark::State& state) {
    ZynStream stream(FirstSize);
    PutParms(stream, SizeOf(state));
    stream.Close();
    long sum = 0;
    for (auto _ : state) {
        stream.PositionToStart();
        sum = 0;
        for (std::size_t id = 1; id <= SizeOf(state); ++id) {
            long value = 0;
            stream.StartParmDec(id) >> value;
            stream.EndParmDec();
            sum += value;
        }
    }
    bench::Require(sum == 7 * state.range(0), "sum of the parameters");
    CountElements(state, static_cast<double>(state.range(0)));
}
BENCHMARK(DecodeParameters)->Apply(Parameters);

void PutNested(ZynStream& stream, std::size_t levels) {
    for (std::size_t id = 1; id <= levels; ++id)
        stream.StartParmEnc(id) << 7L;
    for (std::size_t id = 1; id <= levels; ++id)
        stream.EndParmEnc();
}

void EncodeLevels(benchmark::State& state) {
    ZynStream stream(FirstSize);
    for (auto _ : state) {
        stream.Clear();
        PutNested(stream, SizeOf(state));
        stream.Close();
        benchmark::DoNotOptimize(stream.PreWrite());
    }
    CountElements(state, static_cast<double>(state.range(0)));
}
BENCHMARK(EncodeLevels)->Arg(1)->Arg(11)->Arg(100);

void DecodeLevels(benchmark::State& state) {
    ZynStream stream(FirstSize);
    PutNested(stream, SizeOf(state));
    stream.Close();
    long value = 0;
    for (auto _ : state) {
        stream.PositionToStart();
        for (std::size_t id = 1; id <= SizeOf(state); ++id)
            stream.StartParmDec(id) >> value;
        for (std::size_t id = 1; id <= SizeOf(state); ++id)
            stream.EndParmDec();
    }
    bench::Require(value == 7, "innermost parameter");
    CountElements(state, static_cast<double>(state.range(0)));
}
BENCHMARK(DecodeLevels)->Arg(1)->Arg(11)->Arg(100);

void Entries(benchmark::internal::Benchmark* row) {
    row->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000);
}

void IndexCreate(benchmark::State& state) {
    ZynStream stream(FirstSize);
    PutParms(stream, SizeOf(state));
    stream.Close();
    for (auto _ : state) {
        stream.CreateIndex();
        stream.DeleteIndex();
    }
    CountElements(state, static_cast<double>(state.range(0)));
}
BENCHMARK(IndexCreate)->Apply(Entries);

void IndexLookup(benchmark::State& state) {
    ZynStream stream(FirstSize);
    PutParms(stream, SizeOf(state));
    stream.Close();
    stream.CreateIndex();
    std::vector<unsigned long> ids(SizeOf(state));
    std::iota(ids.begin(), ids.end(), 1UL);
    std::shuffle(ids.begin(), ids.end(), std::mt19937(1)); // the same order in every run
    std::size_t next = 0;
    for (auto _ : state) {
        bench::Require(stream.PrefetchParm(ids[next]), "parameter in the index");
        next = next + 1 == ids.size() ? 0 : next + 1;
    }
}
BENCHMARK(IndexLookup)->Apply(Entries);

} // namespace
