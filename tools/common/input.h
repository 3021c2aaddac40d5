// The bytes that are looked at.
#pragma once

#include <cstddef>
#include <string>

constexpr std::size_t MaxInput = 1UL << 30U;

/// What a file holds from `offset` on; nothing if it ends before. Failures raise
/// std::runtime_error with its name, also if there are more than MaxInput bytes.
/// @param path "-" is standard input
std::string ReadInput(const std::string& path, std::size_t offset);
