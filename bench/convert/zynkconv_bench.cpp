// Conversion beside the two bare calls of ICU on the same text, and equal code pages beside a copy.
#include <benchmark/benchmark.h>
#include <unicode/ucnv.h>

#include <cstring>
#include <string>
#include <vector>

#include <zynkern/zynkern.h>

#include "support/bench.h"

namespace {

constexpr unsigned short Windows = 1252;
constexpr unsigned short Utf8 = 1208;

// Business text: every tenth character is none of ASCII.
std::string WindowsText(std::size_t n) {
    constexpr char Words[] = "Reisekosten f\xFCr M\xFCller, \x80 120 ";
    std::string text;
    while (text.size() < n)
        text += Words[text.size() % (sizeof Words - 1)];
    return text;
}

void Convert(benchmark::State& state) {
    const std::string text = WindowsText(static_cast<std::size_t>(state.range(0)));
    std::vector<char> target(3 * text.size() + 1);
    const ZynConverter converter(Windows, Utf8);
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.data());
        benchmark::DoNotOptimize(
            converter.Convert(text.data(), text.size(), target.data(), target.size()));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(Convert)->Arg(16)->Arg(256)->Arg(1024)->Arg(4096);

void ConvertIcu(benchmark::State& state) {
    const std::string text = WindowsText(static_cast<std::size_t>(state.range(0)));
    std::vector<char> target(3 * text.size() + 1);
    std::vector<char16_t> units(text.size() + 1);
    UErrorCode error = U_ZERO_ERROR;
    UConverter* const source = ucnv_openCCSID(Windows, UCNV_IBM, &error);
    UConverter* const destination = ucnv_openCCSID(Utf8, UCNV_IBM, &error);
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.data());
        const int32_t count =
            ucnv_toUChars(source, units.data(), static_cast<int32_t>(units.size()), text.data(),
                          static_cast<int32_t>(text.size()), &error);
        benchmark::DoNotOptimize(ucnv_fromUChars(destination, target.data(),
                                                 static_cast<int32_t>(target.size()), units.data(),
                                                 count, &error));
        benchmark::ClobberMemory();
    }
    bench::Require(U_SUCCESS(error) != 0, u_errorName(error));
    ucnv_close(source);
    ucnv_close(destination);
}
BENCHMARK(ConvertIcu)->Arg(16)->Arg(256)->Arg(1024)->Arg(4096);

void ConvertEqual(benchmark::State& state) {
    const std::string text = WindowsText(static_cast<std::size_t>(state.range(0)));
    std::vector<char> target(text.size());
    const ZynConverter converter(Windows, Windows);
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.data());
        benchmark::DoNotOptimize(
            converter.Convert(text.data(), text.size(), target.data(), target.size()));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(ConvertEqual)->Arg(16)->Arg(256)->Arg(1024);

// A copy behind the tests that any conversion makes.
[[gnu::noinline]] unsigned long CopyIfItFits(const char* from, unsigned long length, char* to,
                                             unsigned long room) {
    if (length == 0 || room < length)
        return 0;
    std::memcpy(to, from, length);
    return length;
}

void ConvertEqualCopy(benchmark::State& state) {
    const std::string text = WindowsText(static_cast<std::size_t>(state.range(0)));
    std::vector<char> target(text.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.data());
        benchmark::DoNotOptimize(
            CopyIfItFits(text.data(), text.size(), target.data(), target.size()));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(ConvertEqualCopy)->Arg(16)->Arg(256)->Arg(1024);

} // namespace
