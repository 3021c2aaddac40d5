#include "zynkstr_wide.h"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>

#include "zynkplat.h"
#include "zynkstr_direct.h"

namespace zynkwide {

namespace {

constexpr char32_t FirstBeyond16Bits = 0x10000;

char16_t LeadUnit(char32_t wide) {
    return static_cast<char16_t>(0xD800U | (wide - FirstBeyond16Bits) >> 10U);
}

char16_t TrailUnit(char32_t wide) {
    return static_cast<char16_t>(0xDC00U | (wide & 0x3FFU));
}

char32_t PairValue(char16_t lead, char16_t trail) {
    return FirstBeyond16Bits + ((static_cast<char32_t>(lead) & 0x3FFU) << 10U) +
           (static_cast<char32_t>(trail) & 0x3FFU);
}

bool IsLeadUnit(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

// Moves both over bytes of ASCII, eight at a time, while there are as many without a NUL.
void WidenAscii(char16_t*& to, const char*& text, const char* end) {
    constexpr std::uint64_t Ones = 0x0101010101010101;
    constexpr std::uint64_t Tops = 0x8080808080808080;
    while (end - text >= 8) {
        std::array<unsigned char, 8> bytes;
        std::memcpy(bytes.data(), text, 8);
        const auto eight = std::bit_cast<std::uint64_t>(bytes);
        if (((eight | (eight - Ones)) & Tops) != 0)
            return;
        std::array<char16_t, 8> units; // apart from the bytes, so that they go in one piece
        for (std::size_t i = 0; i < 8; ++i)
            units[i] = bytes[i];
        std::memcpy(to, units.data(), sizeof units);
        to += 8;
        text += 8;
    }
}

// Moves both over the characters that the platform need not be asked about. None of them has more
// units than bytes.
void WidenDirect(const zynkplat::DirectEncoding& direct, char16_t*& to, const char*& text,
                 const char* end) {
    while (text != end) {
        if (direct.isAscii)
            WidenAscii(to, text, end);
        if (text == end)
            return;
        char32_t wide = 0;
        const int bytes =
            zynkdirect::Character(wide, direct, text, static_cast<unsigned long>(end - text));
        if (bytes == 0)
            return;
        text += bytes;
        *to++ = FirstUnit(wide);
        if (wide >= FirstBeyond16Bits)
            *to++ = TrailUnit(wide);
    }
}

} // namespace

char16_t FirstUnit(char32_t wide) {
    return wide < FirstBeyond16Bits ? static_cast<char16_t>(wide) : LeadUnit(wide);
}

unsigned long FromText(char16_t* to, const char* text, unsigned long n) {
    auto& multiByte = zynkplat::CurrentMultiByte();
    const zynkplat::DirectEncoding* const direct = multiByte.ResetToDirect();
    const char* const end = text + n;
    const char terminator = '\0';
    unsigned long units = 0;
    for (;;) {
        if (direct != nullptr && multiByte.IsBetweenCharacters()) {
            char16_t* next = to + units;
            WidenDirect(*direct, next, text,
                        text + std::min(static_cast<unsigned long>(end - text), n - units));
            units = static_cast<unsigned long>(next - to);
            if (text == end || *text == '\0')
                break;
        }
        // The terminator is read too: a last sequence may stand for two characters, the second of
        // which comes without bytes.
        const bool atEnd = text == end || *text == '\0';
        char32_t wide = 0;
        const int bytes =
            atEnd ? multiByte.ToWide(wide, &terminator, 1)
                  : multiByte.ToWide(wide, text, static_cast<unsigned long>(end - text));
        if (atEnd && wide == 0 && bytes >= 0)
            break;
        const unsigned long needed = wide < FirstBeyond16Bits ? 1 : 2;
        if (bytes < 0 || wide == 0 || units + needed > n)
            return Invalid;
        to[units++] = FirstUnit(wide);
        if (needed == 2)
            to[units++] = TrailUnit(wide);
        text += atEnd ? 0 : bytes;
    }
    to[units] = u'\0';
    return units;
}

bool ToText(std::string& to, std::u16string_view units) {
    auto& multiByte = zynkplat::CurrentMultiByte();
    const zynkplat::DirectEncoding* const direct = multiByte.ResetToDirect();
    const std::string::size_type before = to.size();
    char bytes[MB_LEN_MAX];
    for (std::size_t i = 0; i < units.size(); ++i) {
        char32_t wide = units[i];
        if (wide <= 0x7F && direct != nullptr && direct->isUtf8) {
            to += static_cast<char>(wide);
            continue;
        }
        if (IsLeadUnit(units[i]) && i + 1 < units.size() && IsTrailUnit(units[i + 1])) {
            wide = PairValue(units[i], units[i + 1]);
            ++i;
        }
        const int length = multiByte.FromWide(bytes, wide);
        if (length < 0) {
            to.resize(before);
            return false;
        }
        to.append(bytes, static_cast<std::size_t>(length));
    }
    // The terminator brings the shift state back; it does not belong to the text itself.
    const int length = multiByte.FromWide(bytes, U'\0');
    if (length > 1)
        to.append(bytes, static_cast<std::size_t>(length) - 1);
    return true;
}

unsigned long Characters(std::u16string_view units) {
    unsigned long characters = 0;
    for (const char16_t unit : units)
        characters += IsTrailUnit(unit) ? 0 : 1;
    return characters;
}

unsigned long UnitOfCharacter(std::u16string_view units, unsigned long position) {
    unsigned long unit = 0;
    for (; unit < units.size(); ++unit)
        if (!IsTrailUnit(units[unit]) && --position == 0)
            break;
    return unit;
}

} // namespace zynkwide
