// ZynDynPointer: a raw memory block that grows and is shared by reference count.
//
// All holders see the same block: when one makes it grow, it moves for all of them, so no raw
// pointer into it survives a write. The count is plain: a block and its holders stay with one
// thread at a time.
#pragma once

#include "zynkdbg.h"

class ZYN_EXPORT ZynDynPointer {
  public:
    /// An empty block: size 0 and a null pointer.
    ZynDynPointer();
    /// A block of at least `size` bytes: 1024 times a power of two. What is never written is zero,
    /// so that no stale memory travels.
    explicit ZynDynPointer(unsigned long size);
    /// The same with `size` bytes copied in.
    ZynDynPointer(const char* data, unsigned long size);
    ZynDynPointer(const ZynDynPointer& other);
    ZynDynPointer& operator=(const ZynDynPointer& other);
    ~ZynDynPointer();

    operator char*() const { return _pMem->_ptr; }
    unsigned long Size() const { return _pMem->_size; }

    /// Makes room for `length` bytes from `fromPosition` on, by doubling. Only the bytes in front
    /// of `fromPosition` survive growth, as a block grows while it is written at its end; behind
    /// them it is zero.
    void Ensure(unsigned long fromPosition, unsigned long length);

  private:
    struct DataRep {
        unsigned long _size = 0;
        char* _ptr = nullptr;
        unsigned long _refCount = 1;
    };

    static unsigned long SizeFor(unsigned long start, unsigned long wanted);
    void Release();

    DataRep* _pMem;
};
