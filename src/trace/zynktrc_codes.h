// Codes of the categories and components of trace lines: what a line shows of each bit.
#pragma once

#include <bit>
#include <cstddef>
#include <span>

namespace zynktrc {

struct Code {
    unsigned int bit;
    char text[3];
};

inline constexpr Code CategoryCodes[] = {
    {0x1, "Fl"},  {0x2, "Er"},  {0x4, "SC"},  {0x8, "Ms"},   {0x10, "Ct"},
    {0x20, "Pf"}, {0x40, "Gn"}, {0x80, "Sq"}, {0x400, "Da"},
};

inline constexpr Code ComponentCodes[] = {
    {0x1, "Kr"},      {0x2, "FM"},      {0x4, "Mg"},      {0x8, "DB"},       {0x10, "To"},
    {0x20, "Ct"},     {0x40, "St"},     {0x80, "SF"},     {0x100, "AS"},     {0x200, "ES"},
    {0x400, "MS"},    {0x800, "SS"},    {0x1000, "CS"},   {0x2000, "DS"},    {0x4000, "Ap"},
    {0x8000, "AC"},   {0x10000, "MC"},  {0x20000, "RC"},  {0x40000, "OC"},   {0x80000, "Pe"},
    {0x100000, "In"}, {0x200000, "AX"}, {0x400000, "Ts"}, {0x2000000, "CA"}, {0x4000000, "Cf"},
};

/// The code of one bit; "??" for what is no bit, or one that has no code.
class CodeTable {
  public:
    explicit constexpr CodeTable(std::span<const Code> codes) {
        for (Code& code : _codes)
            code = {0, "??"};
        for (const Code& code : codes)
            _codes[Index(code.bit)] = code;
    }
    constexpr const char* CodeOf(unsigned int bit) const {
        const Code& code = _codes[Index(bit)];
        return code.bit == bit ? code.text : "??";
    }

  private:
    static constexpr std::size_t Index(unsigned int bit) {
        return static_cast<std::size_t>(std::countr_zero(bit)); // 32 for no bit
    }

    Code _codes[33];
};

inline constexpr CodeTable CategoryTable{CategoryCodes};
inline constexpr CodeTable ComponentTable{ComponentCodes};

constexpr const char* CategoryCode(unsigned int bit) {
    return CategoryTable.CodeOf(bit);
}
constexpr const char* ComponentCode(unsigned int bit) {
    return ComponentTable.CodeOf(bit);
}

} // namespace zynktrc
