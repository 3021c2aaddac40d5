// The words and numbers of the largest vocabulary beside maps of the standard library.
//
// Each row looks up the words in the same shuffled order, which is too long for the processor to
// learn by heart.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <zynkern/zynkern.h>

#include "support/bench.h"

namespace {

constexpr int Count = 36;
constexpr std::size_t PickCount = 4096;

const ZynString& Word(int number) {
    return ZynPendingChange::ToString(static_cast<ZynPendingChange::Type>(number));
}

std::array<int, PickCount> Picks() {
    std::mt19937 random(1); // the same order in every run
    std::array<int, PickCount> picks{};
    for (int& pick : picks)
        pick = static_cast<int>(random() % Count);
    return picks;
}

/// Looks one word after the other up; `find` is to answer its number.
template <class Text, class Find>
void FindWords(benchmark::State& state, Find find) {
    std::vector<Text> words;
    words.reserve(Count);
    for (int number = 0; number < Count; ++number) {
        words.emplace_back(Word(number).C_str());
        bench::Require(find(words.back()) == number, "word to number");
    }
    const auto picks = Picks();
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(find(words[static_cast<std::size_t>(picks[i++ % PickCount])]));
}

void WordToNumber(benchmark::State& state) {
    FindWords<ZynString>(
        state, [](const ZynString& word) { return int{ZynPendingChange::FromString(word)}; });
}
BENCHMARK(WordToNumber);

template <class Map>
void FindWordsIn(benchmark::State& state) {
    Map map;
    for (int number = 0; number < Count; ++number)
        map.emplace(Word(number).C_str(), number);
    FindWords<std::string>(state, [&map](const std::string& word) {
        const auto found = map.find(word);
        return found == map.end() ? 0 : found->second;
    });
}

void WordToNumberUnorderedMap(benchmark::State& state) {
    FindWordsIn<std::unordered_map<std::string, int>>(state);
}
BENCHMARK(WordToNumberUnorderedMap);

void WordToNumberMap(benchmark::State& state) {
    FindWordsIn<std::map<std::string, int>>(state);
}
BENCHMARK(WordToNumberMap);

// The floor: a hash of the length and two characters that is perfect for these words. Its factor is
// searched for once.
class PerfectHash {
  public:
    PerfectHash() {
        constexpr std::uint32_t Tries = 100000;
        while (!Fill()) {
            _factor += 2;
            bench::Require(_factor < FirstFactor + 2 * Tries, "two words have the same hash");
        }
    }

    int Find(const std::string& word) const {
        const Place& place = _places[Hash(word)];
        return place.word == word ? place.number : 0;
    }

  private:
    static constexpr std::uint32_t FirstFactor = 0x9E3779B1;

    struct Place {
        std::string_view word;
        int number;
    };

    std::size_t Hash(std::string_view word) const {
        const auto at = [word](std::size_t i) {
            return std::uint32_t{static_cast<unsigned char>(word[i])};
        };
        const std::size_t n = word.size();
        const std::uint32_t bytes = at(n * 6 / 8) | at(n * 7 / 8) << 8U;
        return ((bytes | static_cast<std::uint32_t>(n) << 16U) * _factor) >> 23U;
    }

    bool Fill() {
        _places.assign(512, {});
        for (int number = 0; number < Count; ++number) {
            Place& place = _places[Hash(Word(number).C_str())];
            if (!place.word.empty())
                return false;
            place = {Word(number).C_str(), number};
        }
        return true;
    }

    std::uint32_t _factor = FirstFactor;
    std::vector<Place> _places;
};

void WordToNumberPerfectHash(benchmark::State& state) {
    const PerfectHash hash;
    FindWords<std::string>(state, [&hash](const std::string& word) { return hash.Find(word); });
}
BENCHMARK(WordToNumberPerfectHash);

/// Looks one number after the other up; `find` is to answer its word.
template <class Find>
void FindNumbers(benchmark::State& state, Find find) {
    for (int number = 0; number < Count; ++number)
        bench::Require(Word(number) == find(number).c_str(), "number to word");
    const auto picks = Picks();
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(&find(picks[i++ % PickCount]));
}

void NumberToWord(benchmark::State& state) {
    const auto picks = Picks();
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(&Word(picks[i++ % PickCount]));
}
BENCHMARK(NumberToWord);

void NumberToWordUnorderedMap(benchmark::State& state) {
    std::unordered_map<int, std::string> map;
    for (int number = 0; number < Count; ++number)
        map.emplace(number, Word(number).C_str());
    const std::string illegal = "<illegal>";
    FindNumbers(state, [&](int number) -> const std::string& {
        const auto found = map.find(number);
        return found == map.end() ? illegal : found->second;
    });
}
BENCHMARK(NumberToWordUnorderedMap);

// The floor: one load.
void NumberToWordArray(benchmark::State& state) {
    std::vector<std::string> words;
    words.reserve(Count);
    for (int number = 0; number < Count; ++number)
        words.emplace_back(Word(number).C_str());
    FindNumbers(state, [&words](int number) -> const std::string& {
        return words[static_cast<std::size_t>(number)];
    });
}
BENCHMARK(NumberToWordArray);

} // namespace
