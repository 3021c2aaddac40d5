// Inline part of ZynBinary.

// Beside the room there are the record, the prefix, the terminator and the heap's own word.
constexpr unsigned long ZynBinary::Rep::BlockRoom(unsigned long allocLength) {
    constexpr unsigned long Beside = sizeof(Rep) + PrefixSize + 1 + sizeof(void*);
    return (allocLength + Beside + BlockStep - 1) / BlockStep * BlockStep - Beside;
}

// A broken representation gets no further holder.
inline ZynBinary::RepRef::RepRef(const RepRef& other) : _p(other._p) {
    ZYN_INVARIANT(other);
    if (_p != nullptr)
        ++_p->_refCount;
}

inline ZynBinary::RepRef& ZynBinary::RepRef::operator=(const RepRef& other) {
    ZYN_INVARIANT(other);
    Rep* const rep = other._p;
    if (rep != nullptr)
        ++rep->_refCount;
    Reset();
    _p = rep;
    return *this;
}

inline ZynBinary::RepRef& ZynBinary::RepRef::operator=(RepRef&& other) noexcept {
    if (this != &other) {
        Reset();
        _p = other._p;
        other._p = nullptr;
    }
    return *this;
}

inline bool ZynBinary::RepRef::Fit(unsigned long allocLength) {
    if (_p == nullptr || _p->_refCount > 1)
        return false;
    const unsigned long most = Rep::BlockRoom(_p->_allocLen);
    if (allocLength > most || most - allocLength >= Rep::BlockStep)
        return false;
    _p->_allocLen = allocLength;
    return true;
}

// No look at the invariant: what holds no representation keeps it.
inline void ZynBinary::RepRef::Reset() {
    if (_p != nullptr && --_p->_refCount == 0)
        Rep::Deallocate(_p);
    _p = nullptr;
}

inline const char* ZynBinary::RepRef::_assert_invariant() const {
    return _p == nullptr || _p->_len <= _p->_allocLen
               ? nullptr
               : "_pRep==0 || _pRep->_len <= _pRep->_allocLen";
}

inline void ZynBinary::SetNull() {
    _pRep.Reset();
}

inline unsigned long ZynBinary::Length() const {
    return IsNull() ? 0 : _pRep->_len;
}

inline const char* ZynBinary::Data() const {
    ZYN_REQUIRE(!IsNull());
    return _pRep->_data;
}

inline char* ZynBinary::Data() {
    ZYN_REQUIRE_TEXT(!IsNull(), "_pRep != 0");
    if (_pRep->_refCount > 1)
        _pRep.Replace(_pRep->_len, _pRep->_len);
    ZYN_ASSERT_TEXT(_pRep->_refCount == 1, "_pRep->_refCount==1");
    return _pRep->_data;
}

inline char& ZynBinary::operator[](unsigned long index) {
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE_TEXT(index < Length(), "index<Length()");
    return Data()[index];
}

inline const char* ZynBinary::_assert_invariant() const {
    return _pRep._assert_invariant();
}
