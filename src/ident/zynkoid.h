// ZynOID: the 16-byte identifier of an object of the workflow domain.
//
// To its users an identifier is an opaque byte string but for two operations, which see a counter
// in it: making a new one and stepping one forward. How the 16 bytes map onto the counter is the
// encoding, which the identifier does not store: its users say it each time, and always the same
// one.
//
// A value without heap storage; the all-zero one is null.
#pragma once

#include <cstring>
#include <iosfwd>

#include "zynkstr.h"
#include "zynkvoc.h"

class ZynStream;

class ZYN_EXPORT ZynOID {
  public:
    /// Selects the constructor of a new identifier; the value is ignored.
    enum CreateNRV { Create };

    /// Null.
    ZynOID() = default;
    /// From what AsBinary gave. Anything but 16 bytes is a contract failure.
    ZynOID(const ZynBinary& streamed);
    /// A new identifier, never null, from four draws of the runtime's `rand`. It is as unlikely to
    /// be met again as the process has seeded that generator well; nothing here seeds it or keeps a
    /// record. The encoding `NotSet` is a contract failure.
    ZynOID(CreateNRV, ZynOIDEncoding::Type encoding);

    bool operator==(const ZynOID& other) const {
        return std::memcmp(_data, other._data, sizeof _data) == 0;
    }
    bool IsNull() const { return *this == ZynOID(); }
    void SetNull() { *this = ZynOID(); }

    /// Steps the counter in place. The encoding `NotSet` is a contract failure.
    ///
    /// The lowest word of 32 bits wraps around. The words above it are stepped where the sum is
    /// less than before as a signed number: identifiers in use were stepped in this way, and their
    /// successors are looked for by it.
    ZynOID& increment(short step, ZynOIDEncoding::Type encoding);

    /// @name The 16 bytes in other forms
    /// @{
    ZynBinary AsBinary() const;
    /// 32 upper-case digits.
    ZynString AsHexString() const;
    /// 24 characters, of which the last two are padding.
    ZynString AsBase64String() const;
    /// The reverse. A null string, or one that does not decode to 16 bytes, is a contract failure:
    /// texts from outside are handles, which are checked.
    static ZynOID FromBase64String(const ZynString& string);
    /// @}

  private:
    class _OID;

    friend ZynStream& operator<<(ZynStream& stream, const ZynOID& oid);
    friend ZynStream& operator>>(ZynStream& stream, ZynOID& oid);
    friend std::ostream& operator<<(std::ostream& os, const ZynOID& oid);

    char* data() { return _data; }
    const char* data() const { return _data; }

    char _data[16] = {};
};

/// One variable opaque value of 16 bytes. One of another length is a contract failure at reading.
ZYN_EXPORT ZynStream& operator<<(ZynStream& stream, const ZynOID& oid);
ZYN_EXPORT ZynStream& operator>>(ZynStream& stream, ZynOID& oid);

/// "OID(", two hexadecimal digits for each byte, ")". Leaves the stream in decimal mode.
ZYN_EXPORT std::ostream& operator<<(std::ostream& os, const ZynOID& oid);
