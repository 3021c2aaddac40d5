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

inline unsigned long ZynStream::Padding(unsigned long n) {
    return -n % WordSize;
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

// The bytes of the variable opaque value at the position, which stays there: a failure leaves it
// at the length word. Only the bytes themselves are tested: a last value may lack its padding.
inline const char* ZynStream::PeekVarOpaque(unsigned long& length) const {
    EnableCorrectRead(WordSize);
    const char* const word = At(_curPos);
    length = zynkxdr::LoadWord(word);
    if (!ZYN_LIKELY(length <= ReadEnd() - _curPos - WordSize))
        ThrowContentError();
    return word + WordSize;
}

inline void ZynStream::SkipVarOpaque(unsigned long length) {
    _curPos += WordSize + length + Padding(length);
}

// Whether `lng` bytes from the position on have room in front of `bound`.
inline bool ZynStream::HasRoomFor(unsigned long lng, unsigned long bound) const {
    const unsigned long behind = _curPos + lng;
    return behind >= lng && behind <= bound && behind <= _pMem->_dynPtr.Size();
}

// Writing nothing has its checks too.
inline void ZynStream::EnableCorrectWrite(unsigned long lng) {
    if (!ZYN_LIKELY(lng != 0 && HasRoomFor(lng, _writeBound)))
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

// The short forms of the operations on parameters: closed gates, no index, nothing prefetched, and
// room for the frame. Everything else, and each failure, is the long forms'.

inline bool ZynStream::IsFlowClosed() {
    return ZynTrace::IsFlowClosed(ZynTrace::FlowLevel);
}

inline ZynStream& ZynStream::StartParmEnc(unsigned long parmId) {
    if (!ZYN_LIKELY(IsFlowClosed() && parmId - 1 < UINT32_MAX && !IsIndexed() &&
                    _writeBound == Unbounded && HasRoomFor(FrameHeadSize, Unbounded) &&
                    _parmStack.HasRoom()))
        return StartParmEncChecked(parmId);
    _parmStack.Push(ZynStreamParmDescriptor(parmId, _curPos));
    _readBound = _curPos;
    AdvanceAfterWrite(FrameHeadSize);
    return *this;
}

inline ZynStream& ZynStream::EndParmEnc() {
    const ZynStreamParmDescriptor& parm = _parmStack.Top();
    const ZynStreamParmDescriptor& outer = _parmStack.Outer();
    const unsigned long length = _curPos - parm._position;
    if (!ZYN_LIKELY(IsFlowClosed() && !IsIndexed() && _writeBound == Unbounded &&
                    outer._length == 0 && _curPos <= _pMem->_endPos &&
                    length - FrameHeadSize <= UINT32_MAX - FrameHeadSize))
        return EndParmEncChecked();
    char* const head = At(parm._position);
    _readBound = outer._position;
    _parmStack.Pop();
    zynkxdr::StoreWords(head, static_cast<std::uint32_t>(parm._id),
                        static_cast<std::uint32_t>(length));
    return *this;
}

// The frame at the position, if all of it lies in what encloses it.
inline bool ZynStream::PeekFrame(ZynStreamParmDescriptor& frame) const {
    const unsigned long end = ReadEnd();
    if (!(_curPos < end && FrameHeadSize <= end - _curPos))
        return false;
    const char* const head = At(_curPos);
    frame = ZynStreamParmDescriptor(zynkxdr::LoadWord(head), _curPos,
                                    zynkxdr::LoadWord(head + WordSize));
    return frame._length >= FrameHeadSize && frame._length <= end - _curPos;
}

inline ZynStream& ZynStream::PrefetchNextParm(unsigned long& parmId) {
    ZynStreamParmDescriptor frame;
    if (!ZYN_LIKELY(IsFlowClosed() && !_pNextParm && PeekFrame(frame)))
        return PrefetchNextParmChecked(parmId);
    parmId = frame._id;
    _pNextParm = frame;
    _writeBound = 0;
    _curPos += FrameHeadSize;
    return *this;
}

inline ZynStream& ZynStream::StartParmDec(unsigned long parmId) {
    ZynStreamParmDescriptor frame;
    if (!ZYN_LIKELY(IsFlowClosed() && _writeBound != 0 && _parmStack.HasRoom() &&
                    PeekFrame(frame) && frame._id == parmId))
        return StartParmDecChecked(parmId);
    _parmStack.Push(frame);
    _readBound = _writeBound = _curPos + frame._length;
    _curPos += FrameHeadSize;
    return *this;
}

inline ZynStream& ZynStream::EndParmDec() {
    const ZynStreamParmDescriptor& parm = _parmStack.Top();
    if (!ZYN_LIKELY(IsFlowClosed() && _writeBound != 0 && parm._length != 0))
        return EndParmDecChecked();
    _curPos = parm._position + parm._length;
    _parmStack.Pop();
    const ZynStreamParmDescriptor& outer = _parmStack.Top();
    _readBound = outer._position + outer._length;
    _writeBound = outer._length != 0 ? _readBound : Unbounded;
    return *this;
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

inline void ZynStream::Put(const ZynBinary& value) {
    ZYN_REQUIRE_TEXT(!value.IsNull(), "!IsNull()");
    PutVarOpaque(value.Data(), value.Length());
}

inline void ZynStream::Put(const ZynString& value) {
    ZYN_REQUIRE_TEXT(!value.IsNull(), "!IsNull()");
    if (ZYN_LIKELY(_pMem->_convCcsid == 0))
        PutVarOpaque(value.C_str(), value.Length());
    else
        PutOwnConverted(value);
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
inline ZynStream& operator<<(ZynStream& s, const ZynString& value) { s.Put(value); return s; }
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
