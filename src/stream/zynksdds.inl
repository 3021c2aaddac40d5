// Inline part of ZynStream: inspection, numbers, and the operators.

#include <bit>
#include <cstring>

inline bool ZynStream::IsNull() const {
    return static_cast<char*>(_pMem->_dynPtr) == nullptr;
}

inline ZynStream::Knd ZynStream::Kind() const {
    return _pMem->_header._kind;
}

inline unsigned long ZynStream::Length() const {
    return _pMem->_endPos - _pMem->_headerPos;
}

inline bool ZynStream::Eof() const {
    return _curPos == _pMem->_endPos;
}

inline bool ZynStream::Closed() const {
    return _pMem->_closed;
}

inline bool ZynStream::IsIndexed() const {
    return _pMem->_pParmIndex != nullptr;
}

inline char* ZynStream::At(unsigned long position) const {
    return static_cast<char*>(_pMem->_dynPtr) + position;
}

inline unsigned long ZynStream::ReadEnd() const {
    return _readBound < _pMem->_endPos ? _readBound : _pMem->_endPos;
}

// Subtracts where an addition could wrap: `lng` comes from outside.
inline void ZynStream::EnableCorrectRead(unsigned long lng) const {
    const unsigned long end = ReadEnd();
    if (!ZYN_LIKELY(_curPos <= end && lng <= end - _curPos))
        ThrowContentError();
}

inline void ZynStream::EnableCorrectWrite(unsigned long lng) {
    const unsigned long size = _pMem->_dynPtr.Size();
    const unsigned long end = _writeBound < size ? _writeBound : size;
    if (!ZYN_LIKELY(_curPos < end && lng <= end - _curPos))
        EnableCorrectWriteChecked(lng);
}

inline void ZynStream::AdvanceAfterWrite(unsigned long n) {
    _curPos += n;
    if (_curPos > _pMem->_endPos) {
        _pMem->_endPos = _curPos;
        _pMem->_closed = false;
    }
}

// Advances ahead of the store: a store of bytes may alias anything, and what comes behind it would
// have to be loaded anew.
inline char* ZynStream::Claim(unsigned long n) {
    EnableCorrectWrite(n);
    char* const to = At(_curPos);
    AdvanceAfterWrite(n);
    return to;
}

inline void ZynStream::PutWord(std::uint32_t word) {
    zynkxdr::StoreWord(Claim(WordSize), word);
}

inline std::uint32_t ZynStream::GetWord() {
    EnableCorrectRead(WordSize);
    const std::uint32_t word = zynkxdr::LoadWord(At(_curPos));
    _curPos += WordSize;
    return word;
}

inline void ZynStream::Put(long value) {
    PutWord(zynkxdr::WireWord(value));
}

inline void ZynStream::Put(unsigned long value) {
    PutWord(zynkxdr::WireWord(value));
}

inline void ZynStream::Put(int value) {
    PutWord(static_cast<std::uint32_t>(value));
}

inline void ZynStream::Put(unsigned short value) {
    PutWord(value);
}

inline void ZynStream::Put(bool value) {
    PutWord(value ? 1 : 0);
}

inline void ZynStream::Put(float value) {
    PutWord(std::bit_cast<std::uint32_t>(value));
}

inline void ZynStream::Put(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    char* const to = Claim(2 * WordSize);
    zynkxdr::StoreWord(to, static_cast<std::uint32_t>(bits >> 32U));
    zynkxdr::StoreWord(to + WordSize, static_cast<std::uint32_t>(bits));
}

inline void ZynStream::Get(long& value) {
    value = static_cast<std::int32_t>(GetWord());
}

inline void ZynStream::Get(unsigned long& value) {
    value = GetWord();
}

inline void ZynStream::Get(int& value) {
    value = static_cast<std::int32_t>(GetWord());
}

inline void ZynStream::Get(unsigned short& value) {
    value = static_cast<unsigned short>(GetWord());
}

inline void ZynStream::Get(bool& value) {
    value = GetWord() != 0;
}

inline void ZynStream::Get(float& value) {
    value = std::bit_cast<float>(GetWord());
}

inline void ZynStream::Get(double& value) {
    EnableCorrectRead(2 * WordSize);
    const std::uint64_t high = zynkxdr::LoadWord(At(_curPos));
    value = std::bit_cast<double>(high << 32U | zynkxdr::LoadWord(At(_curPos) + WordSize));
    _curPos += 2 * WordSize;
}

// clang-format off
inline ZynStream& operator<<(ZynStream& s, long value) { s.Put(value); return s; }
inline ZynStream& operator<<(ZynStream& s, unsigned long value) { s.Put(value); return s; }
inline ZynStream& operator<<(ZynStream& s, int value) { s.Put(value); return s; }
inline ZynStream& operator<<(ZynStream& s, unsigned short value) { s.Put(value); return s; }
inline ZynStream& operator<<(ZynStream& s, bool value) { s.Put(value); return s; }
inline ZynStream& operator<<(ZynStream& s, float value) { s.Put(value); return s; }
inline ZynStream& operator<<(ZynStream& s, double value) { s.Put(value); return s; }
inline ZynStream& operator<<(ZynStream& s, const ZynBinary& value) { s.Put(value); return s; }
// By value, as strings are passed throughout: a copy is an increment.
inline ZynStream& operator<<(ZynStream& s, ZynString value) { // NOLINT(performance-unnecessary-value-param)
    s.Put(value);
    return s;
}
inline ZynStream& operator<<(ZynStream& s, const ZynStream& value) { s.Put(value); return s; }
template <class T> ZynStream& operator<<(ZynStream& s, const T*) = delete;

inline ZynStream& operator>>(ZynStream& s, long& value) { s.Get(value); return s; }
inline ZynStream& operator>>(ZynStream& s, unsigned long& value) { s.Get(value); return s; }
inline ZynStream& operator>>(ZynStream& s, int& value) { s.Get(value); return s; }
inline ZynStream& operator>>(ZynStream& s, unsigned short& value) { s.Get(value); return s; }
inline ZynStream& operator>>(ZynStream& s, bool& value) { s.Get(value); return s; }
inline ZynStream& operator>>(ZynStream& s, float& value) { s.Get(value); return s; }
inline ZynStream& operator>>(ZynStream& s, double& value) { s.Get(value); return s; }
inline ZynStream& operator>>(ZynStream& s, ZynBinary& value) { s.Get(value); return s; }
inline ZynStream& operator>>(ZynStream& s, ZynString& value) { s.Get(value); return s; }
inline ZynStream& operator>>(ZynStream& s, ZynStream& value) { s.Get(value); return s; }
// clang-format on
