// Typed identifiers: invariants, steps, streams and printed forms.
#include "zynkoids.h"

#include <ostream>

#include "zynksdds.h"

namespace {

std::int32_t ActivityNumber(long number) {
    return static_cast<std::int32_t>(zynkxdr::WireWord(number));
}

std::int32_t GetActivityNumber(ZynStream& stream) {
    long number = 0;
    stream >> number;
    return static_cast<std::int32_t>(number);
}

} // namespace

ZynBTID& ZynBTID::increment(short step, ZynOIDEncoding::Type encoding) {
    _oid.increment(step, encoding);
    return *this;
}

bool ZynBIID::IsNull() const {
    ZYN_ASSERT_TEXT(_oid.IsNull() || !_btid.IsNull(), "_oid.IsNull() || ! _btid.IsNull()");
    return _oid.IsNull();
}

ZynBIID& ZynBIID::increment(short step, ZynOIDEncoding::Type encoding) {
    _btid.increment(step, encoding);
    _oid.increment(step, encoding);
    return *this;
}

ZynATID::ZynATID(const ZynBinary& tid, long tActNum)
    : _parent(tid), _tActNum(ActivityNumber(tActNum)) {}

ZynAIID::ZynAIID(const ZynBinary& iid, long iActNum, const ZynBinary& tid, long tActNum)
    : _biid(iid, tid), _iActNum(ActivityNumber(iActNum)), _tid(tid, tActNum) {}

bool ZynAIID::IsNull() const {
    ZYN_ASSERT(_biid.IsNull() || !_tid.IsNull());
    return _biid.IsNull();
}

ZynStream& operator<<(ZynStream& stream, const ZynWIID& id) {
    return stream << id._oid;
}

ZynStream& operator>>(ZynStream& stream, ZynWIID& id) {
    return stream >> id._oid;
}

ZynStream& operator<<(ZynStream& stream, const ZynBTID& id) {
    return stream << id._oid;
}

ZynStream& operator>>(ZynStream& stream, ZynBTID& id) {
    return stream >> id._oid;
}

ZynStream& operator<<(ZynStream& stream, const ZynBIID& id) {
    return stream << id._btid << id._oid;
}

ZynStream& operator>>(ZynStream& stream, ZynBIID& id) {
    ZynBIID read;
    stream >> read._btid >> read._oid;
    id = read;
    return stream;
}

ZynStream& operator<<(ZynStream& stream, const ZynATID& id) {
    return stream << id._parent << id.TActNum();
}

ZynStream& operator>>(ZynStream& stream, ZynATID& id) {
    ZynATID read;
    stream >> read._parent;
    read._tActNum = GetActivityNumber(stream);
    id = read;
    return stream;
}

ZynStream& operator<<(ZynStream& stream, const ZynAIID& id) {
    return stream << id._tid << id._biid.FlatIOID() << id.IActNum();
}

ZynStream& operator>>(ZynStream& stream, ZynAIID& id) {
    ZynAIID read;
    ZynOID iid;
    stream >> read._tid >> iid;
    read._biid = ZynBIID(iid, read._tid.ParentID());
    read._iActNum = GetActivityNumber(stream);
    id = read;
    return stream;
}

std::ostream& operator<<(std::ostream& os, const ZynWIID& id) {
    return os << id._oid;
}

std::ostream& operator<<(std::ostream& os, const ZynBTID& id) {
    return os << id._oid;
}

std::ostream& operator<<(std::ostream& os, const ZynBIID& id) {
    return os << id._btid << ',' << id._oid;
}

std::ostream& operator<<(std::ostream& os, const ZynATID& id) {
    return os << id._parent << ',' << std::to_string(id.TActNum());
}

std::ostream& operator<<(std::ostream& os, const ZynAIID& id) {
    return os << id._tid << ',' << id._biid.FlatIOID() << ',' << std::to_string(id.IActNum());
}
