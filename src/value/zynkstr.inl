// Inline part of ZynString.

inline void ZynString::SetNull() {
    _pRep.Reset();
}

inline unsigned long ZynString::Length() const {
    ZYN_REQUIRE(!IsNull());
    return _pRep->_len;
}

inline const char* ZynString::C_str() const {
    ZYN_REQUIRE(!IsNull());
    return _pRep->_data;
}

inline unsigned long ZynString::WCharSize() const {
    return IsNull() ? 2 : _pRep->_len * 2 + 2;
}

inline unsigned long ZynString::Position(const ZynString& substr, unsigned long start) const {
    return PositionChar(substr, start);
}

inline ZynString ZynString::SubString(unsigned long start, unsigned long length) const {
    return SubStringChar(start, length);
}

inline const char* ZynString::_assert_invariant() const {
    return _pRep._assert_invariant();
}

// Whether all bytes of both are the same, in two pieces that may overlap; false also for texts of
// other lengths, for which the runtime's call does as well.
inline bool ZynString::AreSameShort(const ZynBinary::Rep& lhs, const ZynBinary::Rep& rhs) {
    constexpr unsigned long Piece = 16;
    const unsigned long len = lhs._len;
    return len == rhs._len && len >= Piece && len <= 2 * Piece &&
           std::memcmp(lhs._data, rhs._data, Piece) == 0 &&
           std::memcmp(lhs._data + len - Piece, rhs._data + len - Piece, Piece) == 0;
}

inline bool operator==(const ZynString& lhs, const ZynString& rhs) {
    if (lhs._pRep == rhs._pRep)
        return true;
    if (lhs.IsNull() || rhs.IsNull())
        return false;
    if (ZynString::AreSameShort(*lhs._pRep, *rhs._pRep))
        return true;
    return std::strcmp(lhs._pRep->_data, rhs._pRep->_data) == 0;
}
