// Numbers in texts. The system's numbers have 32 bits, whatever the width of the host's.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <system_error>

#include "zynkstr.h"

namespace {

// Decimal digits with leading zeros up to `width` characters. A sign moves to the front of the
// zeros, and a number wider than `width` loses its last characters.
ZynString Padded(std::string text, unsigned long width) {
    if (width != 0) {
        if (text.size() < width)
            text.insert(text[0] == '-' ? 1 : 0, width - text.size(), '0');
        text.resize(width);
    }
    return {text.c_str()};
}

// The runtime's `_gcvt`: up to `digits` significant digits without trailing zeros, "." as decimal
// point whatever the locale and also behind a whole number, and an exponent of at least three
// digits where the number does not fit the digits or is below 0.1.
std::string Gcvt(double value, int digits) {
    if (!std::isfinite(value))
        return std::isnan(value) ? "nan" : value < 0 ? "-inf" : "inf";
    char buffer[64];
    const char* const end = std::to_chars(buffer, buffer + sizeof buffer, std::fabs(value),
                                          std::chars_format::scientific, digits - 1)
                                .ptr;
    const char* const mark = std::find<const char*>(buffer, end, 'e');
    const int exponent = std::atoi(mark + 1);
    std::string mantissa(1, buffer[0]);
    if (digits > 1)
        mantissa.append(buffer + 2, static_cast<std::size_t>(mark - buffer) - 2);
    mantissa.erase(mantissa.find_last_not_of('0', std::string::npos) + 1);
    if (mantissa.empty())
        mantissa = "0";

    std::string text = std::signbit(value) ? "-" : "";
    if (exponent < -1 || exponent > digits - 1) {
        const std::string power = std::to_string(std::abs(exponent));
        text += mantissa.substr(0, 1) + "." + mantissa.substr(1);
        text += exponent < 0 ? "e-" : "e+";
        text.append(power.size() < 3 ? 3 - power.size() : 0, '0');
        return text + power;
    }
    if (exponent < 0)
        return text + "0." + mantissa;
    const auto whole = static_cast<std::size_t>(exponent) + 1;
    if (mantissa.size() < whole)
        mantissa.append(whole - mantissa.size(), '0');
    return text + mantissa.insert(whole, ".");
}

} // namespace

long ZynString::AsLong() const {
    ZYN_REQUIRE(!IsNull());
    return std::clamp<long>(std::strtol(C_str(), nullptr, 10), INT32_MIN, INT32_MAX);
}

unsigned long ZynString::AsUlong() const {
    ZYN_REQUIRE_TEXT(!IsNull(), "! IsNull()");
    const char* at = C_str();
    while (std::isspace(static_cast<unsigned char>(*at)) != 0)
        ++at;
    const bool isNegative = *at == '-';
    if (isNegative || *at == '+')
        ++at;
    if (std::isdigit(static_cast<unsigned char>(*at)) == 0)
        return 0;
    const unsigned long value = std::strtoul(at, nullptr, 10);
    if (value > UINT32_MAX)
        return UINT32_MAX;
    const auto word = static_cast<std::uint32_t>(value);
    return isNegative ? static_cast<std::uint32_t>(0U - word) : word;
}

// The separator is exchanged in the text itself, so that nothing is copied for a number.
double ZynString::AsDouble() const {
    ZYN_REQUIRE(!IsNull());
    char* const separator = std::strchr(_pRep->_data, '.');
    const char localSeparator = *std::localeconv()->decimal_point;
    if (separator == nullptr || localSeparator == '.')
        return std::atof(_pRep->_data);
    *separator = localSeparator;
    const double value = std::atof(_pRep->_data);
    *separator = '.';
    return value;
}

ZynString ZynString::FromLong(long value, unsigned long width) {
    return Padded(std::to_string(value), width);
}

ZynString ZynString::FromUlong(unsigned long value, unsigned long width) {
    return Padded(std::to_string(value), width);
}

ZynString ZynString::FromDouble(double value, unsigned short /*digits*/) {
    constexpr int SignificantDigits = 16;
    return {Gcvt(value, SignificantDigits).c_str()};
}
