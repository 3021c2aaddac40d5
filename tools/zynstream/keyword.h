// The library's own printed forms.
#pragma once

#include <string>
#include <string_view>

/// Prints as much of a stream as the library reads. What it throws, else an empty text.
/// @param byParameters shows the parameters, else all bytes as one block
std::string ShowKeyword(std::string_view stream, bool byParameters);
