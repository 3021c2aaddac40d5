// Parameter frames of ZynStream as values, and the stack of those that a cursor has open.
#pragma once

#include <memory>

#include "zynkdbg.h"

/// A parameter frame in a stream: its number, place and size. Ordered by number alone.
class ZYN_EXPORT ZynStreamParmDescriptor {
  public:
    explicit ZynStreamParmDescriptor(unsigned long id = 0, unsigned long position = 0,
                                     unsigned long length = 0)
        : _id(id), _position(position), _length(length) {}

    bool operator<(const ZynStreamParmDescriptor& other) const { return _id < other._id; }

    unsigned long _id;       ///< parameter number; 0 only for an erased frame
    unsigned long _position; ///< offset of the frame's first byte in the memory block
    unsigned long _length;   ///< bytes with the 8 of the frame's head; 0 while being encoded
};

/// The open parameters of a cursor, the innermost on top. A few have room in the stack itself; more
/// stand on the heap, so that no depth of nesting exhausts the thread's own stack.
///
/// Below the open ones lie two entries that stand for what encloses them all. So the innermost one
/// and the one around it can be looked at without asking first whether there are any.
class ZYN_EXPORT ZynStreamParmStack {
  public:
    static constexpr unsigned long Unbounded = static_cast<unsigned long>(-1);

    ZynStreamParmStack() : _top(_few + 1), _last(_few + FewCount - 1) {
        _few[0]._length = 1; // around nothing: not the length of a frame that is being encoded
        _few[1]._position = Unbounded;
    }
    ZynStreamParmStack(const ZynStreamParmStack& other) : ZynStreamParmStack() { *this = other; }
    /// A failure leaves this stack as it was.
    ZynStreamParmStack& operator=(const ZynStreamParmStack& other);
    ~ZynStreamParmStack() = default;

    bool IsEmpty() const { return Size() == 0; }
    unsigned long Size() const { return Count(_top) - FloorCount; }
    /// The innermost one. Where none is open, one without length at a place behind all bytes.
    const ZynStreamParmDescriptor& Top() const { return *_top; }
    ZynStreamParmDescriptor& Top() { return *_top; }
    /// The one around the innermost one, which is as Top() where that is the only one. Where none
    /// is open it has a length.
    const ZynStreamParmDescriptor& Outer() const { return _top[-1]; }

    /// Whether Push would take no memory.
    bool HasRoom() const { return _top != _last; }
    void MakeRoom() {
        if (!HasRoom()) [[unlikely]]
            Grow(2 * Room());
    }
    void Push(const ZynStreamParmDescriptor& parm) {
        MakeRoom();
        *++_top = parm;
    }
    /// The stack must not be empty.
    void Pop() { --_top; }
    void Clear() { _top = First() + FloorCount - 1; }

  private:
    static constexpr unsigned long FloorCount = 2;
    static constexpr unsigned long FewCount = 8;

    unsigned long Count(const ZynStreamParmDescriptor* last) const {
        return static_cast<unsigned long>(last - First()) + 1;
    }
    unsigned long Room() const { return Count(_last); }

    const ZynStreamParmDescriptor* First() const { return _many ? _many.get() : _few; }
    ZynStreamParmDescriptor* First() { return _many ? _many.get() : _few; }
    void Grow(unsigned long count);

    ZynStreamParmDescriptor* _top;
    const ZynStreamParmDescriptor* _last; ///< the last entry that there is room for
    ZynStreamParmDescriptor _few[FewCount];
    std::unique_ptr<ZynStreamParmDescriptor[]> _many;
};
