// Characters of an encoding of which enough is known ahead that the platform need not be asked.
#pragma once

#include "zynkplat.h"

namespace zynkdirect {

/// Bytes of the well-formed UTF-8 sequence of more than one byte at `s`, of which `n` bytes may be
/// read, and its character; 0 if there is none.
inline int Utf8Character(char32_t& wide, const char* s, unsigned long n) {
    constexpr char32_t Least[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(*s);
    if (first < 0xC2 || first > 0xF4)
        return 0;
    const int bytes = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (n < static_cast<unsigned long>(bytes))
        return 0;
    wide = first & (0x7FU >> static_cast<unsigned int>(bytes));
    for (int i = 1; i < bytes; ++i) {
        const auto next = static_cast<unsigned char>(s[i]);
        if ((next & 0xC0U) != 0x80)
            return 0;
        wide = wide << 6U | (next & 0x3FU);
    }
    const bool isSurrogate = wide >= 0xD800 && wide <= 0xDFFF;
    return wide < Least[bytes] || wide > 0x10FFFF || isSurrogate ? 0 : bytes;
}

/// Bytes of the character that begins at `s`, of which `n` bytes may be read, and the character; 0
/// if the platform has to be asked, as it has to be about a NUL.
inline int Character(char32_t& wide, const zynkplat::DirectEncoding& direct, const char* s,
                     unsigned long n) {
    wide = direct.units[static_cast<unsigned char>(*s)];
    if (wide != 0)
        return 1;
    return direct.isUtf8 ? Utf8Character(wide, s, n) : 0;
}

} // namespace zynkdirect
