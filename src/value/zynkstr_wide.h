// Texts in 16-bit units, between the multi-byte functions of the platform and the character
// operations of ZynString. A character beyond the 16-bit range takes the two units of its pair.
#pragma once

#include <string>
#include <string_view>

#include "zynkstr.h"

namespace zynkwide {

/// What FromText answers for a text that is not valid.
constexpr unsigned long Invalid = static_cast<unsigned long>(-1);

/// The second unit of a pair.
constexpr bool IsTrailUnit(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// The first of the units that `wide` takes.
char16_t FirstUnit(char32_t wide);

/// `mbstowcs`: writes the units of the text at `text`, which is ended by a NUL within `n` + 1
/// bytes, and a terminator. `to` has room for `n` + 1 units. The number of units without the
/// terminator, or Invalid.
unsigned long FromText(char16_t* to, const char* text, unsigned long n);

/// `wcstombs`: appends the bytes of the units to `to`, and what returns to the initial shift state.
/// False, with nothing appended, if a unit can't be converted.
bool ToText(std::string& to, std::u16string_view units);

/// Characters in the units.
unsigned long Characters(std::u16string_view units);
/// Index of the unit at which character `position`, counted from 1, begins; the number of units if
/// there are fewer characters.
unsigned long UnitOfCharacter(std::u16string_view units, unsigned long position);

} // namespace zynkwide

/// Room for the units of a text; those of a short one are on the stack.
struct ZynString::WideBuffer {
    char16_t few[128];
    ZynBinary many;
};
