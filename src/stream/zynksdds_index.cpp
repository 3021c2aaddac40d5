// The index of ZynStream: its top-level parameters by id. An erased frame has the id 0; it keeps
// its length and counts as unused.
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

bool ZynStream::IndexReplaceEntry(const ZynStreamParmDescriptor& d) {
    auto node = _pMem->_pParmIndex->extract(d);
    if (!node)
        return false;
    node.value() = d;
    _pMem->_pParmIndex->insert(std::move(node));
    return true;
}
