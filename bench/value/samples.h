// What the benchmarks of values and their peers have in common.
#pragma once

#include <string>

namespace bench {

constexpr std::size_t Base64Size = 1200;

/// Bytes of all values.
inline std::string BytesOf(std::size_t n) {
    std::string bytes;
    while (bytes.size() < n)
        bytes += static_cast<char>(bytes.size() * 151 + bytes.size() / 7);
    return bytes;
}

/// A pattern with each wildcard, and a text that matches it and one that differs at its end.
constexpr char Pattern[] = "*expenses?of*M?ller*";
constexpr char PatternRegex[] = ".*expenses.of.*M.ller.*";
constexpr char Hit[] = "Travel expenses of the department: Miller, Stockholm";
constexpr char Miss[] = "Travel expenses of the department: Mueller, Stockholm";

} // namespace bench
