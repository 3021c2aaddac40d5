// ZynString: making, comparing, joining and filling. The operations on characters, editing and
// numbers stand in the sources beside this one.
#include "zynkstr.h"

#include <algorithm>
#include <climits>
#include <ostream>
#include <utility>

namespace {

// The bytes that a constructor is to copy: none past the first NUL.
unsigned long BytesToCopy(const char* text, long length) {
    if (length == -1)
        return std::strlen(text);
    return length > 0 ? strnlen(text, static_cast<unsigned long>(length)) : 0;
}

// Bytes with a terminator. More than there can be stays so, and fails when it is asked for.
unsigned long Terminated(unsigned long n) {
    return n < ULONG_MAX ? n + 1 : n;
}

// A representation with room for `capacity` bytes and a terminator. Its byte is taken off the room,
// so that PostRead can fill exactly what was asked for.
ZynBinary::Rep* AllocateText(unsigned long capacity, unsigned long length) {
    ZynBinary::Rep* const rep = ZynBinary::Rep::Allocate(Terminated(capacity), length);
    --rep->_allocLen;
    return rep;
}

} // namespace

ZynString::ZynString(const char* text, long length, unsigned long startpos) {
    ZYN_REQUIRE(startpos > 0);
    if (text == nullptr)
        return;
    const char* const from = text + (startpos - 1);
    *this = FromBytes(from, BytesToCopy(from, length));
}

ZynString::ZynString(CreateEmptyTag, unsigned long capacity) : _pRep(AllocateText(capacity, 0)) {
    _pRep->_data[0] = '\0';
}

ZynString ZynString::FromBytes(const char* bytes, unsigned long n) {
    ZynString string;
    string._pRep = ZynBinary::RepRef(ZynBinary::Rep::Allocate(Terminated(n), n));
    if (n != 0)
        std::memcpy(string._pRep->_data, bytes, n);
    string._pRep->_data[n] = '\0';
    return string;
}

// The new text may lie within the old one, which goes last.
ZynString& ZynString::operator=(const char* text) {
    return *this = ZynString(text);
}

ZynString& ZynString::operator=(char c) {
    Assign(&c, 1);
    return *this;
}

ZynString& ZynString::Assign(const char* bytes, unsigned long n) {
    ZYN_REQUIRE_TEXT(bytes != nullptr || n == 0, "bytes != 0 || n == 0");
    if (!_pRep.Fit(Terminated(n)))
        return *this = FromBytes(bytes, n);
    if (n != 0)
        std::memmove(_pRep->_data, bytes, n);
    _pRep->_data[n] = '\0';
    _pRep->_len = n;
    return *this;
}

bool operator==(const ZynString& r, const char* psz) {
    ZYN_REQUIRE_TEXT(!r.IsNull() && psz != nullptr, "!r.IsNull() && psz != 0");
    return std::strcmp(r.C_str(), psz) == 0;
}

bool operator<(const ZynString& lhs, const ZynString& rhs) {
    if (lhs.IsNull() || rhs.IsNull())
        return lhs.IsNull() && !rhs.IsNull();
    return std::strcmp(lhs.C_str(), rhs.C_str()) < 0;
}

// Of a string made to be filled the room is what was asked for, and the terminator has a byte of
// its own behind it; of every other string the room counts it in. Taking one off serves both.
void ZynString::Reserve(unsigned long n) {
    if (IsNull()) {
        *this = ZynString(CreateEmpty, n);
        return;
    }
    const bool isOwn = _pRep->_refCount == 1;
    if (isOwn && (n < _pRep->_allocLen || _pRep.Fit(n)))
        return;
    *this = Joined("", 0, n);
}

// The text and `n` bytes of another one behind it, in a representation of its own. That has room
// for `room` bytes, or as much as there was if that is enough.
ZynString ZynString::Joined(const char* text, unsigned long n, unsigned long room) const {
    const unsigned long len = _pRep->_len;
    const bool fits = room < _pRep->_allocLen;
    const unsigned long capacity = fits ? std::max(_pRep->_allocLen - 1, len) : room;
    ZynString joined;
    joined._pRep = ZynBinary::RepRef(AllocateText(capacity, len + n));
    char* const to = joined._pRep->_data;
    std::memcpy(to, _pRep->_data, len);
    std::memcpy(to + len, text, n);
    to[len + n] = '\0';
    return joined;
}

// `text` may be part of this string.
ZynString& ZynString::Append(const char* text, unsigned long n) {
    const unsigned long len = _pRep->_len;
    const bool isOwn = _pRep->_refCount == 1;
    if (!isOwn || (len + n >= _pRep->_allocLen && !_pRep.Fit(len + n)))
        return *this = Joined(text, n, len + n);
    std::memmove(_pRep->_data + len, text, n);
    _pRep->_len = len + n;
    _pRep->_data[len + n] = '\0';
    return *this;
}

ZynString& ZynString::operator|=(const ZynString& rhs) {
    ZYN_REQUIRE(!IsNull() && !rhs.IsNull());
    if (rhs._pRep->_len == 0)
        return *this;
    if (_pRep->_len == 0)
        return *this = rhs;
    return Append(rhs._pRep->_data, rhs._pRep->_len);
}

ZynString& ZynString::operator|=(const char* psz) {
    ZYN_REQUIRE_TEXT(!IsNull() && psz != nullptr, "!IsNull() && psz != 0");
    const unsigned long n = std::strlen(psz);
    if (n == 0)
        return *this;
    if (_pRep->_len == 0)
        return *this = psz;
    return Append(psz, n);
}

ZynString& ZynString::operator|=(char c) {
    ZYN_REQUIRE(!IsNull());
    return Append(&c, 1);
}

ZynString operator|(const ZynString& lhs, const ZynString& rhs) {
    ZYN_REQUIRE(!lhs.IsNull() && !rhs.IsNull());
    const unsigned long left = lhs._pRep->_len;
    const unsigned long right = rhs._pRep->_len;
    if (left == 0 || right == 0)
        return right == 0 ? lhs : rhs;
    return lhs.Joined(rhs._pRep->_data, right, left + right);
}

ZynString operator|(const ZynString& lhs, const char* psz) {
    ZYN_REQUIRE_TEXT(!lhs.IsNull() && psz != nullptr, "!lhs.IsNull() && psz != 0");
    const unsigned long left = lhs._pRep->_len;
    const unsigned long right = std::strlen(psz);
    if (left == 0 || right == 0)
        return right == 0 ? lhs : ZynString(psz);
    return lhs.Joined(psz, right, left + right);
}

ZynString operator|(ZynString&& lhs, const ZynString& rhs) {
    ZYN_REQUIRE(!lhs.IsNull() && !rhs.IsNull());
    lhs |= rhs;
    return std::move(lhs);
}

ZynString operator|(ZynString&& lhs, const char* psz) {
    ZYN_REQUIRE_TEXT(!lhs.IsNull() && psz != nullptr, "!lhs.IsNull() && psz != 0");
    lhs |= psz;
    return std::move(lhs);
}

char* ZynString::PreRead() {
    ZYN_REQUIRE_TEXT(!IsNull(), "_pRep!=0");
    ZYN_REQUIRE(_pRep->_refCount == 1);
    return _pRep->_data;
}

void ZynString::PostRead(unsigned long n) {
    ZYN_REQUIRE(!IsNull());
    _pRep.SetLength(n);
    _pRep->_data[n] = '\0';
}

ZynBinary ZynString::AsBinary() const {
    ZYN_REQUIRE(!IsNull());
    return {_pRep->_data, _pRep->_len};
}

std::ostream& operator<<(std::ostream& os, const ZynString& string) {
    return os << (string.IsNull() ? "<null>" : string.C_str());
}
