#include "zynkspac.h"

#include <cstring>

namespace {

constexpr unsigned long MaxSpaces = 128;

const char zynManySpaces[] = "                                                                "
                             "                                                                ";

} // namespace

const char* spaces(unsigned long n) {
    ZYN_REQUIRE_TEXT(std::strlen(zynManySpaces) == MaxSpaces, "strlen(zynManySpaces)==128");
    ZYN_REQUIRE_TEXT(n <= MaxSpaces, "n <= 128");
    return zynManySpaces + (MaxSpaces - n);
}
