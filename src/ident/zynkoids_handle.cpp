// Handles: an identifier's bytes between two prefix bytes, as a text.
#include <string_view>
#include <tuple>

#include "zynkoids.h"
#include "zynktrc.h"
#include "zynkxcp.h"
#include "zynkxdr.h"

namespace zynkoids {

/// The family, written once. `Payload` are the parts between the prefix bytes, in their order, and
/// `PayloadLength` is how the check of a frame that was read tells their length.
#define ZYN_FRAME(Id, Name, TraceLabel, PayloadLength, Writer, Reader, ...)                        \
    template <>                                                                                    \
    struct Frame<Id> {                                                                             \
        static constexpr char Prefix = IdPrefix::Name;                                             \
        static constexpr unsigned long Length = Name##_BIN_LENGTH;                                 \
        static constexpr auto Label = TraceLabel;                                                  \
        static constexpr auto Made = #Id "::" #Writer;                                             \
        static constexpr auto Read = #Id "::" #Reader;                                             \
        static constexpr auto LengthText = "bin.Length()==" #Name "_BIN_LENGTH";                   \
        static constexpr auto FirstText = "bin[0]==IdPrefix::" #Name;                              \
        static constexpr auto LastText = "bin[" #Name "_BIN_LENGTH-1]==IdPrefix::" #Name;          \
        static constexpr auto PayloadText = "bin.Length()==" PayloadLength;                        \
                                                                                                   \
        template <class Self>                                                                      \
        static auto Payload(Self& self) {                                                          \
            return std::tie(__VA_ARGS__);                                                          \
        }                                                                                          \
    };
#define ZYN_HANDLE(Id, Name, Label, PayloadLength, ...)                                            \
    ZYN_FRAME(Id, Name, Label, PayloadLength, AsExternalObjectHandle, FromExternalObjectHandle,    \
              __VA_ARGS__)

ZYN_HANDLE(ZynBTID, PTID, " PTID=", "sizeof(ZynOID)", self._oid)
ZYN_HANDLE(ZynBIID, PIID, " PIID=", "2*sizeof(ZynOID)", self._oid, self._btid._oid)
ZYN_FRAME(ZynAIID, AIID, " AIID=", "2*sizeof(ZynOID)+2*sizeof(long)", AsBinaryObjectHandle,
          FromBinaryObjectHandle, self._biid._oid, self._iActNum, self._tid._parent._oid,
          self._tid._tActNum)
ZYN_HANDLE(ZynWIID, WIID, " WIID=", "sizeof(ZynOID)", self._oid)
ZYN_HANDLE(ZynActImplCorrelID, ActImplCorrelID,
           " ActImplCorrelID=", "AIID_BIN_LENGTH + sizeof(ZynOID)", self._aiid, self._cookie)
ZYN_HANDLE(ZynSessionID, SessionID, " SessID=", "sizeof(ZynOID)", self._oid)
ZYN_HANDLE(ZynTLID, TLID, " TLID=", "sizeof(ZynOID)", self._oid)
ZYN_HANDLE(ZynILID, ILID, " ILID=", "sizeof(ZynOID)", self._oid)
ZYN_HANDLE(ZynWLID, WLID, " WLID=", "sizeof(ZynOID)", self._oid)
ZYN_HANDLE(ZynALID, ALID, " ALID=", "sizeof(ZynOID)", self._oid)
// A process instance has its template first here, other than in its own handle.
ZYN_HANDLE(ZynIMID, IMID, " IMID=", "4*sizeof(ZynOID)", self._first._btid._oid, self._first._oid,
           self._second._btid._oid, self._second._oid)

#undef ZYN_HANDLE
#undef ZYN_FRAME

namespace {

void PutPart(ZynBinary& bin, const ZynOID& part) {
    bin |= part.AsBinary();
}

void PutPart(ZynBinary& bin, std::int32_t part) {
    char word[zynkxdr::WordSize];
    zynkxdr::StoreWord(word, static_cast<std::uint32_t>(part));
    bin |= ZynBinary(word, sizeof word);
}

void PutPart(ZynBinary& bin, const ZynAIID& part) {
    bin |= part.AsBinaryObjectHandle();
}

// Each takes its part off the front of the payload.
void GetPart(const char*& from, ZynOID& part) {
    part = ZynOID(ZynBinary(from, sizeof part));
    from += sizeof part;
}

void GetPart(const char*& from, std::int32_t& part) {
    part = static_cast<std::int32_t>(zynkxdr::LoadWord(from));
    from += zynkxdr::WordSize;
}

void GetPart(const char*& from, ZynAIID& part) {
    part = ZynAIID::FromBinaryObjectHandle(ZynBinary(from, AIID_BIN_LENGTH));
    from += AIID_BIN_LENGTH;
}

template <class Id>
ZynBinary MakeFrame(const Id& id) {
    using IdFrame = Frame<Id>;
    ZYN_FLOW(IdFrame::Made, ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZynBinary bin("", 0);
    std::apply([&bin](const auto&... parts) { (PutPart(bin, parts), ...); }, IdFrame::Payload(id));
    bin.Mark(IdFrame::Prefix);
    ZYN_ENSURE_TEXT(bin.Length() == IdFrame::Length, IdFrame::LengthText);
    ZYN_ENSURE_TEXT(bin[0] == IdFrame::Prefix, IdFrame::FirstText);
    ZYN_ENSURE_TEXT(bin[IdFrame::Length - 1] == IdFrame::Prefix, IdFrame::LastText);
    return bin;
}

bool IsFramed(const ZynBinary& bin, char prefix, unsigned long length) {
    if (bin.IsNull() || bin.Length() != length)
        return false;
    const std::string_view bytes(bin.Data(), length);
    return bytes.front() == prefix && bytes.back() == prefix;
}

template <class Id>
Id ReadFrame(ZynBinary bin) {
    using IdFrame = Frame<Id>;
    ZYN_FLOW(IdFrame::Read, ZynTrace::FlowLevel, ZynTrace::Kernel);
    if (!IsFramed(bin, IdFrame::Prefix, IdFrame::Length)) {
        ZYN_TRACE_IN(IdFrame::Read, 5, ZynTrace::General, ZynTrace::Kernel, IdFrame::Label << bin);
        ZYN_THROW_EXT(ZynExtExcINVALID_OID(ZYN_ORIGIN(IdFrame::Read)));
    }
    bin.Unmark(IdFrame::Prefix);
    ZYN_ASSERT_TEXT(bin.Length() == IdFrame::Length - 2, IdFrame::PayloadText);
    Id id;
    const char* from = bin.Data();
    std::apply([&from](auto&... parts) { (GetPart(from, parts), ...); }, IdFrame::Payload(id));
    return id;
}

} // namespace

} // namespace zynkoids

template <class Id>
ZynString ZynHandleOf<Id>::AsExternalObjectHandle() const {
    return ZynString::Base64Encode(zynkoids::MakeFrame(static_cast<const Id&>(*this)));
}

template <class Id>
Id ZynHandleOf<Id>::FromExternalObjectHandle(const ZynString& handle) {
    return zynkoids::ReadFrame<Id>(handle.IsNull() ? ZynBinary() : handle.Base64Decode());
}

template class ZynHandleOf<ZynBTID>;
template class ZynHandleOf<ZynBIID>;
template class ZynHandleOf<ZynWIID>;
template class ZynHandleOf<ZynActImplCorrelID>;
template class ZynHandleOf<ZynSessionID>;
template class ZynHandleOf<ZynTLID>;
template class ZynHandleOf<ZynILID>;
template class ZynHandleOf<ZynWLID>;
template class ZynHandleOf<ZynALID>;
template class ZynHandleOf<ZynIMID>;

ZynBinary ZynAIID::AsBinaryObjectHandle() const {
    return zynkoids::MakeFrame(*this);
}

// The frame holds the process template once, the identifier twice.
ZynAIID ZynAIID::FromBinaryObjectHandle(const ZynBinary& handle) {
    auto aiid = zynkoids::ReadFrame<ZynAIID>(handle);
    aiid._biid = ZynBIID(aiid._biid.FlatIOID(), aiid._tid.ParentID());
    return aiid;
}
