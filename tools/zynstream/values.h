// What the bytes of a parameter are likely to be: nothing in them tells.
#pragma once

#include <cstddef>
#include <string_view>

struct Value {
    enum class Kind { Number, Text, Bytes, Stream };

    Kind kind = Kind::Number;
    std::size_t at = 0;
    std::size_t end = 0;      ///< with the padding
    std::string_view content; ///< of a text or bytes, without length word and padding
};

/// Guesses value after value. As long as the offsets grow this takes a time that is linear in the
/// bytes, whatever they are.
class Values {
  public:
    /// Longer texts are shown as bytes.
    static constexpr std::size_t MaxText = 1UL << 20U;

    explicit Values(std::string_view bytes) : _bytes(bytes) {}

    /// The value at an offset in front of `end`.
    Value At(std::size_t at, std::size_t end);

  private:
    std::size_t NextNul(std::size_t at);
    bool IsText(std::size_t at, std::size_t size);

    std::string_view _bytes;
    std::size_t _sought = 0; ///< where the search for _nul began
    std::size_t _nul = 0;    ///< the first NUL from there on
};
