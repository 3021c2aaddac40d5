#include "zynkdynp.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr unsigned long FirstSize = 1024;

} // namespace

// Doubles `start` until it holds `wanted` bytes.
unsigned long ZynDynPointer::SizeFor(unsigned long start, unsigned long wanted) {
    unsigned long size = start;
    while (size < wanted) {
        size *= 2;
        ZYN_ASSERT(size != 0);
    }
    return size;
}

ZynDynPointer::ZynDynPointer() : _pMem(new DataRep) {}

ZynDynPointer::ZynDynPointer(unsigned long size) : ZynDynPointer() {
    _pMem->_size = SizeFor(FirstSize, size);
    _pMem->_ptr = static_cast<char*>(std::calloc(_pMem->_size, 1));
    ZYN_ASSERT_TEXT(_pMem->_ptr != nullptr, "_ptr != 0");
}

ZynDynPointer::ZynDynPointer(const char* data, unsigned long size) : ZynDynPointer(size) {
    ZYN_REQUIRE_TEXT(data != nullptr || size == 0, "data != 0 || size == 0");
    if (size != 0)
        std::memcpy(_pMem->_ptr, data, size);
}

ZynDynPointer::ZynDynPointer(const ZynDynPointer& other) : _pMem(other._pMem) {
    ++_pMem->_refCount;
}

ZynDynPointer& ZynDynPointer::operator=(const ZynDynPointer& other) {
    ++other._pMem->_refCount;
    Release();
    _pMem = other._pMem;
    return *this;
}

ZynDynPointer::~ZynDynPointer() {
    Release();
}

void ZynDynPointer::Release() {
    if (--_pMem->_refCount != 0)
        return;
    std::free(_pMem->_ptr);
    delete _pMem;
}

void ZynDynPointer::Ensure(unsigned long fromPosition, unsigned long length) {
    ZYN_REQUIRE_TEXT(_pMem->_ptr != nullptr, "_pMem->_ptr != 0");
    ZYN_REQUIRE(fromPosition <= _pMem->_size);
    if (length <= _pMem->_size - fromPosition)
        return;
    // A sum that does not fit its type asks for more than any doubling reaches.
    const unsigned long wanted = fromPosition + length;
    ZYN_ASSERT_TEXT(wanted >= length, "size != 0");
    const unsigned long size = SizeFor(_pMem->_size * 2, wanted);
    auto* const ptr = static_cast<char*>(std::calloc(size, 1));
    ZYN_ASSERT_TEXT(ptr != nullptr, "ptr != 0");
    std::memcpy(ptr, _pMem->_ptr, fromPosition);
    std::free(_pMem->_ptr);
    _pMem->_ptr = ptr;
    _pMem->_size = size;
}
