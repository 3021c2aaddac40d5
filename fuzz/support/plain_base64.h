// Base64 bit by bit.
#pragma once

#include <string>
#include <string_view>

namespace zynfuzz {

constexpr std::string_view Base64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Takes the bits of the values, each of `from` bits, in groups of `to`. What is left over at the
/// end is delivered too, with zeros behind it, if it is to be `filled`.
inline std::string Regrouped(const std::string& values, unsigned int from, unsigned int to,
                             bool filled) {
    std::string groups;
    unsigned int held = 0;
    unsigned int bits = 0;
    const auto take = [&] {
        bits -= to;
        groups += static_cast<char>((held >> bits) & ((1U << to) - 1));
    };
    for (const char value : values) {
        held = held << from | static_cast<unsigned char>(value);
        bits += from;
        while (bits >= to)
            take();
    }
    if (filled && bits != 0) {
        held <<= to - bits;
        bits = to;
        take();
    }
    return groups;
}

inline std::string PlainEncode(const std::string& bytes) {
    std::string text = Regrouped(bytes, 8, 6, true);
    for (char& c : text)
        c = Base64Digits[static_cast<unsigned char>(c)];
    text.append((4 - text.size() % 4) % 4, '=');
    return text;
}

/// Without what is not in the alphabet.
inline std::string PlainDecode(std::string_view text) {
    std::string values;
    for (const char c : text)
        if (const std::size_t value = Base64Digits.find(c); value != std::string_view::npos)
            values += static_cast<char>(value);
    return Regrouped(values, 6, 8, false);
}

} // namespace zynfuzz
