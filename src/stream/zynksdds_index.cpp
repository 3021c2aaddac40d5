// The index of ZynStream: its top-level parameters by id. An erased frame has the id 0; it keeps
// its length and counts as unused.
#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "zynksdds.h"
#include "zynktrc.h"

void ZynStream::CreateIndex() {
    ZYN_FLOW("ZynStream::CreateIndex", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(!IsNull());
    ZYN_REQUIRE_TEXT(_pMem->_pParmIndex == nullptr, "_pMem->_pParmIndex == 0");
    PositionToStart();
    _pMem->_pParmIndex = std::make_unique<Index>();
    _pMem->_unusedBytes = 0;
    try {
        while (!Eof()) {
            ZynStreamParmDescriptor parm;
            GetParm(parm);
            if (parm._id == 0)
                _pMem->_unusedBytes += parm._length;
            else
                ZYN_ASSERT_TEXT(IndexInsertEntry(parm), "rc == true");
        }
    } catch (...) {
        DeleteIndex(); // half an index would hide what it has not seen
        throw;
    }
}

void ZynStream::DeleteIndex() {
    ZYN_FLOW("ZynStream::DeleteIndex", ZynTrace::FlowLevel, ZynTrace::Kernel);
    _pMem->_pParmIndex.reset();
    _pMem->_unusedBytes = 0;
}

unsigned long ZynStream::UnusedBytes() const {
    ZYN_REQUIRE(IsIndexed());
    return _pMem->_unusedBytes;
}

bool ZynStream::EraseParm(unsigned long parmId) {
    ZYN_FLOW("ZynStream::EraseParm", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(IsIndexed());
    ZynStreamParmDescriptor parm(parmId);
    if (!IndexFindEntry(parm))
        return false;
    zynkxdr::StoreWord(At(parm._position), 0);
    if (parm._position + parm._length == _pMem->_endPos) {
        _pMem->_endPos = parm._position;
        _pMem->_closed = false;
        _curPos = std::min(_curPos, parm._position);
    } else {
        _pMem->_unusedBytes += parm._length;
    }
    IndexEraseEntry(parm);
    return true;
}

void ZynStream::ChangeParmId(unsigned long parmId) {
    ZYN_FLOW("ZynStream::ChangeParmId", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(parmId != 0);
    ZYN_REQUIRE_TEXT(!_parmStack.IsEmpty(), "!_parmStack.empty()");
    ZYN_REQUIRE_TEXT(!_pNextParm, "_pNextParm == 0");
    const std::uint32_t word = zynkxdr::WireWord(parmId);
    const ZynStreamParmDescriptor old = _parmStack.Top();
    RequireHeadInBlock(old);
    if (IsIndexed() && _parmStack.Size() == 1) {
        // A damaged frame, or one that another cursor has moved, is not the one of the index.
        ZynStreamParmDescriptor entry(old._id);
        ZYN_ASSERT_TEXT(IndexFindEntry(entry) && entry._position == old._position &&
                            entry._length == old._length,
                        "rc == true");
        ZynStreamParmDescriptor taken(parmId);
        ZYN_ASSERT_TEXT(parmId == old._id || !IndexFindEntry(taken), "rc == true");
        auto node = _pMem->_pParmIndex->extract(old); // to make another one could fail
        node.value()._id = parmId;
        _pMem->_pParmIndex->insert(std::move(node));
    }
    _parmStack.Top()._id = parmId;
    zynkxdr::StoreWord(At(old._position), word);
}

// The source may be this stream or a cursor on the same bytes: it is read by a cursor of its own,
// and its bytes are looked up anew behind each step that may move the block.
void ZynStream::PutById(unsigned long parmId, unsigned long sourceParmId, ZynStream& sourceStream,
                        bool isString) {
    ZYN_FLOW("ZynStream::PutById", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(IsIndexed());
    ZYN_REQUIRE(sourceStream.IsIndexed());
    if (EraseParm(parmId))
        ZYN_TRACE(3, ZynTrace::Flow, ZynTrace::Stream, "Parameter with ID " << parmId << " erased");
    ZynStreamParmDescriptor parm(sourceParmId);
    ZYN_REQUIRE_TEXT(sourceStream.IndexFindEntry(parm), "found == true");
    sourceStream.CleanupParms();
    sourceStream.PrefetchParm(parm);
    sourceStream.StartParmDec(sourceParmId);
    ZynStream source(sourceStream);
    CleanupParms();
    _curPos = _pMem->_endPos;
    StartParmEnc(parmId);
    try {
        if (isString)
            PutStringOf(source);
        else
            PutPayloadOf(source);
        EndParmEnc();
    } catch (...) {
        AbandonParm();
        throw;
    }
}

// The string at the source's position, into this stream's code page.
void ZynStream::PutStringOf(ZynStream& source) {
    unsigned long length = 0;
    source.PeekVarOpaque(length);
    const ZynBinary text(source.At(source._curPos + WordSize), length);
    PutString(text.Data(), length, source._pMem->_header._streamCcsid);
}

// The bytes of the parameter that the source has open. Where the index of a shared block is out of
// date they may reach into the place they go to.
void ZynStream::PutPayloadOf(const ZynStream& source) {
    const unsigned long length = source._parmStack.Top()._length - FrameHeadSize;
    char* const to = Claim(length + Padding(length));
    std::memmove(to, source.At(source._curPos), length);
    std::memset(to + length, 0, Padding(length));
}

// Takes back the last parameter of the top level, which is being encoded.
void ZynStream::AbandonParm() {
    const ZynStreamParmDescriptor parm = _parmStack.Top();
    DropParms();
    IndexEraseEntry(parm);
    _pMem->_endPos = _curPos = parm._position;
}

// The header and then the parameters that the index covers, in ascending order, as a closed stream
// of its own. `index` gets their places.
ZynStream ZynStream::Compacted(Index* index) const {
    const unsigned long headerSize = _pMem->_startPos - _pMem->_headerPos;
    ZynStream compact(ZynDynPointer(Length()), 0, RawTag());
    compact._pMem->_header = StreamHeader(Kind(), _pMem->_header._streamCcsid);
    compact.BoundParms();
    std::memcpy(compact.Claim(headerSize), At(_pMem->_headerPos), headerSize);
    compact._pMem->_startPos = headerSize;
    for (const ZynStreamParmDescriptor& parm : *_pMem->_pParmIndex) {
        if (parm._length == 0)
            continue; // another cursor still encodes it
        if (index != nullptr)
            index->emplace_hint(index->end(), parm._id, compact._curPos, parm._length);
        std::memcpy(compact.Claim(parm._length), At(parm._position), parm._length);
    }
    compact.Close();
    return compact;
}

void ZynStream::Compact(bool keepIndex) {
    ZYN_FLOW("ZynStream::Compact", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_REQUIRE(IsIndexed());
    if (_pMem->_unusedBytes == 0)
        return;
    CleanupParms();
    auto index = std::make_unique<Index>();
    const ZynStream compact = Compacted(keepIndex ? index.get() : nullptr);
    DataRep& rep = *_pMem;
    rep._dynPtr = compact._pMem->_dynPtr;
    rep._startPos -= rep._headerPos;
    rep._headerPos = 0;
    rep._endPos = compact._pMem->_endPos;
    rep._unusedBytes = 0;
    rep._pParmIndex = keepIndex ? std::move(index) : nullptr;
    rep._closed = false;
    Close();
}

// An empty parameter at the end counts as none: old callers know no better.
bool ZynStream::PositionToParm(unsigned long parmID) {
    ZYN_FLOW("ZynStream::PositionToParm", ZynTrace::FlowLevel, ZynTrace::Kernel);
    ZYN_TRACE_ERROR(ZynTrace::Error, ZynTrace::Stream, "Do not use ZynStream::PositionToParm");
    ZYN_REQUIRE(parmID != 0);
    PositionToStart();
    while (!Eof()) {
        unsigned long id = 0;
        PrefetchNextParm(id);
        if (id == parmID)
            break;
        SkipNextParm();
    }
    return _curPos != _pMem->_endPos;
}

bool ZynStream::IsAnyParmSetWithinSubrange(unsigned long low, unsigned long high) const {
    ZYN_REQUIRE(IsIndexed());
    const auto first = _pMem->_pParmIndex->lower_bound(ZynStreamParmDescriptor(low));
    return first != _pMem->_pParmIndex->end() && first->_id <= high;
}

bool ZynStream::IndexFindEntry(ZynStreamParmDescriptor& d) const {
    const auto found = _pMem->_pParmIndex->find(d);
    if (found == _pMem->_pParmIndex->end())
        return false;
    d = *found;
    return true;
}

bool ZynStream::IndexInsertEntry(const ZynStreamParmDescriptor& d) {
    return _pMem->_pParmIndex->insert(d).second;
}

bool ZynStream::IndexEraseEntry(const ZynStreamParmDescriptor& d) {
    return _pMem->_pParmIndex->erase(d) == 1;
}

bool ZynStream::IndexReplaceEntry(const ZynStreamParmDescriptor& d) {
    auto node = _pMem->_pParmIndex->extract(d);
    if (!node)
        return false;
    node.value() = d;
    _pMem->_pParmIndex->insert(std::move(node));
    return true;
}
