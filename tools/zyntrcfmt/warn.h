#pragma once

#include <cstdio>
#include <string>

/// Tells something on standard error.
inline void Warn(const std::string& text) {
    std::fprintf(stderr, "zyntrcfmt: %s\n", text.c_str());
}
