#include "zynkgzt.h"

#include <string>

#include "zynktrc.h"
#include "zynkxcp.h"

namespace {

constexpr unsigned long ServiceNameSize = 32;
constexpr unsigned long MaxTextSize = 8;

constexpr char Function[] = "ZynGZT::BuildWIHServiceNameString";

unsigned long Characters(const ZynString& text) {
    try {
        return text.LengthChar();
    } catch (const ZynOSException&) {
        return 0; // bytes that are no characters
    }
}

// Puts a text to its place. False, and a line in the trace, if it does not go there.
bool Place(std::string& field, unsigned long offset, const ZynString& text, const char* name) {
    const unsigned long bytes = text.IsNull() ? 0 : text.Length();
    const unsigned long characters = bytes == 0 ? 0 : Characters(text);
    if (bytes != characters) {
        ZYN_TRACE_IN(Function, 3, ZynTrace::Flow, ZynTrace::Stream,
                     "Length of " << name << " in bytes (" << bytes << ") is not equal length of "
                                  << name << " in character (" << characters << ")");
        return false;
    }
    if (bytes == 0 || bytes > MaxTextSize) {
        ZYN_TRACE_IN(Function, 3, ZynTrace::Flow, ZynTrace::Stream,
                     "Length of " << name << " in bytes (" << bytes
                                  << ") is lower than one or greater than eight");
        return false;
    }
    field.replace(offset, bytes, text.C_str(), bytes);
    return true;
}

bool PlacePriority(std::string& field, long priority) {
    constexpr long MaxPriority = 9999;
    constexpr unsigned long Digits = 4;
    if (priority < 0 || priority > MaxPriority) {
        ZYN_TRACE_IN(Function, 3, ZynTrace::Flow, ZynTrace::Stream,
                     "Value of priority (" << priority << ") is not in the valid range (0 - 9999)");
        return false;
    }
    return Place(field, 12, ZynString::FromLong(priority, Digits), "priority");
}

} // namespace

ZynString ZynGZT::BuildWIHServiceNameString(const ZynString& pesName, bool flag, long priority,
                                            const ZynString& invocationType,
                                            const ZynString& service) {
    const std::string blank(ServiceNameSize, ' ');
    std::string field = blank;
    field.replace(8, 4, flag ? "IMEY" : "IMEN");
    if (!Place(field, 0, pesName, "pesName") || !PlacePriority(field, priority) ||
        !Place(field, 16, invocationType, "invocationType") ||
        !Place(field, 24, service, "service"))
        return {blank.c_str()};
    ZYN_TRACE(9, ZynTrace::General, ZynTrace::Stream,
              "String to fill in the WIH ServiceName field: " << field);
    return {field.c_str()};
}
