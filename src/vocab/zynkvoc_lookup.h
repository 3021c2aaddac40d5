// Lookups of the vocabulary classes: constant tables, laid out by the compiler.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

namespace zynkvoc {

/// A member as zynkvoc.def tells it.
struct Member {
    std::string_view name;
    int number;
    bool isRead = true;
    bool isShown = true;
    std::string_view upperCase = {}; ///< where it is not the name in capitals
};

/// Makes the words. Called once, when the library is loaded.
void MakeWords();

/// A place of its own for each of `Count` keys: the compiler searches for a factor that tells them
/// apart. As three places of four are empty, it is one of the first.
template <std::size_t Count>
class Places {
  public:
    static constexpr std::size_t Size = std::bit_ceil(4 * Count);

    explicit constexpr Places(std::span<const std::uint64_t> keys) {
        constexpr std::uint64_t Step = 0x9E3779B97F4A7C15; // bits in an even mix
        constexpr int Tries = 5000;
        for (int i = 0; i < Tries; ++i, _factor += Step)
            if (TellsApart(keys))
                return;
        throw "no factor tells the keys apart"; // and so does not compile
    }

    constexpr std::size_t Of(std::uint64_t key) const { return (key * _factor) >> Shift; }
    constexpr std::uint64_t Factor() const { return _factor; }
    static constexpr int Shift = 64 - std::countr_zero(Size);

  private:
    constexpr bool TellsApart(std::span<const std::uint64_t> keys) const {
        std::array<bool, Size> isTaken{};
        for (const std::uint64_t key : keys)
            if (std::exchange(isTaken[Of(key)], true))
                return false;
        return true;
    }

    std::uint64_t _factor = std::uint64_t{1} << Shift; // at first small keys are their own places
};

constexpr std::uint64_t KeyOf(int number) {
    return static_cast<std::uint32_t>(number);
}

/// What is looked at in the words of a class: their length and two characters, each at so many
/// eighths of it. The compiler searches for two that tell the words apart; whole words are compared
/// afterwards.
class Sample {
  public:
    /// Of words that differ; empty ones don't count.
    explicit constexpr Sample(std::span<const std::string_view> words) {
        for (_second = 0; _second < Eighths; ++_second)
            for (_first = 0; _first < _second; ++_first)
                if (TellsApart(words))
                    return;
        throw "no two characters tell the words apart"; // and so does not compile
    }

    constexpr std::uint64_t KeyOf(std::string_view word) const {
        if (word.empty())
            return 0;
        const auto at = [word](std::size_t eighths) {
            return static_cast<std::uint64_t>(
                static_cast<unsigned char>(word[word.size() * eighths / Eighths]));
        };
        return word.size() << 16U | at(_first) << 8U | at(_second);
    }

  private:
    static constexpr std::size_t Eighths = 8;

    constexpr bool TellsApart(std::span<const std::string_view> words) const {
        for (std::size_t i = 0; i < words.size(); ++i)
            for (std::size_t j = 0; j < i; ++j)
                if (!words[i].empty() && KeyOf(words[i]) == KeyOf(words[j]))
                    return false;
        return true;
    }

    std::size_t _first = 0;
    std::size_t _second = 0;
};

} // namespace zynkvoc
