// Identifiers: the handle of a process instance out and back, and their small forms.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include <zynkern/zynkern.h>

#include "ident/samples.h"
#include "support/bench.h"

namespace {

ZynBinary Bytes(char first) {
    const std::string bytes = bench::IdBytes(first);
    return {bytes.data(), bytes.size()};
}

ZynBIID Instance() {
    return {Bytes('i'), Bytes('t')};
}

void HandleOut(benchmark::State& state) {
    const ZynBIID id = Instance();
    for (auto _ : state) {
        benchmark::DoNotOptimize(&id);
        const ZynString handle = id.AsExternalObjectHandle();
        benchmark::DoNotOptimize(&handle);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(HandleOut);

void HandleBack(benchmark::State& state) {
    const ZynString handle = Instance().AsExternalObjectHandle();
    for (auto _ : state) {
        benchmark::DoNotOptimize(&handle);
        ZynBIID id = ZynBIID::FromExternalObjectHandle(handle);
        benchmark::DoNotOptimize(&id);
        benchmark::ClobberMemory();
    }
    bench::Require(ZynBIID::FromExternalObjectHandle(handle) == Instance(), "handle");
}
BENCHMARK(HandleBack);

void IdCreate(benchmark::State& state) {
    for (auto _ : state) {
        ZynOID id(ZynOID::Create, ZynOIDEncoding::NewEncoding);
        benchmark::DoNotOptimize(&id);
    }
}
BENCHMARK(IdCreate);

// As much randomness from the standard library's generator.
void IdCreateStd(benchmark::State& state) {
    std::mt19937 random(1);
    for (auto _ : state) {
        std::uint32_t id[4];
        for (std::uint32_t& word : id)
            word = static_cast<std::uint32_t>(random());
        benchmark::DoNotOptimize(&id);
    }
}
BENCHMARK(IdCreateStd);

void IdHex(benchmark::State& state) {
    const ZynOID id(Bytes('i'));
    for (auto _ : state) {
        benchmark::DoNotOptimize(&id);
        const ZynString text = id.AsHexString();
        benchmark::DoNotOptimize(&text);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(IdHex);

void IdHexStd(benchmark::State& state) {
    const std::string id = bench::IdBytes('i');
    std::string text;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&id);
        std::string fresh(2 * id.size(), '\0');
        for (std::size_t i = 0; i < id.size(); ++i)
            std::snprintf(fresh.data() + 2 * i, 3, "%02X", static_cast<unsigned char>(id[i]));
        benchmark::DoNotOptimize(&fresh);
        text = fresh;
    }
    bench::Require(ZynOID(Bytes('i')).AsHexString() == text.c_str(), "hexadecimal");
}
BENCHMARK(IdHexStd);

void IdEqual(benchmark::State& state) {
    const ZynOID left(Bytes('i'));
    const ZynOID right(Bytes('i'));
    for (auto _ : state) {
        benchmark::DoNotOptimize(&left);
        benchmark::DoNotOptimize(&right);
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(left == right);
    }
}
BENCHMARK(IdEqual);

} // namespace
