// Texts for the terminal.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Bytes in a code page as a text of the locale; nothing if they can't be converted. What the
/// locale has no character for becomes its substitution character. Without a code page, or in the
/// locale's, they stay as they are. A NUL ends what is converted.
std::optional<std::string> ToLocale(std::string_view bytes, std::uint16_t ccsid);

/// A text in quotes, converted if that can be done. What is not printable, and characters that are
/// none, is escaped as "\x1B", and quotes and backslashes by a backslash.
std::string Quoted(std::string_view bytes, std::uint16_t ccsid);
