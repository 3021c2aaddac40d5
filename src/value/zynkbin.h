// ZynBinary: counted bytes that may be null.
//
// Copies share one representation and are constant time; a value that writes makes its
// representation its own first (copy on write). Reference counts are plain integers: a value and
// its copies stay with one thread at a time.
//
// Null is not empty. Null means that there is no representation:
//
//     operation             null operand              empty operand
//     Length                0                         0
//     ==  <  |  |=          contract failure          as bytes of length 0
//     Data, operator[]      contract failure          valid pointer; every index fails
//     SubBinary             contract failure          null
//     to a character stream "<null>"                  nothing
//     to a ZynStream        contract failure          the length word 0
//     SetNull, copying      allowed                   allowed
//     all others            contract failure          as told at each
//
// Four bytes in front of the data belong to the representation. A relational database interface
// that wants the length of a variable-length field in front of its bytes finds room for it there,
// so that a column moves into the value and out of it without a copy.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>

#include "zynkdbg.h"

/// Selects the constructors that make room for bytes to be filled in later.
enum CreateEmptyTag { CreateEmpty };

/// Fields of the TB4 and ODBC interfaces: a length in host byte order, the bytes behind it.
struct ZynTB4VarChar {
    std::int16_t length;
    char data[1];
};
struct ZynTB4LOB {
    std::uint32_t length;
    char data[1];
};
struct ZynODBCVarChar {
    std::int32_t length;
    char data[1];
};

class ZYN_EXPORT ZynBinary {
  public:
    class MD5;

    /// The representation that ZynBinary and ZynString share: one block with the data in it.
    struct ZYN_EXPORT Rep {
        char* _data;             ///< first byte; the prefix stands in the 4 bytes in front of it
        unsigned long _len;      ///< bytes in use, without a terminator
        unsigned long _refCount; ///< values that share this representation
        unsigned long _allocLen; ///< bytes available at _data

        /// Room in front of the data for a length field.
        static constexpr unsigned long PrefixSize = 4;

        /// A representation with room for `allocLength` bytes, of which `length` count as used,
        /// and with one reference. Behind the room there is always one more byte, which is NUL.
        static Rep* Allocate(unsigned long allocLength, unsigned long length);
        /// The most room that a block made for `allocLength` bytes can give. Blocks come in steps,
        /// so that a room may change a little without another block.
        static constexpr unsigned long BlockRoom(unsigned long allocLength);
        static constexpr unsigned long BlockStep = 64; ///< a line of the processor's cache
        static void Deallocate(Rep*& rep);
    };

    /// A counted reference to a representation, or none: all that ZynBinary and ZynString hold.
    class ZYN_EXPORT RepRef {
      public:
        RepRef() = default;
        /// Takes over the one reference of a fresh representation.
        explicit RepRef(Rep* rep) : _p(rep) {}
        RepRef(const RepRef& other);
        RepRef(RepRef&& other) noexcept : _p(other._p) { other._p = nullptr; }
        RepRef& operator=(const RepRef& other);
        RepRef& operator=(RepRef&& other) noexcept;
        ~RepRef() { Reset(); }

        Rep* operator->() const { return _p; }
        Rep& operator*() const { return *_p; }
        bool operator==(const RepRef&) const = default;
        bool operator==(std::nullptr_t) const { return _p == nullptr; }

        void Reset();
        /// Goes over to a representation of its own with room for `allocLength` bytes, which takes
        /// over the length and the first `copyLength` bytes.
        void Replace(unsigned long allocLength, unsigned long copyLength);
        /// Changes the room to `allocLength` bytes where the block may stay, which takes a
        /// representation of its own; false, with nothing changed, if it may not.
        bool Fit(unsigned long allocLength);
        /// Sets the length of a representation of its own, which copies do not see. More than
        /// there is room for is a failure of the invariant, and nothing changes.
        void SetLength(unsigned long n);
        /// The text of the invariant if it is broken, else null.
        const char* _assert_invariant() const;

      private:
        Rep* _p = nullptr;
    };

    /// Null.
    ZynBinary() = default;
    /// `n` bytes of undefined content, to be filled through PreRead.
    ZynBinary(CreateEmptyTag, unsigned long n);
    /// A copy of `n` bytes. 0 bytes give an empty value.
    ZynBinary(const void* data, unsigned long n);

    /// Becomes a copy of `n` bytes, in the block that it has if no copy shares that and a new one
    /// would be as large. The bytes may be its own.
    ZynBinary& Assign(const void* data, unsigned long n);

    bool IsNull() const { return _pRep == nullptr; }
    void SetNull();
    /// Bytes held; 0 for null.
    unsigned long Length() const;

    /// The bytes, valid until the value changes or goes. A null value is a contract failure.
    const char* Data() const;
    /// The bytes for writing; detaches from copies. Write before the value is copied again: a copy
    /// shares the bytes and would see it. The same holds for operator[] and PreRead.
    char* Data();
    /// The byte at `index`, counted from 0, for writing; detaches from copies. A null value or an
    /// index at or behind the length is a contract failure.
    char& operator[](unsigned long index);

    /// Where to fill a value that no copy shares; PostRead tells how many bytes were filled.
    char* PreRead();
    /// Sets the length. More than there is room for is a failure of the invariant, and the length
    /// stays. Detaches from copies.
    void PostRead(unsigned long n);

    /// Up to `length` bytes from `startPos`, counted from 1. Null, not empty, if that is none.
    ZynBinary SubBinary(unsigned long startPos, unsigned long length) const;

    /// Appends. An empty side leaves or shares the other; else the value is new, without spare
    /// room.
    ZynBinary& operator|=(const ZynBinary& rhs);

    /// Two upper-case hexadecimal digits for each byte, with a NUL behind them that does not
    /// count, so that Data() serves as a text.
    ZynBinary AsHexString() const;
    /// The bytes that the hexadecimal digits of either case stand for. An odd number of digits or
    /// another character is a contract failure.
    static ZynBinary FromHexString(const char* pchar);

    /// Puts `c` in front of the bytes and behind them.
    void Mark(char c);
    /// Takes both marks away if the first and the last of at least two bytes are `c`.
    void Unmark(char c);

    /// The 16-byte MD5 digest (RFC 1321) of the bytes.
    ZynBinary ToMD5() const;

    /// @name Database fields
    /// A read fills a value made with CreateEmpty: the Pre operation hands out the record, the
    /// Post operation takes the length over that the interface has set. A write stores the length
    /// ahead of the bytes; it changes the prefix of a representation that may be shared, which
    /// belongs to no value and means nothing afterwards. Contract failures are a read into a value
    /// that copies share, a length from the interface that is negative or more than the room, and
    /// a write of more bytes than the field can count. A 16-bit field is told at most 32767 bytes
    /// of room.
    /// @{
    ZynTB4VarChar* PreTB4VarCharRead();
    void PostTB4VarCharRead();
    ZynTB4VarChar* PreTB4VarCharWrite() const;
    ZynTB4LOB* PreTB4LOBRead();
    void PostTB4LOBRead();
    ZynTB4LOB* PreTB4LOBWrite() const;
    ZynODBCVarChar* PreODBCVarCharRead();
    void PostODBCVarCharRead();
    ZynODBCVarChar* PreODBCVarCharWrite() const;
    /// @}

    /// The text of the first clause of the invariant that does not hold; null if all hold.
    const char* _assert_invariant() const;

    /// Equal lengths and bytes. A null operand is a contract failure.
    friend bool operator==(const ZynBinary& lhs, const ZynBinary& rhs);
    /// Unsigned bytes over the common length, then the shorter is lower. A null operand is a
    /// contract failure.
    friend bool operator<(const ZynBinary& lhs, const ZynBinary& rhs);

  protected:
    struct StringRep;
    /// The record that begins at the prefix.
    const StringRep* StringBuffer() const;
    StringRep* StringBuffer();

  private:
    RepRef _pRep;
};

/// What stands in one piece in memory: the prefix and the data.
struct ZynBinary::StringRep {
    std::uint32_t length;
    char data[1];
};

/// A null operand is a contract failure.
ZYN_EXPORT bool operator==(const ZynBinary& lhs, const ZynBinary& rhs);
ZYN_EXPORT bool operator<(const ZynBinary& lhs, const ZynBinary& rhs);
ZYN_EXPORT ZynBinary operator|(const ZynBinary& lhs, const ZynBinary& rhs);

/// The hexadecimal text; "<null>" for null.
ZYN_EXPORT std::ostream& operator<<(std::ostream& os, const ZynBinary& binary);

/// The MD5 message digest of RFC 1321. Bytes may come in pieces of any size.
class ZYN_EXPORT ZynBinary::MD5 {
  public:
    MD5();
    void Update(const unsigned char* input, unsigned int length);
    /// The 16-byte digest of what came so far; more may follow.
    ZynBinary Final() const;

  private:
    static constexpr unsigned int BlockSize = 64;
    static const unsigned char _PADDING[BlockSize];

    static void Transform(std::uint32_t* state, const unsigned char* block);

    std::uint32_t _count[2]; ///< bits so far, low word first
    std::uint32_t _state[4];
    unsigned char _input[BlockSize] = {}; ///< the block that is not full yet
};

#include "zynkbin.inl"
