// Output for people.
#pragma once

#include <string>
#include <string_view>

#include <zynkern/zynkern.h>

/// The text, or "none" for a null one, as a terminal may have it: a byte that is no part of a
/// printable character of the locale becomes "\xHH", and what is beyond some 200 bytes "...".
std::string Printable(const ZynString& text);

/// "  label       value" and the end of the line, with the values one below the other.
std::string Line(std::string_view label, std::string_view value);
