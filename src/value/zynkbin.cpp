#include "zynkbin.h"

#include <cctype>
#include <climits>
#include <cstring>
#include <new>
#include <ostream>
#include <utility>

namespace {

const char HexDigits[] = "0123456789ABCDEF";

bool IsHexDigit(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

unsigned int HexValue(char c) {
    const auto u = static_cast<unsigned int>(static_cast<unsigned char>(c));
    return u <= '9' ? u - '0' : (u | 0x20U) - 'a' + 10;
}

} // namespace

// The byte behind the room is a terminator, inside the block however a text was made. A failed
// allocation is the runtime's std::bad_alloc.
ZynBinary::Rep* ZynBinary::Rep::Allocate(unsigned long allocLength, unsigned long length) {
    ZYN_REQUIRE_TEXT(length <= allocLength, "length<=allocLength");
    constexpr unsigned long Ahead = sizeof(Rep) + PrefixSize;
    if (allocLength > LONG_MAX - Ahead - BlockStep)
        throw std::bad_alloc();
    char* const block = static_cast<char*>(::operator new(Ahead + BlockRoom(allocLength) + 1));
    char* const data = block + Ahead;
    data[allocLength] = '\0';
    return ::new (block) Rep{data, length, 1, allocLength};
}

void ZynBinary::Rep::Deallocate(Rep*& rep) {
    ::operator delete(rep);
    rep = nullptr;
}

void ZynBinary::RepRef::Replace(unsigned long allocLength, unsigned long copyLength) {
    RepRef fresh(Rep::Allocate(allocLength, _p->_len));
    std::memcpy(fresh->_data, _p->_data, copyLength);
    *this = std::move(fresh);
}

// The length is tested before it is stored: a value whose invariant is broken must not live on.
void ZynBinary::RepRef::SetLength(unsigned long n) {
    if (n > _p->_allocLen)
        zynkInvariant("_pRep==0 || _pRep->_len <= _pRep->_allocLen", __FILE_NAME__, __LINE__);
    if (_p->_refCount > 1)
        Replace(_p->_allocLen, _p->_allocLen);
    _p->_len = n;
}

ZynBinary::ZynBinary(CreateEmptyTag, unsigned long n) : _pRep(Rep::Allocate(n, n)) {}

ZynBinary::ZynBinary(const void* data, unsigned long n) {
    ZYN_REQUIRE_TEXT(data != nullptr || n == 0, "data != 0 || n == 0");
    _pRep = RepRef(Rep::Allocate(n, n));
    if (n != 0)
        std::memcpy(_pRep->_data, data, n);
}

ZynBinary& ZynBinary::Assign(const void* data, unsigned long n) {
    ZYN_REQUIRE_TEXT(data != nullptr || n == 0, "data != 0 || n == 0");
    if (!_pRep.Fit(n))
        return *this = ZynBinary(data, n);
    if (n != 0)
        std::memmove(_pRep->_data, data, n);
    _pRep->_data[n] = '\0';
    _pRep->_len = n;
    return *this;
}

char* ZynBinary::PreRead() {
    ZYN_REQUIRE_TEXT(_pRep != nullptr, "_pRep!=0");
    ZYN_ASSERT(_pRep->_refCount == 1);
    return _pRep->_data;
}

void ZynBinary::PostRead(unsigned long n) {
    ZYN_REQUIRE_TEXT(_pRep != nullptr, "_pRep!=0");
    _pRep.SetLength(n);
}

ZynBinary ZynBinary::SubBinary(unsigned long startPos, unsigned long length) const {
    ZYN_REQUIRE(!IsNull() && startPos > 0);
    const unsigned long held = Length();
    if (startPos > held || length == 0)
        return {};
    const unsigned long rest = held - (startPos - 1);
    return {_pRep->_data + (startPos - 1), length < rest ? length : rest};
}

ZynBinary& ZynBinary::operator|=(const ZynBinary& rhs) {
    ZYN_REQUIRE(!IsNull() && !rhs.IsNull());
    const unsigned long left = Length();
    const unsigned long right = rhs.Length();
    if (right == 0)
        return *this;
    if (left == 0)
        return *this = rhs;
    ZynBinary joined(CreateEmpty, left + right);
    std::memcpy(joined._pRep->_data, _pRep->_data, left);
    std::memcpy(joined._pRep->_data + left, rhs._pRep->_data, right);
    return *this = std::move(joined);
}

ZynBinary operator|(const ZynBinary& lhs, const ZynBinary& rhs) {
    ZYN_REQUIRE(!lhs.IsNull() && !rhs.IsNull());
    ZynBinary joined(lhs);
    joined |= rhs;
    return joined;
}

bool operator==(const ZynBinary& lhs, const ZynBinary& rhs) {
    ZYN_REQUIRE_TEXT(!lhs.IsNull() && !rhs.IsNull(), "!IsNull() && !rhs.IsNull()");
    return lhs.Length() == rhs.Length() &&
           std::memcmp(lhs._pRep->_data, rhs._pRep->_data, lhs.Length()) == 0;
}

bool operator<(const ZynBinary& lhs, const ZynBinary& rhs) {
    ZYN_REQUIRE_TEXT(!lhs.IsNull() && !rhs.IsNull(), "!IsNull() && !rhs.IsNull()");
    const unsigned long left = lhs.Length();
    const unsigned long right = rhs.Length();
    const int order = std::memcmp(lhs._pRep->_data, rhs._pRep->_data, left < right ? left : right);
    return order != 0 ? order < 0 : left < right;
}

ZynBinary ZynBinary::AsHexString() const {
    ZYN_REQUIRE(!IsNull());
    const unsigned long n = Length();
    ZynBinary text(CreateEmpty, 2 * n + 1);
    char* to = text._pRep->_data;
    for (unsigned long i = 0; i < n; ++i) {
        const auto byte = static_cast<unsigned char>(_pRep->_data[i]);
        *to++ = HexDigits[byte >> 4U];
        *to++ = HexDigits[byte & 0xFU];
    }
    *to = '\0';
    text._pRep->_len = 2 * n;
    return text;
}

ZynBinary ZynBinary::FromHexString(const char* pchar) {
    ZYN_REQUIRE_TEXT(pchar != nullptr, "pchar != 0");
    const unsigned long len = std::strlen(pchar);
    ZYN_ASSERT(len % 2 == 0);
    ZynBinary bytes(CreateEmpty, len / 2);
    for (unsigned long i = 0; i < len / 2; ++i) {
        ZYN_ASSERT_TEXT(IsHexDigit(pchar[2 * i]), "isxdigit( pchar[2*i])");
        ZYN_ASSERT_TEXT(IsHexDigit(pchar[2 * i + 1]), "isxdigit( pchar[2*i+1])");
        bytes._pRep->_data[i] =
            static_cast<char>(HexValue(pchar[2 * i]) << 4U | HexValue(pchar[2 * i + 1]));
    }
    return bytes;
}

void ZynBinary::Mark(char c) {
    ZYN_REQUIRE(!IsNull());
    const unsigned long n = Length();
    ZynBinary marked(CreateEmpty, n + 2);
    marked._pRep->_data[0] = c;
    std::memcpy(marked._pRep->_data + 1, _pRep->_data, n);
    marked._pRep->_data[n + 1] = c;
    *this = std::move(marked);
}

void ZynBinary::Unmark(char c) {
    ZYN_REQUIRE(!IsNull());
    const unsigned long n = Length();
    if (n >= 2 && _pRep->_data[0] == c && _pRep->_data[n - 1] == c)
        *this = ZynBinary(_pRep->_data + 1, n - 2);
}

ZynBinary ZynBinary::ToMD5() const {
    ZYN_REQUIRE(!IsNull());
    MD5 md5;
    const auto* from = reinterpret_cast<const unsigned char*>(_pRep->_data);
    unsigned long rest = Length();
    while (rest > 0) {
        const auto piece = static_cast<unsigned int>(rest < UINT_MAX ? rest : UINT_MAX);
        md5.Update(from, piece);
        from += piece;
        rest -= piece;
    }
    return md5.Final();
}

std::ostream& operator<<(std::ostream& os, const ZynBinary& binary) {
    return binary.IsNull() ? os << "<null>" : os << binary.AsHexString().Data();
}
