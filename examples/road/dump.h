// The bytes of a message, made visible.
#pragma once

#include <iosfwd>
#include <span>

/// Writes all bytes with their offsets, hexadecimal and as characters; where the header, a frame
/// or a payload begins, a new line begins and tells what it is. Bytes may be damaged: they are
/// explained up to the first frame that does not fit, as a reader would get.
void Dump(std::ostream& os, std::span<const char> message);
