// What the benchmark programs share.
#pragma once

#include <cstdlib>
#include <iostream>

namespace bench {

/// A body whose result is wrong measures nothing: it says so, and the program fails.
inline void Require(bool holds, const char* what) {
    if (holds)
        return;
    std::cerr << "wrong result: " << what << '\n';
    std::exit(1);
}

} // namespace bench
