// Operations of ZynString that work on bytes, replace texts and strip ends.
#include <algorithm>
#include <atomic>
#include <climits>
#include <string>

#include "zynkconv.h"
#include "zynkplat.h"
#include "zynkstr.h"
#include "zynkstr_walk.h"
#include "zynkstr_wide.h"
#include "zynkxcp.h"

namespace {

struct CcsidRange {
    unsigned short first;
    unsigned short last;
};

// Code pages whose characters all have one byte, in ascending order.
constexpr CcsidRange SingleByteCcsids[] = {
    {37, 37},     {256, 256},   {259, 259},   {273, 278},   {280, 280},   {282, 282},
    {284, 286},   {293, 293},   {297, 297},   {420, 421},   {423, 424},   {437, 437},
    {500, 500},   {720, 720},   {737, 737},   {775, 775},   {803, 803},   {813, 813},
    {819, 819},   {838, 838},   {850, 853},   {855, 858},   {860, 866},   {868, 871},
    {874, 875},   {878, 878},   {880, 880},   {895, 895},   {899, 899},   {905, 905},
    {912, 912},   {914, 916},   {918, 918},   {920, 923},   {1004, 1004}, {1006, 1006},
    {1008, 1021}, {1023, 1023}, {1025, 1026}, {1046, 1047}, {1051, 1051}, {1070, 1070},
    {1079, 1079}, {1081, 1081}, {1084, 1084}, {1089, 1089}, {1097, 1098}, {1100, 1107},
    {1112, 1112}, {1122, 1125}, {1127, 1127}, {1129, 1133}, {1140, 1149}, {1250, 1258},
    {1275, 1277}, {1279, 1286},
};

bool IsSingleByteCcsid(unsigned short ccsid) {
    const auto* const range =
        std::lower_bound(std::begin(SingleByteCcsids), std::end(SingleByteCcsids), ccsid,
                         [](const CcsidRange& r, unsigned short c) { return r.last < c; });
    return range != std::end(SingleByteCcsids) && range->first <= ccsid;
}

// The code page of the process and whether it is a single-byte one, kept together.
bool IsCodePageSingleByte() {
    static std::atomic<unsigned int> cache{0};
    const unsigned int ccsid = ZynConverter::GetCurrentOSCodePage();
    unsigned int known = cache.load(std::memory_order_relaxed);
    if (known >> 1U != ccsid) {
        known = ccsid << 1U | (IsSingleByteCcsid(static_cast<unsigned short>(ccsid)) ? 1U : 0U);
        cache.store(known, std::memory_order_relaxed);
    }
    return (known & 1U) != 0;
}

// 16-bit units of the one character in the bytes, which may stand for two. Only for encodings
// without shift states: the state of a walk is lost.
unsigned long UnitsOf(const char* at, unsigned long bytes) {
    if (bytes == 1 || bytes > MB_LEN_MAX)
        return 1;
    char16_t units[MB_LEN_MAX + 1];
    const unsigned long count = zynkwide::FromText(units, at, bytes);
    return count == zynkwide::Invalid ? 1 : count;
}

// Bytes of the character at `s`; throws on an invalid one.
unsigned long StripLength(const char* s, unsigned long n, const char* serviceName) {
    const int bytes = n == 0 ? 0 : zynkplat::CurrentMultiByte().Length(s, n);
    if (bytes < 0)
        ZYN_THROW_INT(ZynOSException(ZYN_ORIGIN("ZynString::StripChar"), serviceName, -1, 0));
    return static_cast<unsigned long>(bytes);
}

} // namespace

unsigned long ZynString::PositionByte(const ZynString& substr, unsigned long ulStart) const {
    ZYN_REQUIRE(!IsNull() && !substr.IsNull() && ulStart > 0);
    if (Length() == 0 || substr.Length() == 0 || ulStart > Length())
        return 0;
    const char* const hit = std::strstr(_pRep->_data + (ulStart - 1), substr._pRep->_data);
    return hit == nullptr ? 0 : static_cast<unsigned long>(hit - _pRep->_data) + 1;
}

ZynString ZynString::SubStringByte(unsigned long start, unsigned long length) const {
    ZYN_REQUIRE(!IsNull());
    const unsigned long first = start == 0 ? 1 : start;
    if (first > Length() || length == 0)
        return {""};
    const unsigned long rest = Length() - (first - 1);
    return FromBytes(_pRep->_data + (first - 1), std::min(length, rest));
}

// Both texts are converted once; a hit then costs a step from the hit before it.
unsigned long ZynString::Substitute(const ZynString& oldText, const ZynString& newText) {
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE_TEXT(!oldText.IsNull(), "!IsNull() && !substr.IsNull() && ulStart > 0");
    ZYN_REQUIRE_TEXT(!newText.IsNull(), "!IsNull() && !rhs.IsNull()");
    if (Length() == 0 || oldText.Length() == 0 || LengthChar() == 0)
        return 0;
    WideBuffer ownBuffer;
    WideBuffer oldBuffer;
    const std::u16string_view own = WideText(ownBuffer);
    const std::u16string_view part = oldText.WideText(oldBuffer);
    if (part.empty() || own.find(part) == std::u16string_view::npos)
        return 0;

    zynkwalk::CharWalk walk(_pRep->_data, Length());
    unsigned long unit = 0;
    std::string result;
    // Moves on to the character at `unitEnd`. A piece that is kept gets the shift bytes that make
    // it well formed by itself.
    const auto pass = [&](unsigned long unitEnd, bool kept) {
        if (unit >= unitEnd)
            return;
        const char* const from = walk.At();
        const bool opens = walk.IsShifted();
        for (const char* at = from; unit < unitEnd && walk.Step() > 0; at = walk.At())
            if (walk.HasShiftStates())
                unit += unit + 1 < own.size() && zynkwide::IsTrailUnit(own[unit + 1]) ? 2 : 1;
            else
                unit += UnitsOf(at, static_cast<unsigned long>(walk.At() - at));
        unit = unitEnd;
        if (!kept)
            return;
        if (opens)
            result += zynkwalk::ShiftOut;
        result.append(from, walk.At());
        if (walk.IsShifted())
            result += zynkwalk::ShiftIn;
    };

    unsigned long hits = 0;
    for (auto hit = own.find(part); hit != std::u16string_view::npos; hit = own.find(part, unit)) {
        pass(hit, true);
        pass(hit + part.size(), false);
        result.append(newText.C_str(), newText.Length());
        ++hits;
    }
    pass(own.size(), true);
    *this = FromBytes(result.data(), result.size());
    return hits;
}

unsigned long ZynString::SubstituteByte(const ZynString& oldText, const ZynString& newText) {
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE_TEXT(!oldText.IsNull(), "!IsNull() && !substr.IsNull() && ulStart > 0");
    ZYN_REQUIRE_TEXT(!newText.IsNull(), "!IsNull() && !rhs.IsNull()");
    const unsigned long oldLength = std::strlen(oldText.C_str());
    if (oldLength == 0)
        return 0;
    std::string result;
    unsigned long hits = 0;
    unsigned long start = 1;
    for (unsigned long hit = PositionByte(oldText, start); hit != 0;
         hit = PositionByte(oldText, start)) {
        result.append(_pRep->_data + (start - 1), hit - start);
        result.append(newText.C_str(), newText.Length());
        start = hit + oldLength;
        ++hits;
    }
    if (hits == 0)
        return 0;
    result.append(_pRep->_data + (start - 1), Length() - (start - 1));
    *this = FromBytes(result.data(), result.size());
    return hits;
}

void ZynString::StripChar(const char* s) {
    ZYN_REQUIRE(!IsNull());
    if (Length() == 0)
        return;
    ZYN_REQUIRE_TEXT(s != nullptr, "s != 0");
    const unsigned long stripLength = std::strlen(s);
    // The question for the code page comes first: it also puts the process into its locale.
    if (IsCodePageSingleByte() && stripLength == 1) {
        StripByte(*s);
        return;
    }
    zynkplat::CurrentMultiByte().ResetShiftState();
    const bool isSingleByte = StripLength(s, stripLength, "mblen in zynkstr::StripChar1") == 1;
    if (isSingleByte && _pRep->_data[0] != *s)
        StripTrailingByte(*s);
    else
        StripText(s);
}

// In a single-byte code page the bytes are the characters.
void ZynString::StripByte(char c) {
    const unsigned long length = Length();
    unsigned long first = 0;
    unsigned long last = length;
    while (first < last && _pRep->_data[first] == c)
        ++first;
    while (last > first && _pRep->_data[last - 1] == c)
        --last;
    if (last - first == length)
        return;
    if (_pRep->_refCount > 1) {
        *this = FromBytes(_pRep->_data + first, last - first);
        return;
    }
    std::memmove(_pRep->_data, _pRep->_data + first, last - first);
    PostRead(last - first);
}

// The text does not begin with `c`, so only its end can change. It has to be found from the start:
// the second byte of a double-byte character may look like `c`.
void ZynString::StripTrailingByte(char c) {
    const unsigned long length = std::strlen(_pRep->_data);
    zynkplat::CurrentMultiByte().ResetShiftState();
    unsigned long run = length;
    for (unsigned long at = 0; at < length;) {
        const unsigned long bytes =
            StripLength(_pRep->_data + at, length - at, "mblen in zynkstr::StripChar2");
        if (bytes != 1 || _pRep->_data[at] != c)
            run = length;
        else if (run == length)
            run = at;
        at += bytes;
    }
    if (run < length)
        *this = SubStringByte(1, run);
}

void ZynString::StripText(const ZynString& stripStr) {
    ZYN_REQUIRE(stripStr.LengthByte() > 0);
    const auto step = static_cast<long>(stripStr.LengthChar());
    const auto length = static_cast<long>(LengthChar());
    if (step > length)
        return;
    WideBuffer ownBuffer;
    WideBuffer stripBuffer;
    const std::u16string_view own = WideText(ownBuffer);
    const std::u16string_view part = stripStr.WideText(stripBuffer);
    const std::size_t size = part.size();
    // All repetitions have the same units, so both ends move by units and characters together.
    long start = 1;
    std::size_t unit = 0;
    for (; own.substr(unit, size) == part; unit += size)
        start += step;
    long last = length - step + 1;
    std::size_t unitEnd = own.size();
    for (; last > start && unitEnd >= size && own.substr(unitEnd - size, size) == part;
         unitEnd -= size)
        last -= step;
    const long kept = step + last - start;
    if (kept != length)
        *this = SubStringChar(static_cast<unsigned long>(start), static_cast<unsigned long>(kept));
}
