// Operations of ZynString that count in characters of the locale's multi-byte encoding.
#include <algorithm>

#include "zynkplat.h"
#include "zynkstr.h"
#include "zynkstr_direct.h"
#include "zynkstr_walk.h"
#include "zynkstr_wide.h"
#include "zynktrc.h"
#include "zynkxcp.h"

namespace {

[[noreturn]] void ThrowInvalid(const ZynOrigin& origin, const char* serviceName, long returnCode) {
    ZYN_THROW_INT(ZynOSException(origin, serviceName, returnCode, 0));
}

} // namespace

unsigned long ZynString::LengthChar() const {
    ZYN_REQUIRE(!IsNull());
    zynkwalk::CharWalk walk(_pRep->_data, _pRep->_len);
    for (unsigned long characters = 0;; ++characters) {
        const int bytes = walk.Step();
        if (bytes == 0)
            return characters;
        if (bytes < 0)
            ThrowInvalid(ZYN_ORIGIN("ZynString::LengthChar"), "mblen in zynkstr::LengthChar", -1);
    }
}

char16_t ZynString::ToWChar(const char* s) {
    ZYN_REQUIRE_TEXT(s != nullptr, "s != 0");
    auto& multiByte = zynkplat::CurrentMultiByte();
    char32_t wide = 0;
    if (const auto* const direct = multiByte.ResetToDirect();
        direct != nullptr && zynkdirect::Character(wide, *direct, s, 1) == 1)
        return static_cast<char16_t>(wide);
    if (multiByte.ToWide(wide, s, multiByte.MaxBytes()) < 0)
        ThrowInvalid(ZYN_ORIGIN("ZynString::ToWChar"),
                     "mbtowc: input character is an invalid multibyte character", 0);
    return zynkwide::FirstUnit(wide);
}

bool ZynString::IsDBCSChar(const char* s) {
    ZYN_REQUIRE_TEXT(s != nullptr, "s != 0");
    auto& multiByte = zynkplat::CurrentMultiByte();
    const int bytes = multiByte.Length(s, multiByte.MaxBytes());
    if (bytes < 0)
        ThrowInvalid(
            ZYN_ORIGIN("ZynString::IsDBCSChar"),
            "mblen in 'ZynString::IsDBCSChar': input character is not a valid multibyte character",
            -1);
    return bytes > 1;
}

// Writes the units of the text and a terminator, WCharSize bytes at most; their number.
unsigned long ZynString::Widen(char16_t* units) const {
    const unsigned long n = zynkwide::FromText(units, C_str(), Length());
    if (n == zynkwide::Invalid) {
        ZYN_TRACE(1, ZynTrace::General, ZynTrace::Kernel,
                  "Invalid multibyte character in '" << *this << "'");
        ThrowInvalid(ZYN_ORIGIN("ZynString::AsWChar"),
                     "mbstowcs: input string contains an invalid multibyte character", -1);
    }
    return n;
}

const char16_t* ZynString::AsWChar(ZynBinary& wcBuffer) const {
    ZYN_REQUIRE(wcBuffer.Length() == WCharSize());
    auto* const units = reinterpret_cast<char16_t*>(wcBuffer.Data());
    Widen(units);
    return units;
}

// The text in units; `buffer` holds them.
std::u16string_view ZynString::WideText(WideBuffer& buffer) const {
    if (WCharSize() <= sizeof buffer.few)
        return {buffer.few, Widen(buffer.few)};
    buffer.many = ZynBinary(CreateEmpty, WCharSize());
    return AsWChar(buffer.many);
}

// The first or the last occurrence at or behind character `ulStart`.
unsigned long ZynString::Search(const ZynString& substr, unsigned long ulStart, bool last) const {
    ZYN_REQUIRE(!IsNull() && !substr.IsNull() && ulStart > 0);
    if (Length() == 0 || substr.Length() == 0 || ulStart > LengthChar())
        return 0;
    WideBuffer ownBuffer;
    WideBuffer partBuffer;
    const std::u16string_view own = WideText(ownBuffer);
    const std::u16string_view part = substr.WideText(partBuffer);
    const std::size_t start = zynkwide::UnitOfCharacter(own, ulStart);
    const std::size_t hit = last ? own.rfind(part) : own.find(part, start);
    if (part.empty() || hit == std::u16string_view::npos || hit < start)
        return 0;
    return zynkwide::Characters(own.substr(0, hit)) + 1;
}

unsigned long ZynString::PositionChar(const ZynString& substr, unsigned long ulStart) const {
    return Search(substr, ulStart, false);
}

unsigned long ZynString::LastPosition(const ZynString& substr, unsigned long ulStart) const {
    return Search(substr, ulStart, true);
}

unsigned long ZynString::LengthFromLastPosition(const ZynString& substr) const {
    ZYN_REQUIRE(!IsNull() && !substr.IsNull());
    return LengthChar() - LastPosition(substr);
}

ZynString ZynString::SubStringChar(unsigned long start, unsigned long length) const {
    ZYN_REQUIRE(!IsNull());
    const unsigned long n = LengthChar();
    if (n == Length())
        return SubStringByte(start, length);
    const unsigned long first = start == 0 ? 1 : start;
    if (n < first || length == 0)
        return {""};
    zynkwalk::CharWalk walk(_pRep->_data, _pRep->_len);
    for (unsigned long i = 1; i < first; ++i)
        if (walk.Step() < 0)
            ThrowInvalid(ZYN_ORIGIN("ZynString::SubStringChar"), "mblen in SubStringChar 1", -1);
    ZynString selected("");
    if (walk.IsShifted())
        selected = zynkwalk::ShiftOut;
    const char* const from = walk.At();
    for (unsigned long i = std::min(length, n - first + 1); i > 0; --i)
        if (walk.Step() < 0)
            ThrowInvalid(ZYN_ORIGIN("ZynString::SubStringChar"), "mblen in SubStringChar 2", -1);
    selected.Append(from, static_cast<unsigned long>(walk.At() - from));
    if (walk.IsShifted())
        selected |= zynkwalk::ShiftIn;
    return selected;
}

ZynString ZynString::Truncate(unsigned long n) const {
    ZYN_REQUIRE(!IsNull());
    if (n == 0)
        return {""};
    if (Length() <= n)
        return *this;
    if (Length() == LengthChar())
        return SubStringByte(1, n);
    if (!zynkplat::CurrentMultiByte().ResetShiftState()) {
        // Whole characters, found from the start: the bytes at the cut alone do not tell which
        // half of a character they are.
        zynkwalk::CharWalk walk(_pRep->_data, _pRep->_len);
        const char* cut = walk.At();
        while (walk.Step() > 0 && static_cast<unsigned long>(walk.At() - _pRep->_data) <= n)
            cut = walk.At();
        return SubStringByte(1, static_cast<unsigned long>(cut - _pRep->_data));
    }
    // Look for the shift-out of a double-byte run that the cut would fall into.
    unsigned long i = n;
    while (i > 0 && _pRep->_data[i - 1] != zynkwalk::ShiftOut &&
           _pRep->_data[i - 1] != zynkwalk::ShiftIn)
        --i;
    if (i == 0 || _pRep->_data[i - 1] == zynkwalk::ShiftIn)
        return SubStringByte(1, n);
    const unsigned long shiftOut = i - 1;
    const unsigned long run = n - shiftOut;
    // A run of less than a shift-out, one double-byte character and a shift-in has no room.
    if (run < 4)
        return SubStringByte(1, shiftOut);
    ZynString kept = SubStringByte(1, run % 2 != 0 ? n - 2 : n - 1);
    kept |= zynkwalk::ShiftIn;
    return kept;
}

// For as many units as the text has; one character that can't be converted leaves it as it was.
void ZynString::ConvertCase(bool upper) {
    ZYN_REQUIRE(!IsNull());
    if (Length() == 0)
        return;
    ZynBinary buffer(CreateEmpty, WCharSize());
    auto* const units = reinterpret_cast<char16_t*>(buffer.Data());
    const unsigned long n = zynkwide::FromText(units, C_str(), Length());
    if (n == zynkwide::Invalid)
        return;
    const auto& multiByte = zynkplat::CurrentMultiByte();
    for (unsigned long i = 0; i < n; ++i)
        units[i] = static_cast<char16_t>(upper ? multiByte.ToUpper(units[i])
                                               : multiByte.ToLower(units[i]));
    std::string text;
    if (zynkwide::ToText(text, {units, n}))
        *this = FromBytes(text.data(), text.size());
}

ZynString& ZynString::ToLowerCase() {
    ConvertCase(false);
    return *this;
}

ZynString& ZynString::ToUpperCase() {
    ConvertCase(true);
    return *this;
}

ZynString ZynString::AsLowerCase() const {
    ZYN_REQUIRE(!IsNull());
    ZynString lower(*this);
    lower.ToLowerCase();
    return lower;
}

ZynString ZynString::AsUpperCase() const {
    ZYN_REQUIRE(!IsNull());
    ZynString upper(*this);
    upper.ToUpperCase();
    return upper;
}

void ZynString::StripShiftInShiftOut() {
    if (IsNull() || Length() == 0 || !zynkplat::CurrentMultiByte().ResetShiftState())
        return;
    ZynBinary buffer(CreateEmpty, WCharSize());
    auto* const units = reinterpret_cast<char16_t*>(buffer.Data());
    const unsigned long n = zynkwide::FromText(units, C_str(), Length());
    std::string text;
    if (n != zynkwide::Invalid && zynkwide::ToText(text, {units, n}))
        *this = FromBytes(text.data(), text.size());
}
