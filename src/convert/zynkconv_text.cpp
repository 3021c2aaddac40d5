// ZynConverter: the conversion of texts.
#include <unicode/ucnv.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "zynkconv.h"
#include "zynkicda.h"
#include "zynkplat.h"
#include "zynktrc.h"

namespace {

// The code units of a text. Those of a short one stand on the stack.
class CodeUnits {
  public:
    explicit CodeUnits(unsigned long size)
        : _long(size > ShortSize ? std::make_unique_for_overwrite<char16_t[]>(size) : nullptr) {}

    char16_t* Get() { return _long != nullptr ? _long.get() : _short; }

  private:
    static constexpr unsigned long ShortSize = 1024;

    std::unique_ptr<char16_t[]> _long;
    char16_t _short[ShortSize];
};

using Turn = ZynIconvDescriptorArray::Turn;

// ICU counts in signed 32-bit numbers.
constexpr unsigned long MaxLength = INT32_MAX - 1;
// Code units that stand behind those of the source's bytes at most: one more than there are bytes
// and the digit.
constexpr unsigned long MaxTail = 2;
constexpr char16_t Sentinel = u'1';

constexpr unsigned long TextLevel = 33; // of the lines that show what is converted

int32_t Capacity(unsigned long size) {
    return static_cast<int32_t>(std::min(size, MaxLength));
}

// Code units up to the first NUL, of which there is none in nearly every text. A long one is looked
// at in words of four units: taking 1 off each borrows into the highest bit of one that is 0. In a
// short one, that would wait for the units that have only just been stored.
int32_t CountUpToNul(const char16_t* units, int32_t count) {
    constexpr int32_t LongText = 64;
    constexpr int32_t BlockSize = 16;
    constexpr int32_t UnitsOfWord = 4;
    constexpr std::uint64_t Ones = 0x0001000100010001;
    constexpr std::uint64_t Highest = 0x8000800080008000;
    int32_t at = 0;
    std::uint64_t borrowed = 0;
    for (; count >= LongText && at + BlockSize <= count; at += BlockSize) {
        for (int32_t i = 0; i < BlockSize; i += UnitsOfWord) {
            std::uint64_t word = 0;
            std::memcpy(&word, units + at + i, sizeof word);
            borrowed |= (word - Ones) & ~word & Highest;
        }
        if (borrowed != 0)
            break;
    }
    return static_cast<int32_t>(std::find(units + at, units + count, u'\0') - units);
}

// ICU's warnings are below 0.
bool HasFailed(int error) {
    return error > U_ZERO_ERROR;
}

std::string Hex(const void* bytes, unsigned long n) {
    return n == 0 || bytes == nullptr ? "" : ZynBinary(bytes, n).AsHexString().Data();
}

} // namespace

// A conversion that is under way, and what it has come to.
struct ZynConverter::Conversion {
    const char* src;
    unsigned long srcLen;
    char* tgt;
    unsigned long tgtLen;
    UErrorCode srcError = U_ZERO_ERROR;
    UErrorCode tgtError = U_ZERO_ERROR;
    UErrorCode sentinelError = U_ZERO_ERROR;
    int32_t ucsCount = 0;
    int32_t targetCount = 0;

    void Run(const Turn& turn, char16_t* units);
    int32_t SizeOfSentinel(const Turn& turn);
    /// Code units that there are.
    unsigned long UnitCount() const {
        return std::min(static_cast<unsigned long>(std::max(ucsCount, 0)), srcLen + 1);
    }
};

ZynIconvDescriptorArray& ZynConverter::_iconvDescriptors() {
    static auto& descriptors = *new ZynIconvDescriptorArray;
    return descriptors;
}

ZynConverter::ZynConverter() {
    GetCurrentOSCodePage();
}

ZynConverter::ZynConverter(unsigned short source, unsigned short target) {
    GetCurrentOSCodePage();
    Initialize(source, target);
}

void ZynConverter::Initialize(unsigned short source, unsigned short target) {
    ZYN_FLOW("ZynConverter::Initialize", ZynTrace::FlowLevel, ZynTrace::Kernel);
    const auto meant = [](unsigned short ccsid) -> unsigned short {
        constexpr unsigned short ShiftJis = 932;
        constexpr unsigned short ExplicitShiftJis = 942;
        if (ccsid == 0)
            ccsid = _ccsid;
        return ccsid == ShiftJis ? ExplicitShiftJis : ccsid;
    };
    _sourceCcsid = meant(source);
    _targetCcsid = meant(target);
    _conversionNeeded = _sourceCcsid != _targetCcsid;
    _descriptorIndex = -1;
    if (_conversionNeeded)
        _descriptorIndex = _iconvDescriptors().IconvDescriptorIndex(_sourceCcsid, _targetCcsid);
}

void ZynConverter::SetSingleThreaded() {
    _iconvDescriptors().SetSingleThreaded();
}

unsigned long ZynConverter::Convert(const char* src, unsigned long srcLen, char* tgt,
                                    unsigned long tgtLen, bool hidden) const {
    if (srcLen == 0)
        return 0;
    if (_conversionNeeded)
        return ConvertBetween(src, srcLen, tgt, tgtLen, hidden);
    if (tgtLen < srcLen)
        ZYN_THROW_INT(InsufficientBufferSize(ZYN_ORIGIN("ZynConverter::Convert")));
    std::memcpy(tgt, src, srcLen);
    return srcLen;
}

void ZynConverter::TraceStart(const char* src, unsigned long srcLen, bool hidden) const {
    constexpr unsigned long MaxShown = 100;
    constexpr char Function[] = "ZynConverter::Convert";
    const unsigned long shown = src != nullptr ? std::min(srcLen, MaxShown) : 0;
    const std::string text = hidden ? "hidden string " : "string (hex: " + Hex(src, shown) + ")";
    ZYN_TRACE_IN(Function, TextLevel, ZynTrace::General, ZynTrace::Kernel,
                 "Convert " << text << " from source code page " << CodePageAsString(_sourceCcsid)
                            << " to target code page " << CodePageAsString(_targetCcsid));
    if (!hidden && !zynkplat::CurrentMultiByte().ResetShiftState())
        ZYN_TRACE_IN(Function, TextLevel, ZynTrace::General, ZynTrace::Kernel,
                     "Readable string: \"" << std::string(src, shown) << "\".");
}

// A digit is converted behind the text, so that what the target's encoding needs to return from a
// shift state comes ahead of it and counts as text; its own bytes do not. They are taken off as
// well where a NUL in the text ends the conversion ahead of it.
void ZynConverter::Conversion::Run(const Turn& turn, char16_t* units) {
    if (srcLen > MaxLength) {
        srcError = U_ILLEGAL_ARGUMENT_ERROR;
        return;
    }
    const auto length = static_cast<int32_t>(srcLen);
    ucsCount = ucnv_toUChars(turn.Source(), units, length + 1, src, length, &srcError);
    if (HasFailed(srcError))
        return;
    units[ucsCount] = Sentinel;
    const int32_t end = CountUpToNul(units, ucsCount);
    targetCount = ucnv_fromUChars(turn.Target(), tgt, Capacity(tgtLen), units,
                                  end == ucsCount ? end + 1 : end, &tgtError);
    if (HasFailed(tgtError) || !std::cmp_less(targetCount, 2 * srcLen + 4))
        return;
    targetCount = std::max(targetCount - SizeOfSentinel(turn), 0);
}

// What the digit takes alone, always the same number of bytes.
int32_t ZynConverter::Conversion::SizeOfSentinel(const Turn& turn) {
    int32_t& size = turn.SentinelSize();
    if (size == 0) {
        char digit[2];
        const int32_t found =
            ucnv_fromUChars(turn.Target(), digit, sizeof digit, &Sentinel, 1, &sentinelError);
        if (HasFailed(sentinelError))
            return 0;
        size = found;
    }
    return size;
}

unsigned long
ZynConverter::ConvertBetween(const char* src, unsigned long srcLen,
                             char* tgt, // NOLINT(readability-non-const-parameter): it is filled
                             unsigned long tgtLen, bool hidden) const {
    ZYN_FLOW("ZynConverter::Convert", ZynTrace::FlowLevel, ZynTrace::Kernel);
    if (ZynTrace::IsOpen(TextLevel, ZynTrace::General, ZynTrace::Kernel)) [[unlikely]]
        TraceStart(src, srcLen, hidden);
    CodeUnits units(srcLen <= MaxLength ? srcLen + MaxTail : 0);
    Conversion conversion{.src = src, .srcLen = srcLen, .tgt = tgt, .tgtLen = tgtLen};
    {
        const Turn turn(_iconvDescriptors(), _descriptorIndex);
        conversion.Run(turn, units.Get());
    }
    if (HasFailed(conversion.srcError) || HasFailed(conversion.tgtError)) {
        Dump(conversion, units.Get(), hidden);
        Throw(conversion, conversion.tgtError, hidden);
    }
    if (HasFailed(conversion.sentinelError))
        Throw(conversion, conversion.sentinelError, hidden);
    return static_cast<unsigned long>(conversion.targetCount);
}

// At failure, also with extended trace alone. Nothing of a hidden text.
void ZynConverter::Dump(const Conversion& conversion, const char16_t* units, bool hidden) const {
    const auto line = [](const std::string& text) {
        ZYN_TRACE_ERROR(ZynTrace::Error, ZynTrace::Kernel, text);
    };
    if (!ZynTrace::IsErrorOpen(ZynTrace::Error, ZynTrace::Kernel))
        return;
    line(std::string("Source Codepage = ") + CodePageAsString(_sourceCcsid).C_str());
    line(std::string("Target Codepage = ") + CodePageAsString(_targetCcsid).C_str());
    const unsigned long count = conversion.UnitCount();
    if (!hidden) {
        line("Src string (hex)= " + Hex(conversion.src, conversion.srcLen));
        line("UCS string (hex)= " + Hex(units, count * sizeof *units));
        line("Tgt string (hex)= " + Hex(conversion.tgt, conversion.tgtLen));
    }
    line("sourceLen: " + std::to_string(conversion.srcLen) +
         ", ICU Error src   = " + std::to_string(conversion.srcError) +
         ", ucsCount:    " + std::to_string(conversion.ucsCount));
    line("targetLen: " + std::to_string(conversion.tgtLen) +
         ", ICU Error tgt   = " + std::to_string(conversion.tgtError) +
         ", targetCount: " + std::to_string(conversion.targetCount));
}

void ZynConverter::Throw(const Conversion& conversion, int tgtError, bool hidden) const {
    const ZynOrigin origin = ZYN_ORIGIN("ZynConverter::Convert");
    const UErrorCode srcError = conversion.srcError;
    if (srcError == U_BUFFER_OVERFLOW_ERROR || tgtError == U_BUFFER_OVERFLOW_ERROR)
        ZYN_THROW_INT(InsufficientBufferSize(origin));
    if (srcError == U_ILLEGAL_ARGUMENT_ERROR || srcError == U_INVALID_CHAR_FOUND) {
        const auto failure = [&](const ZynString& text) {
            return InvalidInputString(origin, text, conversion.UnitCount(), _sourceCcsid);
        };
        const ZynString text(conversion.src, static_cast<long>(conversion.srcLen));
        if (!hidden)
            ZYN_THROW_INT(failure(text));
        zynkTraceThrow("THROW_INT, ", failure(ZynString())); // it would show the text
        throw failure(text);
    }
    if (HasFailed(srcError))
        ZYN_THROW_INT(ZynOSException(origin, "icu_src", conversion.ucsCount, srcError));
    ZYN_THROW_INT(ZynOSException(origin, "icu_tgt", conversion.targetCount, tgtError));
}

// Into a string of its own, so that a failure leaves the target alone, and so that it may be the
// source.
void ZynConverter::Convert(const char* src, unsigned long srcLen, ZynString& tgt,
                           bool hidden) const {
    constexpr unsigned long MaxGrowth = 3;
    ZynString text(CreateEmpty, MaxGrowth * srcLen);
    text.PostRead(Convert(src, srcLen, text.PreRead(), MaxGrowth * srcLen, hidden));
    tgt = text;
}

unsigned long ZynConverter::Convert(const ZynString& src, char* tgt, unsigned long tgtLen,
                                    bool hidden) const {
    ZYN_REQUIRE_TEXT(!src.IsNull(), "!IsNull()");
    return Convert(src.C_str(), src.Length(), tgt, tgtLen, hidden);
}

void ZynConverter::Convert(const ZynString& src, ZynString& tgt, bool hidden) const {
    ZYN_REQUIRE_TEXT(!src.IsNull(), "!IsNull()");
    Convert(src.C_str(), src.Length(), tgt, hidden);
}

void ZynConverter::ConvertAndAssignToString(const ZynString& src, unsigned short sourceCcsid,
                                            ZynString& tgt, unsigned short targetCcsid,
                                            bool hidden) {
    ZynConverter(sourceCcsid, targetCcsid).Convert(src, tgt, hidden);
}
