// ZynStream: making, positioning, the header, closing and decoding. Opaque values, parameters, the
// index and the printed forms stand in the sources beside this one.
#include "zynksdds.h"

#include <climits>
#include <ostream>
#include <string>

#include "zynkconv.h"

namespace {

constexpr unsigned long MagicSize = 4;
constexpr unsigned long StreamHeaderSize = 20;
constexpr unsigned long WorkHeaderSize = 120;
constexpr char PlainMagic[] = "ZNID";
constexpr char MessageMagic[] = "ZNRM";

// Room that a stream takes beyond what its maker asks for.
constexpr unsigned long SpareSize = 4;

} // namespace

ZynStream::ZynStream(const ZynDynPointer& mem, unsigned long offset, RawTag)
    : _pMem(new DataRep{._header = StreamHeader(Unknown, 0),
                        ._headerPos = offset,
                        ._startPos = offset,
                        ._endPos = offset,
                        ._dynPtr = mem,
                        ._pParmIndex = nullptr}),
      _curPos(offset) {}

ZynStream::ZynStream(unsigned long size, Knd kind, unsigned short ccsid)
    : ZynStream(ZynDynPointer(size < ULONG_MAX - SpareSize ? size + SpareSize : size), 0, kind,
                ccsid) {}

ZynStream::ZynStream(CreateEmptyTag, unsigned long size, Knd kind, unsigned short ccsid)
    : ZynStream(size, kind, ccsid) {}

ZynStream::ZynStream(const ZynDynPointer& mem, unsigned long offset, Knd kind, unsigned short ccsid)
    : ZynStream(mem, offset, RawTag()) {
    ZYN_REQUIRE_TEXT(offset <= _pMem->_dynPtr.Size(), "offset <= _dynPtr.Size()");
    BeginHeader(kind, ccsid == 0 && kind != Unknown ? DefaultStreamCcsid() : ccsid);
}

ZynStream::ZynStream(const ZynDynPointer& mem, unsigned long offset)
    : ZynStream(mem, offset, RawTag()) {
    ZYN_REQUIRE_TEXT(offset <= _pMem->_dynPtr.Size(), "offset <= _dynPtr.Size()");
    InternalPostRead(_pMem->_dynPtr.Size(), _pMem->_dynPtr.Size());
}

ZynStream::ZynStream(const char* data, unsigned long length)
    : ZynStream(ZynDynPointer(data, length), 0, RawTag()) {
    InternalPostRead(length, length);
}

ZynStream::ZynStream(const ZynStream& other)
    : _pMem(other._pMem), _curPos(other._curPos), _readBound(other._readBound),
      _writeBound(other._writeBound), _pNextParm(other._pNextParm), _parmStack(other._parmStack) {
    ++_pMem->_refCount;
}

ZynStream& ZynStream::operator=(const ZynStream& other) {
    if (this == &other)
        return *this;
    Share(other);
    _curPos = other._curPos;
    _pNextParm = other._pNextParm;
    _parmStack = other._parmStack;
    BoundParms();
    return *this;
}

ZynStream::~ZynStream() {
    Release();
}

void ZynStream::Share(const ZynStream& other) {
    ++other._pMem->_refCount;
    Release();
    _pMem = other._pMem;
}

void ZynStream::Release() {
    if (--_pMem->_refCount == 0)
        delete _pMem;
}

// Gives a fresh state its kind and, unless this is Unknown, its header at the position.
void ZynStream::BeginHeader(Knd kind, unsigned short ccsid) {
    _pMem->_header = StreamHeader(kind, ccsid);
    BoundParms();
    if (kind == Unknown)
        return;
    if (ccsid != ZynConverter::GetCurrentOSCodePage())
        _pMem->_convCcsid = ccsid;
    _pMem->_header.Encode(*this);
    _pMem->_startPos = _curPos;
    if (kind == InternalRuntimeMessage)
        InitHXWIH();
}

void ZynStream::PositionToStart() {
    CleanupParms();
    _curPos = _pMem->_startPos;
}

void ZynStream::PositionToEnd() {
    CleanupParms();
    _curPos = _pMem->_endPos;
}

void ZynStream::PositionTo(unsigned long offset) {
    ZYN_REQUIRE(!IsIndexed());
    CleanupParms();
    _curPos = offset;
}

void ZynStream::Close() {
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE(_pMem->_header._kind != Unknown);
    if (_pMem->_closed)
        return;
    CleanupParms();
    _curPos = _pMem->_headerPos;
    _pMem->_header._streamLength = _pMem->_endPos - _pMem->_headerPos;
    _pMem->_header.Encode(*this);
    _pMem->_closed = true;
    _curPos = _pMem->_startPos;
}

void ZynStream::Clear() {
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE(_pMem->_header._kind != Unknown);
    _pMem->_closed = false;
    DropParms();
    PositionToStart();
    _pMem->_endPos = _curPos;
    if (IsIndexed()) {
        _pMem->_pParmIndex->clear();
        _pMem->_unusedBytes = 0;
    }
}

void ZynStream::Truncate() {
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE(_pMem->_header._kind != Unknown);
    ZYN_REQUIRE_TEXT(!_pNextParm, "_pNextParm == 0");
    ZYN_REQUIRE(_parmStack.empty());
    // A position that PositionTo has set anywhere must not become an end outside of the block.
    ZYN_REQUIRE(_curPos <= _pMem->_dynPtr.Size());
    _pMem->_closed = false;
    _pMem->_endPos = _curPos;
    if (IsIndexed()) {
        DeleteIndex();
        CreateIndex();
    }
}

const char* ZynStream::PreWrite() const {
    ZYN_REQUIRE(_pMem->_closed);
    return At(_pMem->_headerPos);
}

char* ZynStream::PreRead(unsigned long n) {
    ZYN_REQUIRE(!IsNull());
    if (n != 0)
        _pMem->_dynPtr.Ensure(_curPos, n);
    _pMem->_endPos = _pMem->_dynPtr.Size();
    return At(0);
}

void ZynStream::PostRead(unsigned long length) {
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE(length <= _pMem->_dynPtr.Size() - _pMem->_headerPos);
    const unsigned long end = _pMem->_headerPos + length;
    InternalPostRead(end, end);
}

// Turns received bytes into a readable stream. The header must stand in front of `end`, the stream
// that it claims in front of `claimEnd`. The state takes the header only when all is well.
void ZynStream::InternalPostRead(unsigned long end, unsigned long claimEnd) {
    DropParms();
    DeleteIndex();
    _pMem->_closed = false;
    _pMem->_endPos = end;
    _pMem->_startPos = _curPos = _pMem->_headerPos;
    StreamHeader header(Unknown, 0);
    header.Decode(*this);
    if (header._streamLength > claimEnd - _pMem->_headerPos)
        ZYN_THROW_INT(ExcTruncated(ZYN_ORIGIN("ZynStream::InternalPostRead")));
    _pMem->_header = header;
    _pMem->_startPos = _curPos;
    _pMem->_endPos = _pMem->_headerPos + header._streamLength;
    _pMem->_closed = true;
    const unsigned short ccsid = header._streamCcsid;
    _pMem->_convCcsid = ccsid != ZynConverter::GetCurrentOSCodePage() ? ccsid : 0;
    BoundParms();
}

void ZynStream::ThrowContentError() const {
    ZYN_THROW_INT(ExcContentError(ZYN_ORIGIN("ZynStream::EnableCorrectRead"), _curPos));
}

// The road of a write that its bounds do not let pass at once: why, or more room.
void ZynStream::EnableCorrectWriteChecked(unsigned long lng) {
    ZYN_REQUIRE(Kind() != Unknown);
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE_TEXT(!_pNextParm, "_pNextParm == 0");
    BoundParms();
    ZYN_REQUIRE_TEXT(_curPos <= _writeBound && lng <= _writeBound - _curPos,
                     "_parmStack.empty() ? true : (_curPos + lng <= _parmStack.top()._position + "
                     "_parmStack.top()._length) || (_parmStack.top()._length == 0)");
    _pMem->_dynPtr.Ensure(_curPos, lng);
}

void ZynStream::Put(const ZynStream& s) {
    ZYN_REQUIRE(s.Closed());
    const bool sharesBlock =
        static_cast<char*>(s._pMem->_dynPtr) == static_cast<char*>(_pMem->_dynPtr);
    if (sharesBlock && s._pMem->_headerPos == _curPos) {
        EndSubstream(s);
        return;
    }
    if (s.IsIndexed() && s._pMem->_unusedBytes != 0) {
        PutCompacted(s);
        return;
    }
    const unsigned long length = s.Length();
    char* const to = Claim(length);
    // Only now: the room may have moved the block that both share.
    std::memmove(to, s.At(s._pMem->_headerPos), length);
}

// Header, then the parameters that the index still covers, in ascending order.
void ZynStream::PutCompacted(const ZynStream& s) {
    const unsigned long length = s.Length() - s._pMem->_unusedBytes;
    const unsigned long headerSize = s._pMem->_startPos - s._pMem->_headerPos;
    const unsigned long start = _curPos;
    EnableCorrectWrite(length);
    std::memmove(At(start), s.At(s._pMem->_headerPos), headerSize);
    StreamHeader header(s.Kind(), s._pMem->_header._streamCcsid);
    header._streamLength = length;
    header.Encode(*this);
    for (const ZynStreamParmDescriptor& parm : *s._pMem->_pParmIndex) {
        char* const to = Claim(parm._length);
        std::memmove(to, s.At(parm._position), parm._length);
    }
}

// The nested stream's header must lie in what is left here. A length beyond the block means that
// the bytes are not all there; one beyond this stream or the open frame is an error of content.
void ZynStream::Get(ZynStream& s) {
    const unsigned long end = ReadEnd();
    ZynStream nested(_pMem->_dynPtr, _curPos, RawTag());
    nested.InternalPostRead(_curPos <= end ? end : _curPos, _pMem->_dynPtr.Size());
    const unsigned long length = nested.Length();
    EnableCorrectRead(length);
    const ZynStream own(At(_curPos), length);
    _curPos += length;
    s = own;
    s.DecodeSuper();
}

void ZynStream::EncodeSuper() {}

void ZynStream::DecodeSuper() {}

ZynStream::StreamHeader::StreamHeader(Knd kind, unsigned short streamCcsid)
    : _kind(kind), _streamCcsid(streamCcsid) {}

unsigned long ZynStream::StreamHeader::Size(Knd kind) {
    return kind == InternalRuntimeMessage ? WorkHeaderSize + StreamHeaderSize : StreamHeaderSize;
}

void ZynStream::StreamHeader::Encode(ZynStream& stream) const {
    ZYN_REQUIRE_TEXT(_kind == Plain || _kind == InternalRuntimeMessage, "false");
    if (_kind == InternalRuntimeMessage) {
        stream.Claim(WorkHeaderSize);
    }
    const unsigned char version[MagicSize] = {_version, _release, _modLevel, 0};
    stream.Put(0L);
    stream.PutFixedOpaque(_kind == Plain ? PlainMagic : MessageMagic, MagicSize);
    stream.PutFixedOpaque(reinterpret_cast<const char*>(version), sizeof version);
    stream.Put(_streamLength);
    stream.Put(_streamCcsid);
}

void ZynStream::StreamHeader::Decode(ZynStream& stream) {
    const unsigned long start = stream._curPos;
    const unsigned long held = stream.ReadEnd() - start;
    const auto isMagicAt = [&](const char* magic, unsigned long offset) {
        return held >= offset + MagicSize &&
               std::memcmp(stream.At(start + offset), magic, MagicSize) == 0;
    };
    // Behind a word that may hold anything stands the magic, at once or behind a work header.
    constexpr unsigned long MagicOffset = WordSize;
    if (held < StreamHeaderSize)
        ZYN_THROW_INT(ExcTruncated(ZYN_ORIGIN("ZynStream::StreamHeader::Decode")));
    if (isMagicAt(PlainMagic, MagicOffset))
        _kind = Plain;
    else if (isMagicAt(MessageMagic, WorkHeaderSize + MagicOffset))
        _kind = InternalRuntimeMessage;
    else
        ZYN_THROW_INT(ExcKindError(ZYN_ORIGIN("ZynStream::StreamHeader::Decode")));
    if (held < Size(_kind))
        ZYN_THROW_INT(ExcTruncated(ZYN_ORIGIN("ZynStream::StreamHeader::Decode")));

    unsigned char version[MagicSize];
    stream._curPos = start + Size(_kind) - StreamHeaderSize + MagicOffset + MagicSize;
    stream.GetFixedOpaque(reinterpret_cast<char*>(version), sizeof version);
    _version = version[0];
    _release = version[1];
    _modLevel = version[2];
    stream.Get(_streamLength);
    stream.Get(_streamCcsid);
}

ZynStream::Exception::Exception(const ZynOrigin& origin) : ZynIntException(origin) {}

void ZynStream::Exception::PrintOn(std::ostream& os) const {
    os << "ZynStream::";
}

ZynStream::ExcTruncated::ExcTruncated(const ZynOrigin& origin) : Exception(origin) {}

void ZynStream::ExcTruncated::PrintOn(std::ostream& os) const {
    Exception::PrintOn(os);
    os << "ExcTruncated";
}

ZynStream::ExcKindError::ExcKindError(const ZynOrigin& origin) : Exception(origin) {}

void ZynStream::ExcKindError::PrintOn(std::ostream& os) const {
    Exception::PrintOn(os);
    os << "ExcKindError";
}

ZynStream::ExcContentError::ExcContentError(const ZynOrigin& origin, unsigned long offset)
    : Exception(origin), _offset(offset) {}

void ZynStream::ExcContentError::PrintOn(std::ostream& os) const {
    Exception::PrintOn(os);
    os << "ExcContentError at offset = " << std::to_string(_offset);
}

ZynStream::ExcParmMismatch::ExcParmMismatch(const ZynOrigin& origin, unsigned long offset)
    : Exception(origin), _offset(offset) {}

void ZynStream::ExcParmMismatch::PrintOn(std::ostream& os) const {
    Exception::PrintOn(os);
    os << "ExcParmMismatch at offset = " << std::to_string(_offset);
}
