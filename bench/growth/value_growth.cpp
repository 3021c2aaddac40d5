// How the cost of strings grows with their bytes.
#include <cstring>
#include <string>
#include <vector>

#include <zynkern/zynkern.h>

#include "growth/growth.h"
#include "support/bench.h"

namespace {

using bench::CountElements;
using bench::SizeOf;

constexpr long KiB = 1024;
constexpr long MiB = 1024 * KiB;

void ToLong(benchmark::internal::Benchmark* row) {
    row->Arg(KiB)->Arg(64 * KiB)->Arg(MiB)->Arg(8 * MiB)->Arg(64 * MiB);
}

void ToMegabytes(benchmark::internal::Benchmark* row) {
    row->Arg(KiB)->Arg(32 * KiB)->Arg(MiB)->Arg(4 * MiB);
}

void ToMegabyte(benchmark::internal::Benchmark* row) {
    row->Arg(KiB)->Arg(8 * KiB)->Arg(64 * KiB)->Arg(512 * KiB);
}

ZynString TextOf(std::size_t n, char c = 'a') {
    return ZynString(std::string(n, c).c_str());
}

// A copy that shares.
void StringShare(benchmark::State& state) {
    const ZynString text = TextOf(SizeOf(state));
    for (auto _ : state) {
        ZynString copy(text);
        benchmark::DoNotOptimize(&copy);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(StringShare)->Apply(ToLong);

// A copy that detaches.
void StringDetach(benchmark::State& state) {
    const ZynString text = TextOf(SizeOf(state));
    for (auto _ : state) {
        ZynString copy(text);
        copy.Reserve(0);
        benchmark::DoNotOptimize(copy.PreRead());
        benchmark::ClobberMemory();
    }
    CountElements(state, static_cast<double>(state.range(0)));
}
BENCHMARK(StringDetach)->Apply(ToLong);

// The floor under it. Where the copy begins a few bytes behind its source, modulo a page, the
// processor may be many times slower.
void CopyBytes(benchmark::State& state, std::size_t offset) {
    constexpr std::size_t Page = 4096;
    const std::size_t size = SizeOf(state);
    std::vector<char> block(2 * size + 4 * Page, 'a');
    char* const from = block.data();
    char* const to = from + (size / Page + 1) * Page + offset;
    for (auto _ : state) {
        std::memcpy(to, from, size);
        benchmark::ClobberMemory();
    }
    CountElements(state, static_cast<double>(state.range(0)));
}

void CopyBytesNear(benchmark::State& state) {
    CopyBytes(state, 8);
}
BENCHMARK(CopyBytesNear)->Apply(ToLong);

void CopyBytesFar(benchmark::State& state) {
    CopyBytes(state, 2048);
}
BENCHMARK(CopyBytesFar)->Apply(ToLong);

// One text behind a long one.
void StringAppend(benchmark::State& state) {
    const ZynString text = TextOf(SizeOf(state));
    const ZynString tail("and one more");
    for (auto _ : state) {
        const ZynString all = text | tail;
        benchmark::DoNotOptimize(&all);
        benchmark::ClobberMemory();
    }
    CountElements(state, static_cast<double>(state.range(0)));
}
BENCHMARK(StringAppend)->Apply(ToLong);

// A long text of pieces of 64 bytes: `each` is the time of a piece.
template <class Text, class Append>
void Build(benchmark::State& state, Append append) {
    constexpr std::size_t PieceSize = 64;
    const std::size_t pieces = SizeOf(state) / PieceSize;
    const std::string bytes(PieceSize, 'a');
    const char* const text = bytes.c_str();
    const char* const nothing = "";
    const Text piece(text);
    for (auto _ : state) {
        Text all(nothing);
        for (std::size_t i = 0; i < pieces; ++i)
            append(all, piece);
        benchmark::DoNotOptimize(&all);
        benchmark::ClobberMemory();
    }
    CountElements(state, static_cast<double>(pieces));
}

void StringBuild(benchmark::State& state) {
    Build<ZynString>(state, [](ZynString& all, const ZynString& piece) { all |= piece; });
}
BENCHMARK(StringBuild)->Apply(ToMegabyte);

void StringBuildStd(benchmark::State& state) {
    Build<std::string>(state, [](std::string& all, const std::string& piece) { all += piece; });
}
BENCHMARK(StringBuildStd)->Apply(ToMegabyte);

void StringCompare(benchmark::State& state) {
    const ZynString left = TextOf(SizeOf(state));
    const ZynString right = TextOf(SizeOf(state));
    for (auto _ : state)
        benchmark::DoNotOptimize(left == right);
    CountElements(state, static_cast<double>(state.range(0)));
}
BENCHMARK(StringCompare)->Apply(ToLong);

// Every sixteenth byte is replaced.
ZynString Lines(std::size_t n) {
    std::string text;
    while (text.size() < n)
        text += "fifteen letters;";
    return ZynString(text.c_str());
}

void Substitute(benchmark::State& state) {
    const ZynString text = Lines(SizeOf(state));
    const ZynString from(";");
    const ZynString to(" and");
    unsigned long count = 0;
    for (auto _ : state) {
        ZynString copy(text);
        count = copy.Substitute(from, to);
        benchmark::DoNotOptimize(&copy);
    }
    bench::Require(count == SizeOf(state) / 16, "replacements");
    CountElements(state, static_cast<double>(state.range(0)));
}
BENCHMARK(Substitute)->Apply(ToMegabytes);

void SubstituteByte(benchmark::State& state) {
    const ZynString text = Lines(SizeOf(state));
    const ZynString from(";");
    const ZynString to(" and");
    for (auto _ : state) {
        ZynString copy(text);
        copy.SubstituteByte(from, to);
        benchmark::DoNotOptimize(&copy);
    }
    CountElements(state, static_cast<double>(state.range(0)));
}
BENCHMARK(SubstituteByte)->Apply(ToMegabytes);

void Strip(benchmark::State& state, const ZynString& text, std::size_t kept) {
    ZynString stripped;
    for (auto _ : state) {
        stripped = text;
        stripped.StripChar(" ");
    }
    bench::Require(stripped.Length() == kept, "what is left between the blanks");
    CountElements(state, static_cast<double>(state.range(0)));
}

// Blanks at both ends, half of the text.
void StripBothEnds(benchmark::State& state) {
    const std::size_t quarter = SizeOf(state) / 4;
    const ZynString blanks = TextOf(quarter, ' ');
    Strip(state, blanks | TextOf(2 * quarter) | blanks, 2 * quarter);
}
BENCHMARK(StripBothEnds)->Apply(ToMegabytes);

// One blank, at the end.
void StripEnd(benchmark::State& state) {
    const std::size_t size = SizeOf(state);
    Strip(state, TextOf(size - 1) | " ", size - 1);
}
BENCHMARK(StripEnd)->Apply(ToMegabytes);

// A pattern that all texts match.
void MatchBest(benchmark::State& state) {
    const ZynString text = TextOf(SizeOf(state));
    const ZynString pattern("*");
    bool isHit = false;
    for (auto _ : state)
        benchmark::DoNotOptimize(isHit = text.MatchesPattern(pattern, '?', '*'));
    bench::Require(isHit, "a match");
    CountElements(state, static_cast<double>(state.range(0)));
}
BENCHMARK(MatchBest)->Apply(ToMegabytes);

// A pattern that nearly matches at each place: `each` is the time of a step, of which there are as
// many as the product of half of both lengths.
void MatchWorst(benchmark::State& state) {
    const std::size_t half = SizeOf(state) / 2;
    const ZynString text = TextOf(SizeOf(state));
    const ZynString pattern = ZynString("*") | TextOf(half) | "b";
    bool isHit = true;
    for (auto _ : state)
        benchmark::DoNotOptimize(isHit = text.MatchesPattern(pattern, '?', '*'));
    bench::Require(!isHit, "no match");
    CountElements(state, static_cast<double>(half) * static_cast<double>(half));
}
BENCHMARK(MatchWorst)->Arg(KiB)->Arg(4 * KiB)->Arg(16 * KiB);

} // namespace
