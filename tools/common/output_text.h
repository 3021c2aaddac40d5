// Text on standard output.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// @name Standard output
/// Failures raise std::runtime_error.
/// @{
void WriteOut(std::string_view text);
void FlushOut();
/// @}

/// Bytes of the locale's printable character that the text begins with; 0 if it begins with none.
/// A tab is printable. The text is not empty.
std::size_t PrintableLength(std::string_view text);
/// Two upper-case digits.
void AppendHex(std::string& to, char byte);
/// The text with control characters, and bytes that are none of the locale's characters, as "\x1B",
/// so that it can't play with the terminal.
void AppendEscaped(std::string& to, std::string_view text);
