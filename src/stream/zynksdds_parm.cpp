// Parameters of ZynStream: frames, prefetching and substreams.
//
// A frame is an id word, a length word that counts these 8 bytes too, and the payload. Its head is
// written once, when the length is known, into a gap left for it; nested content is not copied.
// Here stands all that each operation must do and test; where nothing stands in the way, its short
// form in zynksdds.inl does the same.
#include <algorithm>
#include <utility>

#include "zynksdds.h"
#include "zynktrc.h"

ZynStreamParmStack& ZynStreamParmStack::operator=(const ZynStreamParmStack& other) {
    const unsigned long count = other.Size() + FloorCount;
    if (this == &other)
        return *this;
    if (count > Room())
        Grow(count);
    std::copy_n(other.First(), count, First());
    _top = First() + count - 1;
    return *this;
}

void ZynStreamParmStack::Grow(unsigned long count) {
    auto many = std::make_unique<ZynStreamParmDescriptor[]>(count);
    const unsigned long used = Size() + FloorCount;
    std::copy_n(First(), used, many.get());
    _many = std::move(many);
    _top = _many.get() + used - 1;
    _last = _many.get() + count - 1;
}

// What the open parameters and a prefetched one leave to this cursor. Nothing can be read in a
// parameter that is still being encoded, and nothing written while one is prefetched.
void ZynStream::BoundParms() {
    const ZynStreamParmDescriptor& top = _parmStack.Top();
    _readBound = top._position + top._length;
    _writeBound = top._length != 0 ? _readBound : Unbounded;
    if (_pNextParm || Kind() == Unknown)
        _writeBound = 0;
}

void ZynStream::OpenParm(const ZynStreamParmDescriptor& parm) {
    _parmStack.Push(parm);
    _pNextParm.reset();
    BoundParms();
}

void ZynStream::CloseParm() {
    _parmStack.Pop();
    BoundParms();
}

void ZynStream::DropParms() {
    _parmStack.Clear();
    _pNextParm.reset();
    BoundParms();
}

// Parameters open for reading may be left, one that is being encoded may not.
void ZynStream::CleanupParms() {
    while (!_parmStack.IsEmpty()) {
        ZYN_ASSERT_TEXT(_parmStack.Top()._length != 0, "_parmStack.top()._length != 0");
        CloseParm();
    }
    DropParms();
}

ZynStream& ZynStream::StartParmEncChecked(unsigned long parmId) {
    ZYN_FLOW("ZynStream::StartParmEnc", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(parmId != 0, "parmId!=0");
    zynkxdr::WireWord(parmId); // an id that has no word could never be closed
    const ZynStreamParmDescriptor parm(parmId, _curPos);
    const bool isIndexed = IsIndexed() && _parmStack.IsEmpty();
    Index entry; // what takes memory comes ahead of all that can't be taken back
    if (isIndexed) {
        ZYN_REQUIRE_TEXT(!_pMem->_pParmIndex->contains(parm), "rc == true");
        entry.insert(parm);
    }
    _parmStack.MakeRoom();
    Claim(FrameHeadSize);
    if (isIndexed)
        _pMem->_pParmIndex->merge(entry);
    OpenParm(parm);
    return *this;
}

// Another cursor may have gone over to a smaller block.
void ZynStream::RequireHeadInBlock(const ZynStreamParmDescriptor& parm) const {
    const unsigned long size = _pMem->_dynPtr.Size();
    ZYN_REQUIRE_TEXT(parm._position <= size && FrameHeadSize <= size - parm._position,
                     "fromPosition <= _pMem->_size");
}

ZynStream& ZynStream::EndParmEncChecked() {
    ZYN_FLOW("ZynStream::EndParmEnc", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(!_pNextParm, "_pNextParm == 0");
    ZYN_REQUIRE_TEXT(!_parmStack.IsEmpty(), "!_parmStack.empty()");
    ZynStreamParmDescriptor parm = _parmStack.Top();
    if (parm._length != 0)
        return EndParmDec();
    const std::uint32_t length = zynkxdr::WireWord(_curPos - parm._position);
    parm._length = length;
    RequireHeadInBlock(parm);
    if (IsIndexed() && _parmStack.Size() == 1) {
        // Where another cursor has compacted the stream, the frame is not where the index has it.
        ZynStreamParmDescriptor entry(parm._id);
        ZYN_REQUIRE_TEXT(IndexFindEntry(entry) && entry._position == parm._position &&
                             _curPos <= _pMem->_endPos,
                         "rc == true");
        IndexReplaceEntry(parm);
    }
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

ZynStream& ZynStream::PrefetchNextParmChecked(unsigned long& parmId) {
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
ZynStream& ZynStream::StartParmDecChecked(unsigned long parmId) {
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

ZynStream& ZynStream::EndParmDecChecked() {
    ZYN_FLOW("ZynStream::EndParmDec", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE_TEXT(!_pNextParm, "_pNextParm == 0");
    ZYN_REQUIRE_TEXT(!_parmStack.IsEmpty(), "!_parmStack.empty()");
    _curPos = _parmStack.Top()._position + _parmStack.Top()._length;
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
    ZYN_REQUIRE_TEXT(_parmStack.IsEmpty(), "_parmStack.empty()");
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
