// Parameters of ZynStream: frames, prefetching and substreams.
//
// A frame is an id word, a length word that counts these 8 bytes too, and the payload. Its head is
// written once, when the length is known, into a gap left for it; nested content is not copied.
// Open frames stand on a stack of the heap, so that no depth of nesting exhausts the thread's.
#include "zynksdds.h"
#include "zynktrc.h"

// What the open parameters and a prefetched one leave to this cursor. Nothing can be read in a
// parameter that is still being encoded, and nothing written while one is prefetched.
void ZynStream::BoundParms() {
    _readBound = Unbounded;
    _writeBound = Unbounded;
    if (!_parmStack.empty()) {
        const ZynStreamParmDescriptor& top = _parmStack.back();
        _readBound = top._position + top._length;
        if (top._length != 0)
            _writeBound = _readBound;
    }
    if (_pNextParm || Kind() == Unknown)
        _writeBound = 0;
}

void ZynStream::OpenParm(const ZynStreamParmDescriptor& parm) {
    _parmStack.push_back(parm);
    _pNextParm.reset();
    BoundParms();
}

void ZynStream::CloseParm() {
    _parmStack.pop_back();
    BoundParms();
}

void ZynStream::DropParms() {
    _parmStack.clear();
    _pNextParm.reset();
    BoundParms();
}

// Parameters open for reading may be left, one that is being encoded may not.
void ZynStream::CleanupParms() {
    while (!_parmStack.empty()) {
        ZYN_ASSERT_TEXT(_parmStack.back()._length != 0, "_parmStack.top()._length != 0");
        CloseParm();
    }
    DropParms();
}

ZynStream& ZynStream::StartParmEnc(unsigned long parmId) {
    ZYN_FLOW("ZynStream::StartParmEnc", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(parmId != 0, "parmId!=0");
    zynkxdr::WireWord(parmId); // an id that has no word could never be closed
    const ZynStreamParmDescriptor parm(parmId, _curPos);
    const bool isIndexed = IsIndexed() && _parmStack.empty();
    if (ZynStreamParmDescriptor entry(parmId); isIndexed)
        ZYN_REQUIRE_TEXT(!IndexFindEntry(entry), "rc == true");
    const unsigned long end = _pMem->_endPos;
    const bool isClosed = _pMem->_closed;
    Claim(FrameHeadSize);
    try {
        if (isIndexed)
            IndexInsertEntry(parm);
        OpenParm(parm);
    } catch (...) { // the gap would stay, and its id be taken
        if (isIndexed)
            IndexEraseEntry(parm);
        _curPos = parm._position;
        _pMem->_endPos = end;
        _pMem->_closed = isClosed;
        throw;
    }
    return *this;
}

// Another cursor may have gone over to a smaller block.
void ZynStream::RequireHeadInBlock(const ZynStreamParmDescriptor& parm) const {
    const unsigned long size = _pMem->_dynPtr.Size();
    ZYN_REQUIRE_TEXT(parm._position <= size && FrameHeadSize <= size - parm._position,
                     "fromPosition <= _pMem->_size");
}

ZynStream& ZynStream::EndParmEnc() {
    ZYN_FLOW("ZynStream::EndParmEnc", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(!_pNextParm, "_pNextParm == 0");
    ZYN_REQUIRE(!_parmStack.empty());
    ZynStreamParmDescriptor parm = _parmStack.back();
    if (parm._length != 0)
        return EndParmDec();
    const std::uint32_t length = zynkxdr::WireWord(_curPos - parm._position);
    parm._length = length;
    RequireHeadInBlock(parm);
    if (IsIndexed() && _parmStack.size() == 1)
        ZYN_REQUIRE_TEXT(IndexReplaceEntry(parm), "rc == true");
    const unsigned long end = _curPos;
    _curPos = parm._position;
    char* const head = Claim(FrameHeadSize);
    zynkxdr::StoreWord(head, zynkxdr::WireWord(parm._id));
    zynkxdr::StoreWord(head + WordSize, length);
    _curPos = end;
    CloseParm();
    if (_curPos > _writeBound)
        EnableCorrectWriteChecked(0);
    return *this;
}

ZynStream& ZynStream::PrefetchNextParm(unsigned long& parmId) {
    ZYN_FLOW("ZynStream::PrefetchNextParm", ZynTrace::FlowLevel, ZynTrace::Kernel);
    if (!_pNextParm) {
        ZynStreamParmDescriptor next(0, _curPos);
        EnableCorrectRead(FrameHeadSize);
        next._id = zynkxdr::LoadWord(At(_curPos));
        next._length = zynkxdr::LoadWord(At(_curPos) + WordSize);
        if (next._length < FrameHeadSize) {
            ZYN_TRACE(1, ZynTrace::General, ZynTrace::Stream, "Parameter length < 2*sizeof(long)");
            ZYN_TRACE(1, ZynTrace::General, ZynTrace::Stream, *this);
            ZYN_THROW_INT(ExcContentError(ZYN_ORIGIN("ZynStream::PrefetchNextParm"), _curPos));
        }
        _curPos += FrameHeadSize;
        _pNextParm = next;
        BoundParms();
    }
    parmId = _pNextParm->_id;
    return *this;
}

// The frame is proved to fit into the stream and into the frame around it. One that does not fit
// stays open, so that the next positioning call cleans it up.
ZynStream& ZynStream::StartParmDec(unsigned long parmId) {
    ZYN_FLOW("ZynStream::StartParmDec", ZynTrace::FlowLevel, ZynTrace::Kernel);
    unsigned long nextId = 0;
    PrefetchNextParm(nextId);
    if (nextId != parmId)
        ZYN_THROW_INT(ExcParmMismatch(ZYN_ORIGIN("ZynStream::StartParmDec"),
                                      _pNextParm->_position - _pMem->_headerPos));
    const ZynStreamParmDescriptor parm = *_pNextParm;
    const bool fits = _curPos <= ReadEnd() && parm._length - FrameHeadSize <= ReadEnd() - _curPos;
    OpenParm(parm);
    if (!fits)
        ThrowContentError();
    EnableCorrectRead(parm._length - FrameHeadSize);
    return *this;
}

ZynStream& ZynStream::EndParmDec() {
    ZYN_FLOW("ZynStream::EndParmDec", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(!_pNextParm, "_pNextParm == 0");
    ZYN_REQUIRE(!_parmStack.empty());
    _curPos = _parmStack.back()._position + _parmStack.back()._length;
    CloseParm();
    return *this;
}

// Drops the prefetched frame `parm`, whose payload stands at the position, and goes behind it.
void ZynStream::SkipPayload(const ZynStreamParmDescriptor& parm) {
    const unsigned long payload = parm._length - FrameHeadSize;
    _pNextParm.reset();
    BoundParms();
    EnableCorrectRead(payload);
    _curPos += payload;
}

ZynStream& ZynStream::SkipNextParm() {
    ZYN_FLOW("ZynStream::SkipNextParm", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(_pNextParm.has_value(), "_pNextParm != 0");
    SkipPayload(ZynStreamParmDescriptor(*_pNextParm));
    return *this;
}

ZynStream& ZynStream::GetParm(ZynStreamParmDescriptor& descr) {
    ZYN_FLOW("ZynStream::GetParm", ZynTrace::FlowLevel, ZynTrace::Kernel);
    unsigned long parmId = 0;
    PrefetchNextParm(parmId);
    descr = *_pNextParm;
    SkipPayload(descr);
    return *this;
}

void ZynStream::PrefetchParm(const ZynStreamParmDescriptor& parmDescr) {
    ZYN_FLOW("ZynStream::PrefetchParm", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(_parmStack.empty());
    ZYN_REQUIRE_TEXT(!_pNextParm, "_pNextParm == 0");
    ZYN_REQUIRE(parmDescr._position >= _pMem->_startPos);
    ZYN_REQUIRE_TEXT(parmDescr._length >= FrameHeadSize, "parmDescr._length >= 2 * sizeof(long)");
    ZYN_REQUIRE_TEXT(parmDescr._position <= _pMem->_endPos &&
                         parmDescr._length <= _pMem->_endPos - parmDescr._position,
                     "parmDescr._position + parmDescr._length <= _pMem->_endPos");
    _pNextParm = parmDescr;
    _curPos = parmDescr._position + FrameHeadSize;
    BoundParms();
}

bool ZynStream::PrefetchParm(unsigned long parmId) {
    ZYN_FLOW("ZynStream::PrefetchParm", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(IsIndexed());
    ZYN_REQUIRE(parmId != 0);
    ZynStreamParmDescriptor entry(parmId);
    if (!IndexFindEntry(entry))
        return false;
    ZYN_REQUIRE_TEXT(entry._length >= FrameHeadSize, "entry._length >= 2 * sizeof(long)");
    CleanupParms();
    _pNextParm = entry;
    _curPos = entry._position + FrameHeadSize;
    BoundParms();
    return true;
}

// `sub` may be this very stream, and keeps what it was if this fails: all is made ready first.
void ZynStream::StartSubstream(Knd kind, ZynStream& sub) {
    ZYN_FLOW("ZynStream::StartSubstream", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZynStream fresh(_pMem->_dynPtr, _curPos, RawTag());
    fresh.BeginHeader(kind, _pMem->_header._streamCcsid);
    if (kind != Unknown)
        fresh._pMem->_convCcsid = _pMem->_convCcsid;
    sub.ZynStream::operator=(fresh);
    if (kind != Unknown)
        sub.EncodeSuper();
}

void ZynStream::EndSubstream(const ZynStream& s) {
    ZYN_FLOW("ZynStream::EndSubstream", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(s.Closed());
    ZYN_REQUIRE_TEXT(static_cast<char*>(s._pMem->_dynPtr) == static_cast<char*>(_pMem->_dynPtr) &&
                         s._pMem->_headerPos == _curPos,
                     "((char*)(s._pMem->_dynPtr) == (char*)(_pMem->_dynPtr)) && "
                     "(s._pMem->_headerPos == _curPos)");
    Claim(s.Length());
}
