// The work information header of the message queueing product, in front of the stream header of a
// message. Its integers stand in the byte order of the host.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "zynksdds.h"
#include "zynktrc.h"

namespace {

struct HXWIH {
    char StrucId[4];
    std::int32_t Version;
    std::int32_t StrucLength;
    std::int32_t Encoding;
    std::int32_t CodedCharSetId;
    char Format[8];
    std::int32_t Flags;
    char ServiceName[32];
    char ServiceStep[8];
    char MsgToken[16];
    char Reserved[32];
};
static_assert(sizeof(HXWIH) == 120);

// Integers and decimals with their low byte first, floating point as in IEEE 754.
constexpr std::int32_t Encoding = 546;

// The fields of characters that a service is told in.
struct Field {
    unsigned long offset;
    unsigned long size;
};
constexpr Field ServiceName{offsetof(HXWIH, ServiceName), sizeof(HXWIH::ServiceName)};
constexpr Field ServiceStep{offsetof(HXWIH, ServiceStep), sizeof(HXWIH::ServiceStep)};

void Fill(char* header, const Field& field, const ZynString& text) {
    std::memset(header + field.offset, ' ', field.size);
    std::memcpy(header + field.offset, text.C_str(), text.Length());
}

// Up to a NUL, without the blanks at both ends.
ZynString Text(const char* header, const Field& field) {
    std::string_view text(header + field.offset, field.size);
    text = text.substr(0, text.find('\0'));
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    text = text.substr(0, text.find_last_not_of(' ') + 1); // npos + 1 is 0
    return {text.data(), static_cast<long>(text.size())};
}

} // namespace

void ZynStream::SetHXWIHServiceName(const ZynString& serviceName) {
    ZYN_REQUIRE(Kind() == InternalRuntimeMessage);
    ZYN_ASSERT_TEXT(serviceName.Length() <= ServiceName.size,
                    "serviceName.Length() <= sizeof(pWIH->ServiceName)");
    Fill(At(_pMem->_headerPos), ServiceName, serviceName);
}

void ZynStream::SetHXWIHServiceStep(const ZynString& serviceStep) {
    ZYN_REQUIRE(Kind() == InternalRuntimeMessage);
    ZYN_ASSERT_TEXT(serviceStep.Length() <= ServiceStep.size,
                    "serviceStep.Length() <= sizeof(pWIH->ServiceStep)");
    Fill(At(_pMem->_headerPos), ServiceStep, serviceStep);
}

ZynString ZynStream::GetHXWIHServiceName() {
    ZYN_REQUIRE(Kind() == InternalRuntimeMessage);
    ZYN_TRACE_ERROR(ZynTrace::Error, ZynTrace::Stream,
                    "Use ZynStream::GetHXWIHServiceName only in test programs.");
    return Text(At(_pMem->_headerPos), ServiceName);
}

ZynString ZynStream::GetHXWIHServiceStep() {
    ZYN_REQUIRE(Kind() == InternalRuntimeMessage);
    ZYN_TRACE_ERROR(ZynTrace::Error, ZynTrace::Stream,
                    "Use ZynStream::GetHXWIHServiceStep only in test programs.");
    return Text(At(_pMem->_headerPos), ServiceStep);
}

void ZynStream::InitHXWIH() {
    ZYN_FLOW("ZynStream::InitHXWIH", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(Kind() == InternalRuntimeMessage);
    HXWIH wih;
    std::memset(&wih, ' ', sizeof wih);
    std::memcpy(wih.StrucId, "WIH ", sizeof wih.StrucId);
    wih.Version = 1;
    wih.StrucLength = sizeof wih;
    wih.Encoding = Encoding;
    wih.CodedCharSetId = _pMem->_header._streamCcsid;
    std::memcpy(wih.Format, "ZYN     ", sizeof wih.Format);
    wih.Flags = 0;
    std::memset(wih.MsgToken, 0, sizeof wih.MsgToken);
    std::memcpy(At(_pMem->_headerPos), &wih, sizeof wih);
    ZYN_TRACE(30, ZynTrace::General, ZynTrace::Stream,
              "WIH->CodedCharSetId set to " << wih.CodedCharSetId);
}
