// What the benchmarks of identifiers and their peers have in common.
#pragma once

#include <string>

namespace bench {

/// 16 bytes, printable so that a text of them has no end inside.
inline std::string IdBytes(char first) {
    return first + std::string("0123456789ABCDE");
}

} // namespace bench
