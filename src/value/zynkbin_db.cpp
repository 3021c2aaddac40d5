// Binary values as variable-length fields of relational database interfaces.
//
// The records begin in the prefix: a 32-bit length takes its 4 bytes, a 16-bit length the last 2.
#include <algorithm>
#include <climits>
#include <cstddef>

#include "zynkbin.h"

namespace {

// The prefix is 4 bytes into a block of the heap, so both records are aligned there.
static_assert(offsetof(ZynTB4VarChar, data) == 2);
static_assert(offsetof(ZynTB4LOB, data) == ZynBinary::Rep::PrefixSize);
static_assert(offsetof(ZynODBCVarChar, data) == ZynBinary::Rep::PrefixSize);

template <class Record>
Record* RecordOf(const ZynBinary::Rep& rep) {
    return reinterpret_cast<Record*>(rep._data - offsetof(Record, data));
}

template <class Record>
unsigned long FieldLength(const ZynBinary::Rep& rep) {
    // A negative length becomes one far beyond any room, and so fails the invariant.
    return static_cast<unsigned long>(static_cast<long>(RecordOf<Record>(rep)->length));
}

void RequireUnique(const ZynBinary::RepRef& _pRep) {
    ZYN_REQUIRE_TEXT(_pRep != nullptr, "_pRep!=0");
    ZYN_REQUIRE(_pRep->_refCount == 1);
}

template <class Record>
Record* BeginRead(const ZynBinary::RepRef& rep) {
    RequireUnique(rep);
    return RecordOf<Record>(*rep);
}

template <class Record>
Record* SetLength(const ZynBinary::Rep& rep, unsigned long length) {
    auto* const record = RecordOf<Record>(rep);
    record->length = static_cast<decltype(record->length)>(length);
    return record;
}

} // namespace

const ZynBinary::StringRep* ZynBinary::StringBuffer() const {
    ZYN_REQUIRE_TEXT(_pRep != nullptr, "_pRep != 0");
    return reinterpret_cast<const StringRep*>(_pRep->_data - Rep::PrefixSize);
}

ZynBinary::StringRep* ZynBinary::StringBuffer() {
    ZYN_REQUIRE_TEXT(_pRep != nullptr, "_pRep != 0");
    ZYN_REQUIRE(_pRep->_refCount == 1);
    return reinterpret_cast<StringRep*>(_pRep->_data - Rep::PrefixSize);
}

// The interface is told no more room than its field can say.
ZynTB4VarChar* ZynBinary::PreTB4VarCharRead() {
    RequireUnique(_pRep);
    return SetLength<ZynTB4VarChar>(*_pRep, std::min<unsigned long>(_pRep->_allocLen, SHRT_MAX));
}

void ZynBinary::PostTB4VarCharRead() {
    RequireUnique(_pRep);
    PostRead(FieldLength<ZynTB4VarChar>(*_pRep));
}

ZynTB4VarChar* ZynBinary::PreTB4VarCharWrite() const {
    ZYN_REQUIRE_TEXT(_pRep != nullptr, "_pRep!=0");
    ZYN_ASSERT(_pRep->_len <= SHRT_MAX);
    return SetLength<ZynTB4VarChar>(*_pRep, _pRep->_len);
}

ZynTB4LOB* ZynBinary::PreTB4LOBRead() {
    return BeginRead<ZynTB4LOB>(_pRep);
}

void ZynBinary::PostTB4LOBRead() {
    RequireUnique(_pRep);
    PostRead(FieldLength<ZynTB4LOB>(*_pRep));
}

ZynTB4LOB* ZynBinary::PreTB4LOBWrite() const {
    ZYN_REQUIRE_TEXT(_pRep != nullptr, "_pRep!=0");
    ZYN_ASSERT_TEXT(_pRep->_len <= UINT32_MAX, "_pRep->_len <= ULONG_MAX");
    return SetLength<ZynTB4LOB>(*_pRep, _pRep->_len);
}

ZynODBCVarChar* ZynBinary::PreODBCVarCharRead() {
    return BeginRead<ZynODBCVarChar>(_pRep);
}

void ZynBinary::PostODBCVarCharRead() {
    RequireUnique(_pRep);
    PostRead(FieldLength<ZynODBCVarChar>(*_pRep));
}

ZynODBCVarChar* ZynBinary::PreODBCVarCharWrite() const {
    ZYN_REQUIRE_TEXT(_pRep != nullptr, "_pRep!=0");
    ZYN_ASSERT_TEXT(_pRep->_len <= INT32_MAX, "_pRep->_len <= LONG_MAX");
    return SetLength<ZynODBCVarChar>(*_pRep, _pRep->_len);
}
