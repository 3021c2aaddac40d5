#include "zynkicda.h"

#include <unicode/ucnv.h>

#include <optional>

#include "zynkconv.h"
#include "zynktrc.h"

namespace {

[[noreturn]] void ThrowNotOpened(unsigned short sourceCcsid, UErrorCode sourceError,
                                 unsigned short targetCcsid, UErrorCode targetError) {
    constexpr char Function[] = "ZynIconvDescriptorArray::IconvDescriptorIndex";
    if (sourceError == U_FILE_ACCESS_ERROR || targetError == U_FILE_ACCESS_ERROR)
        ZYN_THROW_INT(
            ZynConverter::InvalidCodePage(ZYN_ORIGIN(Function), sourceCcsid, targetCcsid));
    if (sourceError > U_ZERO_ERROR)
        ZYN_THROW_INT(
            ZynOSException(ZYN_ORIGIN(Function), "ucnv_openCCSID: sourceCcsid", sourceError, 0));
    ZYN_THROW_INT(
        ZynOSException(ZYN_ORIGIN(Function), "ucnv_openCCSID: targetCcsid", targetError, 0));
}

} // namespace

struct ZynIconvDescriptorArray::Opened {
    UConverter* converter;
    UErrorCode error;
};

ZynIconvDescriptorArray::ZynIconvDescriptorArray() : _lock(std::make_unique<ZynMutexSemaphore>()) {}

ZynIconvDescriptorArray::~ZynIconvDescriptorArray() {
    for (Block* block = _first.next; block != nullptr;) {
        const std::unique_ptr<Block> gone(block);
        block = gone->next;
    }
}

// The entry of a pair or, if there is none, the free one that it gets.
ZynIconvDescriptorArray::Entry*
ZynIconvDescriptorArray::Find(unsigned short sourceCcsid, unsigned short targetCcsid, int& index) {
    index = 0;
    for (Block* block = &_first;; block = block->next) {
        for (Entry& entry : block->entries) {
            if (entry._sourceCcsid == 0 ||
                (entry._sourceCcsid == sourceCcsid && entry._targetCcsid == targetCcsid))
                return &entry;
            ++index;
        }
        if (block->next == nullptr) {
            block->next = new Block;
            _size += BlockSize;
            ZYN_TRACE_IN("ZynIconvDescriptorArray::IconvDescriptorIndex", 1, ZynTrace::General,
                         ZynTrace::Kernel,
                         "Iconv descriptor array enlarged. Max number of entries = " << _size);
        }
    }
}

ZynIconvDescriptorArray::Opened ZynIconvDescriptorArray::Open(unsigned short ccsid) {
    if (const auto spare = _spare.extract(ccsid))
        return {spare.mapped(), U_ZERO_ERROR};
    Opened opened{nullptr, U_ZERO_ERROR};
    opened.converter = ucnv_openCCSID(ccsid, UCNV_IBM, &opened.error);
    return opened;
}

int ZynIconvDescriptorArray::IconvDescriptorIndex(unsigned short sourceCcsid,
                                                  unsigned short targetCcsid) {
    ZYN_FLOW("ZynIconvDescriptorArray::IconvDescriptorIndex", ZynTrace::FlowLevel,
             ZynTrace::Kernel);
    ZYN_ASSERT(sourceCcsid != targetCcsid);
    Opened source{};
    Opened target{};
    {
        std::optional<ZynMutexSemaphoreAssumption> held;
        if (_lock != nullptr)
            held.emplace(*_lock);
        int index = 0;
        Entry* const entry = Find(sourceCcsid, targetCcsid, index);
        if (entry->_sourceCcsid != 0)
            return index;
        std::unique_ptr<ZynMutexSemaphore> lock;
        if (_multiThreaded)
            lock = std::make_unique<ZynMutexSemaphore>();
        source = Open(sourceCcsid);
        target = Open(targetCcsid);
        if (source.error <= U_ZERO_ERROR && target.error <= U_ZERO_ERROR) {
            entry->_targetCcsid = targetCcsid;
            entry->_source = source.converter;
            entry->_target = target.converter;
            entry->_lock = std::move(lock);
            entry->_sourceCcsid = sourceCcsid; // the last one: now others may see the entry
            ZYN_TRACE(1, ZynTrace::General, ZynTrace::Kernel,
                      "ICU descriptor  from source code page "
                          << ZynConverter::CodePageAsString(sourceCcsid) << " to target code page "
                          << ZynConverter::CodePageAsString(targetCcsid) << " created");
            return index;
        }
        if (source.converter != nullptr)
            _spare.emplace(sourceCcsid, source.converter);
        if (target.converter != nullptr)
            _spare.emplace(targetCcsid, target.converter);
    }
    ZYN_TRACE_ERROR(ZynTrace::Error, ZynTrace::Kernel,
                    "Source Codepage = " << ZynConverter::CodePageAsString(sourceCcsid));
    ZYN_TRACE_ERROR(ZynTrace::Error, ZynTrace::Kernel,
                    "Target Codepage = " << ZynConverter::CodePageAsString(targetCcsid));
    ThrowNotOpened(sourceCcsid, source.error, targetCcsid, target.error);
}

void ZynIconvDescriptorArray::SetSingleThreaded() {
    ZYN_TRACE(1, ZynTrace::General, ZynTrace::Kernel, "Process is single-threaded.");
    _multiThreaded = false;
    _lock.reset();
    for (Block* block = &_first; block != nullptr; block = block->next)
        for (Entry& entry : block->entries)
            entry._lock.reset();
}
