// ZynConverter: UTF-16 from and to the process's code page.
#include <cstring>
#include <utility>

#include "zynkconv.h"
#include "zynktrc.h"

namespace {

constexpr unsigned long MarkSize = 2;

const char* Hex(const ZynBinary& bytes, ZynBinary& hex) {
    hex = bytes.AsHexString();
    return std::as_const(hex).Data();
}

// Takes the mark away, and exchanges the bytes of each pair behind it.
void StripAndSwap(ZynBinary& text) {
    const unsigned long length = text.Length() - MarkSize;
    char* const to = text.Data();
    for (unsigned long i = 0; i + 1 < length; i += 2) {
        const char first = to[i + MarkSize];
        to[i] = to[i + MarkSize + 1];
        to[i + 1] = first;
    }
    if (length % 2 != 0) {
        ZYN_TRACE_IN("ZynConverter::ToUnicode", 3, ZynTrace::General, ZynTrace::Kernel,
                     "WARNING: UCS-2 string length is not even: " << length);
        to[length - 1] = to[length - 1 + MarkSize];
    }
    text.PostRead(length);
}

void Strip(ZynBinary& text) {
    const unsigned long length = text.Length() - MarkSize;
    char* const to = text.Data();
    std::memmove(to, to + MarkSize, length);
    text.PostRead(length);
}

// The mark is looked at as a little-endian number, whatever the order of the text.
void StripMark(ZynBinary& text) {
    constexpr unsigned int Opposite = 0xFFFE;
    constexpr unsigned int Same = 0xFEFF;
    if (text.Length() < MarkSize)
        return;
    const char* const bytes = std::as_const(text).Data();
    const unsigned int first = static_cast<unsigned char>(bytes[0]);
    const unsigned int mark =
        first | static_cast<unsigned int>(static_cast<unsigned char>(bytes[1])) << 8U;
    ZYN_TRACE_IN("ZynConverter::ToUnicode", 3, ZynTrace::General, ZynTrace::Kernel,
                 "First two bytes of string are: " << mark);
    if (mark == Opposite) {
        ZYN_TRACE_IN("ZynConverter::ToUnicode", 3, ZynTrace::General, ZynTrace::Kernel,
                     "Strip BOM + Swap byte order");
        StripAndSwap(text);
    } else if (mark == Same) {
        ZYN_TRACE_IN("ZynConverter::ToUnicode", 3, ZynTrace::General, ZynTrace::Kernel,
                     "Strip BOM only");
        Strip(text);
    }
}

} // namespace

void ZynConverter::ToUnicode(const ZynString& src, ZynBinary& tgt, bool hidden) {
    ZYN_FLOW("ZynConverter::ToUnicode", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(!src.IsNull(), "!IsNull()");
    ZynBinary hex;
    if (!hidden)
        ZYN_TRACE(3, ZynTrace::General, ZynTrace::Kernel,
                  "sourceString: " << src << ", as Hex: " << Hex(src.AsBinary(), hex));
    const unsigned short own = GetCurrentOSCodePage();
    ZYN_TRACE(3, ZynTrace::General, ZynTrace::Kernel, "Conversion from " << own << " to UCS-2");
    const ZynConverter converter(own, Ucs2);
    const unsigned long size = 2 * src.Length() + 2;
    ZynBinary text(CreateEmpty, size);
    text.PostRead(converter.Convert(src, text.PreRead(), size, hidden));
    StripMark(text);
    if (!hidden)
        ZYN_TRACE(3, ZynTrace::General, ZynTrace::Kernel, "targetBin in Hex: " << Hex(text, hex));
    tgt = text;
}

void ZynConverter::ToBigEndianUnicode(const ZynString& src, ZynBinary& tgt, bool hidden) {
    ToUnicode(src, tgt, hidden);
    ZYN_ENSURE_TEXT(tgt.Length() % 2 == 0,
                    "\"Unicode String has odd length\" && targetBin.Length() % 2 == 0");
}

void ZynConverter::FromUnicode(const ZynBinary& src, ZynString& tgt, bool hidden) {
    ZYN_FLOW("ZynConverter::FromUnicode", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(!src.IsNull(), "!IsNull()");
    const unsigned short own = GetCurrentOSCodePage();
    ZYN_TRACE(3, ZynTrace::General, ZynTrace::Kernel, "Conversion from UCS-2 to " << own);
    ZynConverter(Ucs2, own).Convert(src.Data(), src.Length(), tgt, hidden);
}
