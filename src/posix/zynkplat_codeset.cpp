// Code page numbers from the names that a POSIX host gives its character encodings.
#include <langinfo.h>
#include <unicode/ucnv.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "zynkplat.h"

namespace zynkplat {

namespace {

constexpr unsigned short Latin1 = 819;

struct Codeset {
    std::string_view name;
    unsigned short codePage;
};

// Asking ICU about these is wrong: it has no number for some and another one for others.
constexpr Codeset Codesets[] = {
    {"UTF-8", 1208},   {"SHIFT_JIS", 932},   {"WINDOWS-31J", 932},
    {"GBK", 936},      {"BIG5", 950},        {"EUC-JP", 33722},
    {"EUC-KR", 970},   {"GB18030", 1392},    {"ANSI_X3.4-1968", Latin1},
    {"ASCII", Latin1}, {"US-ASCII", Latin1},
};

// The number of a name that is a prefix and digits; 0 for any other name.
unsigned short NumberBehind(std::string_view name, std::string_view prefix) {
    if (!name.starts_with(prefix) || name.size() == prefix.size())
        return 0;
    unsigned long number = 0;
    for (const char c : name.substr(prefix.size())) {
        if (c < '0' || c > '9' || number > UINT16_MAX)
            return 0;
        number = number * 10 + static_cast<unsigned long>(c - '0');
    }
    return number > UINT16_MAX ? 0 : static_cast<unsigned short>(number);
}

unsigned short AskIcu(const char* name) {
    UErrorCode error = U_ZERO_ERROR;
    UConverter* const converter = ucnv_open(name, &error);
    if (U_FAILURE(error) != 0)
        return 0;
    const int32_t ccsid = ucnv_getCCSID(converter, &error);
    ucnv_close(converter);
    return U_FAILURE(error) != 0 || ccsid < 0 || ccsid > UINT16_MAX
               ? 0
               : static_cast<unsigned short>(ccsid);
}

} // namespace

unsigned short CodePageOfCodeset(const char* codeset) {
    std::string name(codeset);
    for (char& c : name) // by the letters of ASCII: the locale has a say in toupper
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    for (const std::string_view prefix : {"CP", "IBM", "WINDOWS-"})
        if (const unsigned short number = NumberBehind(name, prefix); number != 0)
            return number;
    for (const Codeset& known : Codesets)
        if (known.name == name)
            return known.codePage;
    const unsigned short ccsid = AskIcu(name.c_str());
    return ccsid != 0 ? ccsid : Latin1;
}

unsigned short GetACP() {
    return CodePageOfCodeset(nl_langinfo(CODESET));
}

unsigned short GetConsoleOutputCP() {
    const char* const codeset = std::getenv("ZYN_CONSOLE_CODESET");
    return codeset != nullptr && *codeset != '\0' ? CodePageOfCodeset(codeset) : GetACP();
}

} // namespace zynkplat
