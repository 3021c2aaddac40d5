// The work information header of the message queueing product, in front of the stream header of a
// message. Its integers stand in the byte order of the host.
#include <cstdint>
#include <cstring>

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

} // namespace

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
