// Base64, MD5 and wildcard patterns, each with its floor.
#include <benchmark/benchmark.h>

#include <array>
#include <bit>
#include <cstdint>
#include <string>

#include <zynkern/zynkern.h>

#include "support/bench.h"
#include "value/samples.h"

namespace bench {
namespace {

void Base64Encode(benchmark::State& state) {
    const std::string bytes = BytesOf(Base64Size);
    const ZynBinary data(bytes.data(), bytes.size());
    for (auto _ : state) {
        const ZynString text = ZynString::Base64Encode(data);
        benchmark::DoNotOptimize(&text);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(Base64Encode);

void Base64Decode(benchmark::State& state) {
    const std::string bytes = BytesOf(Base64Size);
    const ZynBinary data(bytes.data(), bytes.size());
    const ZynString text = ZynString::Base64Encode(data);
    Require(text.Base64Decode() == data, "Base64");
    for (auto _ : state) {
        const ZynBinary decoded = text.Base64Decode();
        benchmark::DoNotOptimize(&decoded);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(Base64Decode);

// The floor: the two characters of 12 bits from one table, into a buffer that is there.
void Base64EncodeByHand(benchmark::State& state) {
    static constexpr auto Pairs = [] {
        std::array<std::uint16_t, 4096> pairs{};
        for (std::size_t i = 0; i < pairs.size(); ++i)
            pairs[i] = static_cast<std::uint16_t>(ZynString::char_set[i >> 6U] |
                                                  ZynString::char_set[i & 0x3FU] << 8U);
        return pairs;
    }();
    const std::string bytes = BytesOf(Base64Size);
    std::array<char, Base64Size / 3 * 4> text{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(bytes.data());
        const auto* in = reinterpret_cast<const unsigned char*>(bytes.data());
        for (std::size_t out = 0; out < text.size(); out += 4, in += 3) {
            const std::uint32_t bits =
                std::uint32_t{in[0]} << 16U | std::uint32_t{in[1]} << 8U | in[2];
            const std::uint32_t four = Pairs[bits >> 12U] | std::uint32_t{Pairs[bits & 0xFFFU]}
                                                                << 16U;
            std::memcpy(text.data() + out, &four, sizeof four);
        }
        benchmark::DoNotOptimize(&text);
        benchmark::ClobberMemory();
    }
    Require(std::string(text.data(), text.size()) ==
                ZynString::Base64Encode(ZynBinary(bytes.data(), bytes.size())).C_str(),
            "Base64 by hand");
}
BENCHMARK(Base64EncodeByHand);

void Md5(benchmark::State& state) {
    const std::string bytes = BytesOf(static_cast<std::size_t>(state.range(0)));
    const ZynBinary data(bytes.data(), bytes.size());
    for (auto _ : state) {
        const ZynBinary digest = data.ToMD5();
        benchmark::DoNotOptimize(&digest);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(Md5)->Arg(16)->Arg(65536);

// The floor: of each byte's step what no step can begin ahead of the one before it.
void Md5Chain(benchmark::State& state) {
    const auto steps = static_cast<std::size_t>(state.range(0));
    std::uint32_t a = 1;
    std::uint32_t b = 2;
    for (auto _ : state) {
        for (std::size_t i = 0; i < steps; ++i) {
            const std::uint32_t next = b + std::rotl(a + (b ^ 0x5bd1e995U), 7);
            a = b;
            b = next;
        }
        benchmark::DoNotOptimize(b);
    }
}
BENCHMARK(Md5Chain)->Arg(65536);

void Match(benchmark::State& state, const char* line, bool isHit) {
    const ZynString text(line);
    const ZynString pattern(Pattern);
    Require(text.MatchesPattern(pattern, '?', '*') == isHit, "pattern");
    for (auto _ : state)
        benchmark::DoNotOptimize(text.MatchesPattern(pattern, '?', '*'));
}

void MatchHit(benchmark::State& state) {
    Match(state, Hit, true);
}
BENCHMARK(MatchHit);

void MatchMiss(benchmark::State& state) {
    Match(state, Miss, false);
}
BENCHMARK(MatchMiss);

// The floor: the same walk over the bytes as they are.
bool MatchesBytes(const char* text, const char* pattern) {
    const char* retryText = nullptr;
    const char* retryPattern = nullptr;
    while (*text != '\0') {
        if (*pattern == '*') {
            retryText = text;
            retryPattern = ++pattern;
        } else if (*pattern == '?' || *pattern == *text) {
            ++text;
            ++pattern;
        } else if (retryPattern != nullptr) {
            text = ++retryText;
            pattern = retryPattern;
        } else {
            return false;
        }
    }
    while (*pattern == '*')
        ++pattern;
    return *pattern == '\0';
}

void MatchByHand(benchmark::State& state, const char* text, bool isHit) {
    Require(MatchesBytes(text, Pattern) == isHit, "pattern by hand");
    const char* pattern = Pattern;
    for (auto _ : state) {
        benchmark::DoNotOptimize(text);
        benchmark::DoNotOptimize(pattern);
        benchmark::DoNotOptimize(MatchesBytes(text, pattern));
    }
}

void MatchHitByHand(benchmark::State& state) {
    MatchByHand(state, Hit, true);
}
BENCHMARK(MatchHitByHand);

void MatchMissByHand(benchmark::State& state) {
    MatchByHand(state, Miss, false);
}
BENCHMARK(MatchMissByHand);

} // namespace
} // namespace bench
