// Lookups of the vocabulary classes: constant tables, laid out by the compiler.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

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

/// What a lookup answers for a key that it does not hold.
constexpr int NotFound = -1;

/// A hash table of `Count` keys that the compiler fills. `Table` has the element for a key at the
/// key's hash or behind it, ahead of the next empty place; three places of four are empty, so that
/// most keys stand at their hash.
template <std::size_t Count>
class Places {
  public:
    static constexpr std::size_t Size = std::bit_ceil(4 * Count);

    constexpr void Insert(std::uint32_t hash, std::int16_t element) {
        std::size_t place = hash % Size;
        while (_elements[place] != NotFound)
            place = (place + 1) % Size;
        _elements[place] = element;
    }

    /// The first element from the key's hash on that `matches`.
    template <class Matches>
    constexpr int Find(std::uint32_t hash, Matches matches) const {
        for (std::size_t place = hash % Size; _elements[place] != NotFound;
             place = (place + 1) % Size)
            if (matches(_elements[place]))
                return _elements[place];
        return NotFound;
    }

  private:
    static constexpr std::array<std::int16_t, Size> AllEmpty() {
        std::array<std::int16_t, Size> elements{};
        elements.fill(NotFound);
        return elements;
    }

    std::array<std::int16_t, Size> _elements = AllEmpty();
};

// Fibonacci hashing: the high bits of the product are mixed best.
constexpr std::uint32_t HashOf(int number) {
    return (static_cast<std::uint32_t>(number) * 0x9E3779B9U) >> 20U;
}

// A few characters tell the words of a class apart; all of them are compared afterwards.
constexpr std::uint32_t HashOf(std::string_view word) {
    if (word.empty())
        return 0;
    const auto at = [word](std::size_t i) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(word[i]));
    };
    const std::size_t n = word.size();
    std::uint32_t hash = static_cast<std::uint32_t>(n) * 0x01000193U;
    hash = (hash ^ at(0)) * 0x85EBCA6BU;
    hash = (hash ^ at(n / 2)) * 0xC2B2AE35U;
    hash = (hash ^ at(n - 1) ^ at(n * 3 / 4) << 8U) * 0x9E3779B9U;
    return hash >> 16U;
}

} // namespace zynkvoc
