// ZynStream: making, positioning, the header, closing and decoding. Opaque values, parameters, the
// index and the printed forms stand in the sources beside this one.
#include "zynksdds.h"
#include "zynktrc.h"

#include <algorithm>
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
constexpr char WorkHeaderId[] = "WIH ";

// Room that a stream takes beyond what its maker asks for.
constexpr unsigned long SpareSize = 4;

} // namespace

ZynStream::DataRep::~DataRep() = default;

ZynStream::DataRep* ZynStream::NewRep(const ZynDynPointer& mem, unsigned long offset) {
    ZYN_REQUIRE_TEXT(offset <= mem.Size(), "offset <= _dynPtr.Size()");
    return new DataRep{._header = StreamHeader(Unknown, 0),
                       ._headerPos = offset,
                       ._startPos = offset,
                       ._endPos = offset,
                       ._dynPtr = mem,
                       ._writeConverter = nullptr,
                       ._readConverter = nullptr,
                       ._pParmIndex = nullptr};
}

ZynStream::ZynStream(const ZynDynPointer& mem, unsigned long offset, RawTag)
    : _pMem(NewRep(mem, offset)), _curPos(offset) {}

ZynStream::ZynStream(unsigned long size, Knd kind, unsigned short ccsid)
    : ZynStream(ZynDynPointer(size < ULONG_MAX - SpareSize ? size + SpareSize : size), 0, kind,
                ccsid) {}

ZynStream::ZynStream(CreateEmptyTag, unsigned long size, Knd kind, unsigned short ccsid)
    : ZynStream(size, kind, ccsid) {}

ZynStream::ZynStream(const ZynDynPointer& mem, unsigned long offset, Knd kind, unsigned short ccsid)
    : ZynStream(mem, offset, RawTag()) {
    BeginHeader(kind, ccsid == 0 && kind != Unknown ? DefaultStreamCcsid() : ccsid);
}

ZynStream::ZynStream(const ZynDynPointer& mem, unsigned long offset)
    : ZynStream(mem, offset, RawTag()) {
    InternalPostRead(_pMem->_dynPtr.Size());
}

ZynStream::ZynStream(const char* data, unsigned long length)
    : ZynStream(ZynDynPointer(data, length), 0, RawTag()) {
    InternalPostRead(length);
}

ZynStream::ZynStream(const ZynStream& other)
    : _pMem(other._pMem), _curPos(other._curPos), _readBound(other._readBound),
      _writeBound(other._writeBound), _pNextParm(other._pNextParm), _parmStack(other._parmStack) {
    ++_pMem->_refCount;
}

ZynStream& ZynStream::operator=(const ZynStream& other) {
    if (this == &other)
        return *this;
    _parmStack = other._parmStack; // the one step that can fail
    Share(other);
    _curPos = other._curPos;
    _pNextParm = other._pNextParm;
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
    UseStreamCcsid(ccsid);
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
    ZYN_FLOW("ZynStream::Close", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE(_pMem->_header._kind != Unknown);
    if (_pMem->_closed)
        return;
    CleanupParms();
    _curPos = _pMem->_headerPos;
    // A stream that claimed less than its header has got values since.
    _pMem->_endPos = std::max(_pMem->_endPos, _pMem->_startPos);
    _pMem->_header._streamLength = _pMem->_endPos - _pMem->_headerPos;
    _pMem->_header.Encode(*this);
    _pMem->_closed = true;
    _curPos = _pMem->_startPos;
}

void ZynStream::Clear() {
    ZYN_FLOW("ZynStream::Clear", ZynTrace::FlowLevel, ZynTrace::Kernel);
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
    ZYN_FLOW("ZynStream::Truncate", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE(_pMem->_header._kind != Unknown);
    ZYN_REQUIRE_TEXT(!_pNextParm, "_pNextParm == 0");
    ZYN_REQUIRE_TEXT(_parmStack.IsEmpty(), "_parmStack.empty()");
    // PositionTo may have set any position: no end in front of the data or outside of the block.
    ZYN_REQUIRE(_curPos >= _pMem->_startPos && _curPos <= _pMem->_dynPtr.Size());
    _pMem->_closed = false;
    _pMem->_endPos = _curPos;
    if (IsIndexed()) {
        DeleteIndex();
        CreateIndex();
    }
}

const char* ZynStream::PreWrite() const {
    ZYN_FLOW("ZynStream::PreWrite", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(_pMem->_closed);
    return At(_pMem->_headerPos);
}

char* ZynStream::PreRead(unsigned long n) {
    ZYN_FLOW("ZynStream::PreRead", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(!IsNull());
    if (n != 0)
        _pMem->_dynPtr.Ensure(_curPos, n);
    _pMem->_closed = false; // what stands in the block is no finished stream until it is decoded
    _pMem->_endPos = _pMem->_dynPtr.Size();
    return At(0);
}

void ZynStream::PostRead(unsigned long length) {
    ZYN_FLOW("ZynStream::PostRead", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE(length <= _pMem->_dynPtr.Size() - _pMem->_headerPos);
    InternalPostRead(_pMem->_headerPos + length);
}

// Turns the bytes in front of `end` into a readable stream. A header that claims less than itself
// leaves nothing to read. A failure changes nothing.
void ZynStream::InternalPostRead(unsigned long end) {
    const unsigned long start = _pMem->_headerPos;
    const StreamHeader header = StreamHeader::Parse(At(start), end - start);
    if (header._streamLength > end - start)
        ZYN_THROW_INT(ExcTruncated(ZYN_ORIGIN("ZynStream::InternalPostRead")));
    _pMem->_header = header;
    _pMem->_startPos = _curPos = start + StreamHeader::Size(header._kind);
    _pMem->_endPos = start + header._streamLength;
    UseStreamCcsid(header._streamCcsid);
    _pMem->_closed = true;
    DeleteIndex();
    DropParms();
}

void ZynStream::ThrowContentError() const {
    ZYN_THROW_INT(ExcContentError(ZYN_ORIGIN("ZynStream::EnableCorrectRead"), _curPos));
}

// The road of a write that its bounds do not let pass at once: why, or more room.
void ZynStream::EnableCorrectWriteChecked(unsigned long lng) {
    RequireRoomInParm(lng);
    _pMem->_dynPtr.Ensure(_curPos, lng);
}

void ZynStream::RequireRoomInParm(unsigned long lng) {
    ZYN_REQUIRE(Kind() != Unknown);
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE_TEXT(!_pNextParm, "_pNextParm == 0");
    BoundParms();
    ZYN_REQUIRE_TEXT(_writeBound == Unbounded ||
                         (_curPos <= _writeBound && lng <= _writeBound - _curPos),
                     "_parmStack.empty() ? true : (_curPos + lng <= _parmStack.top()._position + "
                     "_parmStack.top()._length) || (_parmStack.top()._length == 0)");
}

void ZynStream::Put(const ZynStream& s) {
    ZYN_REQUIRE(s.Closed());
    const bool sharesBlock =
        static_cast<char*>(s._pMem->_dynPtr) == static_cast<char*>(_pMem->_dynPtr);
    if (sharesBlock && s._pMem->_headerPos == _curPos) {
        EndSubstream(s);
    } else if (s.IsIndexed() && s._pMem->_unusedBytes != 0) {
        Put(s.Compacted());
    } else if (sharesBlock) {
        // Growth keeps only what stands in front of this position, so the bytes are saved first.
        const unsigned long length = s.Length();
        const ZynDynPointer saved(s.PreWrite(), length);
        std::memcpy(Claim(length), saved, length);
    } else {
        const unsigned long length = s.Length();
        std::memcpy(Claim(length), s.PreWrite(), length);
    }
}

// A length beyond the block means that the bytes are not all there; a header or a length beyond
// this stream or the open frame is an error of content.
void ZynStream::Get(ZynStream& s) {
    EnableCorrectRead(StreamHeaderSize);
    ZynStream nested(_pMem->_dynPtr, _curPos, RawTag());
    nested.InternalPostRead(_pMem->_dynPtr.Size());
    const unsigned long length = nested.Length();
    EnableCorrectRead(std::max(StreamHeader::Size(nested.Kind()), length));
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

// Behind a word that may hold anything stands the magic, at once or behind a work header.
ZynStream::StreamHeader ZynStream::StreamHeader::Parse(const char* bytes, unsigned long held) {
    const auto isTextAt = [&](const char* text, unsigned long offset) {
        return held >= offset + MagicSize && std::memcmp(bytes + offset, text, MagicSize) == 0;
    };
    constexpr unsigned long MagicOffset = WordSize;
    const bool isPlain = isTextAt(PlainMagic, MagicOffset);
    const bool isMessage = isTextAt(MessageMagic, WorkHeaderSize + MagicOffset);
    // A message that is cut off in front of its magic can still be told by its work header.
    const bool isCutMessage = held < Size(InternalRuntimeMessage) && isTextAt(WorkHeaderId, 0);
    StreamHeader header(isPlain ? Plain : InternalRuntimeMessage, 0);
    const unsigned long size = Size(header._kind);
    if (held < StreamHeaderSize || (isMessage && held < size) || (!isPlain && isCutMessage))
        ZYN_THROW_INT(ExcTruncated(ZYN_ORIGIN("ZynStream::StreamHeader::Decode")));
    if (!isPlain && !isMessage)
        ZYN_THROW_INT(ExcKindError(ZYN_ORIGIN("ZynStream::StreamHeader::Decode")));

    const char* const version = bytes + size - StreamHeaderSize + MagicOffset + MagicSize;
    header._version = static_cast<std::uint8_t>(version[0]);
    header._release = static_cast<std::uint8_t>(version[1]);
    header._modLevel = static_cast<std::uint8_t>(version[2]);
    header._streamLength = zynkxdr::LoadWord(version + WordSize);
    header._streamCcsid = static_cast<std::uint16_t>(zynkxdr::LoadWord(version + 2 * WordSize));
    return header;
}

void ZynStream::StreamHeader::Decode(ZynStream& stream) {
    const unsigned long start = stream._curPos;
    const unsigned long end = stream.ReadEnd();
    *this = start < end ? Parse(stream.At(start), end - start) : Parse(nullptr, 0);
    stream._curPos = start + Size(_kind);
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
