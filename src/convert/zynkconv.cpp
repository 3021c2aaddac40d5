// ZynConverter: the code page of the process, names, exceptions. What converts stands in
// zynkconv_text.cpp.
#include "zynkconv.h"

#include <clocale>
#include <ostream>
#include <string>

#include "zynkplat.h"
#include "zynktrc.h"

namespace {

struct CP_TABLE {
    unsigned short codePage;
    unsigned short ccsid;
};

// Code pages of the system that stand for another CCSID than their number.
constexpr CP_TABLE CpTable[] = {{932, 943}, {936, 1386}};

unsigned short CcsidOf(unsigned short codePage) {
    for (const CP_TABLE& row : CpTable)
        if (row.codePage == codePage)
            return row.ccsid;
    return codePage;
}

} // namespace

constinit std::atomic<unsigned short> ZynConverter::_ccsid{0};

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): told of an object
unsigned short ZynConverter::GetCurrentCodePage() const {
    return _ccsid.load(std::memory_order_relaxed);
}

unsigned short ZynConverter::GetCurrentOSCodePage() {
    unsigned short ccsid = _ccsid.load(std::memory_order_relaxed);
    if (ccsid != 0) [[likely]]
        return ccsid;
    std::setlocale(LC_ALL, "");
    ccsid = GetANSICodePage();
    ZYN_TRACE(3, ZynTrace::General, ZynTrace::Kernel,
              "Local Codepage=" << ccsid << " or " << CodePageAsString(ccsid));
    _ccsid.store(ccsid, std::memory_order_relaxed);
    return ccsid;
}

unsigned short ZynConverter::GetANSICodePage() {
    return CcsidOf(zynkplat::GetACP());
}

unsigned short ZynConverter::GetOEMCodePage() {
    return CcsidOf(zynkplat::GetConsoleOutputCP());
}

ZynString ZynConverter::CodePageAsString(unsigned short ccsid) {
    return ccsid == Utf8 ? ZynString("UTF-8") : CodePageAsAlternativeIconvString(ccsid);
}

ZynString ZynConverter::CodePageAsAlternativeIconvString(unsigned short ccsid) {
    if (ccsid == Ucs2)
        return {"UCS-2"};
    std::string name = ccsid < 10000 ? "KOR-" : "KOR";
    if (ccsid < 100)
        name += '0';
    return {(name + std::to_string(ccsid)).c_str()};
}

ZynConverter::InsufficientBufferSize::InsufficientBufferSize(const ZynOrigin& origin)
    : ZynIntException(origin) {}

void ZynConverter::InsufficientBufferSize::PrintOn(std::ostream& os) const {
    os << "InsufficientBufferSize for codepage conversion";
}

ZynConverter::InvalidCodePage::InvalidCodePage(const ZynOrigin& origin, unsigned short sourceCcsid,
                                               unsigned short targetCcsid)
    : ZynIntException(origin), _sourceCcsid(sourceCcsid), _targetCcsid(targetCcsid) {}

void ZynConverter::InvalidCodePage::PrintOn(std::ostream& os) const {
    os << "InvalidCodePage: No conversion from codepage " << CodePageAsString(_sourceCcsid)
       << " to codepage " << CodePageAsString(_targetCcsid) << " possible";
}

ZynConverter::InvalidInputString::InvalidInputString(const ZynOrigin& origin, const ZynString& text,
                                                     unsigned long bytePosition,
                                                     unsigned short ccsid)
    : ZynIntException(origin), _text(text), _bytePosition(bytePosition), _ccsid(ccsid) {}

void ZynConverter::InvalidInputString::PrintOn(std::ostream& os) const {
    os << "InvalidInputString: Invalid character in string " << _text << " at byte position "
       << std::to_string(_bytePosition) << " with codepage " << CodePageAsString(_ccsid);
}
