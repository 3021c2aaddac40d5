// Strings beside those of the standard library: copy, concatenation, comparison.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include <zynkern/zynkern.h>

namespace {

std::string TextOf(std::size_t n) {
    std::string text;
    while (text.size() < n)
        text += static_cast<char>('a' + text.size() % 26);
    return text;
}

template <class Text>
void Copy(benchmark::State& state) {
    const std::string source = TextOf(static_cast<std::size_t>(state.range(0)));
    const char* const bytes = source.c_str();
    const Text text(bytes);
    for (auto _ : state) {
        benchmark::DoNotOptimize(&text);
        Text copy(text);
        benchmark::DoNotOptimize(&copy);
        benchmark::ClobberMemory();
    }
}

void StringCopy(benchmark::State& state) {
    Copy<ZynString>(state);
}
BENCHMARK(StringCopy)->Arg(15)->Arg(100);

void StringCopyStd(benchmark::State& state) {
    Copy<std::string>(state);
}
BENCHMARK(StringCopyStd)->Arg(15)->Arg(100);

// The floor: a plain count goes up and down again.
void StringCopyCount(benchmark::State& state) {
    unsigned long count = 1;
    for (auto _ : state) {
        ++count;
        benchmark::DoNotOptimize(count);
        --count;
        benchmark::DoNotOptimize(count);
    }
}
BENCHMARK(StringCopyCount);

constexpr char A[] = "Travel expenses";
constexpr char B[] = ", item 12, ";
constexpr char C[] = "hotel in Stockholm";

void StringConcatenate(benchmark::State& state) {
    const ZynString a(A);
    const ZynString b(B);
    const ZynString c(C);
    for (auto _ : state) {
        benchmark::DoNotOptimize(&a);
        const ZynString all = a | b | c;
        benchmark::DoNotOptimize(&all);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(StringConcatenate);

void StringConcatenateStd(benchmark::State& state) {
    const std::string a(A);
    const std::string b(B);
    const std::string c(C);
    for (auto _ : state) {
        benchmark::DoNotOptimize(&a);
        const std::string all = a + b + c;
        benchmark::DoNotOptimize(&all);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(StringConcatenateStd);

// The floor: one allocation, each text copied once.
void StringConcatenateByHand(benchmark::State& state) {
    std::size_t a = sizeof A - 1;
    std::size_t b = sizeof B - 1;
    std::size_t c = sizeof C - 1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        benchmark::DoNotOptimize(c);
        char* const all = static_cast<char*>(std::malloc(a + b + c + 1));
        std::memcpy(all, A, a);
        std::memcpy(all + a, B, b);
        std::memcpy(all + a + b, C, c);
        all[a + b + c] = '\0';
        benchmark::DoNotOptimize(all);
        benchmark::ClobberMemory();
        std::free(all);
    }
}
BENCHMARK(StringConcatenateByHand);

template <class Text>
void Compare(benchmark::State& state, const Text& left, const Text& right) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(&left);
        benchmark::DoNotOptimize(&right);
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(left == right);
    }
}

constexpr std::size_t ComparedSize = 24;

void StringCompare(benchmark::State& state) {
    const std::string text = TextOf(ComparedSize);
    Compare(state, ZynString(text.c_str()), ZynString(text.c_str()));
}
BENCHMARK(StringCompare);

void StringCompareShared(benchmark::State& state) {
    const ZynString text(TextOf(ComparedSize).c_str());
    Compare(state, text, ZynString(text));
}
BENCHMARK(StringCompareShared);

void StringCompareStd(benchmark::State& state) {
    const std::string text = TextOf(ComparedSize);
    Compare(state, text, std::string(text));
}
BENCHMARK(StringCompareStd);

// The floor.
void StringCompareBytes(benchmark::State& state) {
    const std::string left = TextOf(ComparedSize);
    const std::string right = left; // NOLINT(performance-unnecessary-copy-initialization)
    std::size_t n = left.size();
    for (auto _ : state) {
        benchmark::DoNotOptimize(n);
        benchmark::DoNotOptimize(std::memcmp(left.data(), right.data(), n));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(StringCompareBytes);

} // namespace
