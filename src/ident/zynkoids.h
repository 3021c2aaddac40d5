// Typed identifiers of the workflow domain, built from ZynOID, and their handles.
//
//     ZynBTID              process template            ZynTLID, ZynILID,   lists of kind T, I,
//     ZynBIID              process instance            ZynWLID, ZynALID    W and A
//     ZynATID              activity template           ZynSessionID        session
//     ZynAIID              activity instance           ZynActImplCorrelID  activity implementation
//     ZynWIID              work item                   ZynIMID             pair of instances
//
// Inside the system they travel as values or in streams. An outside caller knows one by its handle,
// a text that is checked when it comes back: the Base64 form of the identifier's bytes between two
// prefix bytes, which tell its type.
//
// All are values without heap storage, and their default is null. Constructors from binaries take
// exactly 16 bytes for an identifier; anything else is a contract failure.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "zynkoid.h"

/// The first and the last byte of a framed identifier.
struct IdPrefix {
    static constexpr char PTID = 'Q';
    static constexpr char PIID = 'P';
    static constexpr char AIID = 'A';
    static constexpr char WIID = 'W';
    static constexpr char ActImplCorrelID = 'E';
    static constexpr char SessionID = 'S';
    static constexpr char TLID = 'T';
    static constexpr char ILID = 'I';
    static constexpr char WLID = 'L'; // 'W' and 'A' are taken
    static constexpr char ALID = 'F';
    static constexpr char IMID = 'M';
};

/// @name Bytes of a framed identifier, both prefixes included
/// @{
inline constexpr unsigned long PTID_BIN_LENGTH = 18;
inline constexpr unsigned long PIID_BIN_LENGTH = 34;
inline constexpr unsigned long AIID_BIN_LENGTH = 42;
inline constexpr unsigned long WIID_BIN_LENGTH = 18;
inline constexpr unsigned long ActImplCorrelID_BIN_LENGTH = 60;
inline constexpr unsigned long SessionID_BIN_LENGTH = 18;
inline constexpr unsigned long TLID_BIN_LENGTH = 18;
inline constexpr unsigned long ILID_BIN_LENGTH = 18;
inline constexpr unsigned long WLID_BIN_LENGTH = 18;
inline constexpr unsigned long ALID_BIN_LENGTH = 18;
inline constexpr unsigned long IMID_BIN_LENGTH = 66;
/// @}

namespace zynkoids {
/// What makes up the frame of an identifier.
template <class Id>
struct Frame;
} // namespace zynkoids

/// What the identifiers share that outside callers know by a handle.
template <class Id>
class ZYN_EXPORT ZynHandleOf {
  public:
    /// The text for an outside caller. A null identifier has one as well.
    ZynString AsExternalObjectHandle() const;
    /// The reverse. A null text, one of another type or one that is damaged in its frame raises
    /// ZynExtExcINVALID_OID; the identifiers within the frame may be anything.
    static Id FromExternalObjectHandle(const ZynString& handle);

    bool operator==(const ZynHandleOf&) const = default;
};

/// What the identifiers share that are one ZynOID and no more.
template <class Id>
class ZYN_EXPORT ZynPlainID : public ZynHandleOf<Id> {
  public:
    ZynPlainID() = default;
    ZynPlainID(const ZynBinary& id) : _oid(id) {}

    ZynBinary AsBinary() const { return _oid.AsBinary(); }

    bool operator==(const ZynPlainID&) const = default;

  protected:
    template <class>
    friend struct zynkoids::Frame;

    ZynOID _oid;
};

class ZYN_EXPORT ZynSessionID : public ZynPlainID<ZynSessionID> {
    using ZynPlainID::ZynPlainID;
};
class ZYN_EXPORT ZynTLID : public ZynPlainID<ZynTLID> {
    using ZynPlainID::ZynPlainID;
};
class ZYN_EXPORT ZynILID : public ZynPlainID<ZynILID> {
    using ZynPlainID::ZynPlainID;
};
class ZYN_EXPORT ZynWLID : public ZynPlainID<ZynWLID> {
    using ZynPlainID::ZynPlainID;
};
class ZYN_EXPORT ZynALID : public ZynPlainID<ZynALID> {
    using ZynPlainID::ZynPlainID;
};

/// A work item.
class ZYN_EXPORT ZynWIID : public ZynPlainID<ZynWIID> {
  public:
    using ZynPlainID::ZynPlainID;

    bool IsNull() const { return _oid.IsNull(); }
    void SetNull() { _oid.SetNull(); }

    friend ZynStream& operator<<(ZynStream& stream, const ZynWIID& id);
    friend ZynStream& operator>>(ZynStream& stream, ZynWIID& id);
    friend std::ostream& operator<<(std::ostream& os, const ZynWIID& id);
};

/// A process template.
class ZYN_EXPORT ZynBTID : public ZynHandleOf<ZynBTID> {
  public:
    ZynBTID() = default;
    ZynBTID(const ZynOID& oid) : _oid(oid) {}
    ZynBTID(const ZynBinary& tid) : _oid(tid) {}

    ZynBinary FlatTID() const { return _oid.AsBinary(); }
    bool IsNull() const { return _oid.IsNull(); }
    void SetNull() { _oid.SetNull(); }
    /// As ZynOID::increment.
    ZynBTID& increment(short step, ZynOIDEncoding::Type encoding);

    bool operator==(const ZynBTID&) const = default;

    friend ZynStream& operator<<(ZynStream& stream, const ZynBTID& id);
    friend ZynStream& operator>>(ZynStream& stream, ZynBTID& id);
    friend std::ostream& operator<<(std::ostream& os, const ZynBTID& id);

  private:
    template <class>
    friend struct zynkoids::Frame;

    ZynOID _oid;
};

/// A process instance: its template and its own identifier. One that has an identifier has a
/// template.
class ZYN_EXPORT ZynBIID : public ZynHandleOf<ZynBIID> {
  public:
    ZynBIID() = default;
    ZynBIID(const ZynOID& iid, const ZynBTID& tid) : _btid(tid), _oid(iid) {}
    ZynBIID(const ZynBinary& iid, const ZynBinary& tid) : _btid(tid), _oid(iid) {}

    ZynBinary FlatTID() const { return _btid.FlatTID(); }
    ZynBinary FlatIID() const { return _oid.AsBinary(); }
    const ZynOID& FlatIOID() const { return _oid; }
    /// Whether it has no identifier of its own. One without a template is a contract failure.
    bool IsNull() const;
    /// The template stays.
    void SetNull() { _oid.SetNull(); }
    /// As ZynOID::increment, for the template as well as for the instance.
    ZynBIID& increment(short step, ZynOIDEncoding::Type encoding);

    bool operator==(const ZynBIID&) const = default;

    friend ZynStream& operator<<(ZynStream& stream, const ZynBIID& id);
    friend ZynStream& operator>>(ZynStream& stream, ZynBIID& id);
    friend std::ostream& operator<<(std::ostream& os, const ZynBIID& id);

  private:
    template <class>
    friend struct zynkoids::Frame;

    ZynBTID _btid;
    ZynOID _oid;
};

/// An activity template: the number of the activity inside its process template. It has no handle.
class ZYN_EXPORT ZynATID {
  public:
    ZynATID() = default;
    /// A number beyond 32 bits is a contract failure.
    ZynATID(const ZynBinary& tid, long tActNum);

    const ZynBTID& ParentID() const { return _parent; }
    long TActNum() const { return _tActNum; }
    /// Whether the process template is null.
    bool IsNull() const { return _parent.IsNull(); }

    bool operator==(const ZynATID&) const = default;

    friend ZynStream& operator<<(ZynStream& stream, const ZynATID& id);
    friend ZynStream& operator>>(ZynStream& stream, ZynATID& id);
    friend std::ostream& operator<<(std::ostream& os, const ZynATID& id);

  private:
    template <class>
    friend struct zynkoids::Frame;

    ZynBTID _parent;
    std::int32_t _tActNum = 0;
};

/// An activity instance: its process instance, its number there, and its activity template. One
/// that has a process instance has an activity template, of the same process template.
class ZYN_EXPORT ZynAIID {
  public:
    ZynAIID() = default;
    /// A number beyond 32 bits is a contract failure.
    ZynAIID(const ZynBinary& iid, long iActNum, const ZynBinary& tid, long tActNum);

    ZynBinary FlatTID() const { return _biid.FlatTID(); }
    ZynBinary FlatIID() const { return _biid.FlatIID(); }
    long TActNum() const { return _tid.TActNum(); }
    long IActNum() const { return _iActNum; }
    /// Whether the process instance has no identifier of its own. One that lacks a template is a
    /// contract failure.
    bool IsNull() const;
    /// The templates and the numbers stay.
    void SetNull() { _biid.SetNull(); }

    /// The framed bytes. The text for outside callers is that of ZynActImplCorrelID.
    ZynBinary AsBinaryObjectHandle() const;
    /// The reverse. Null, or a damaged frame, raises ZynExtExcINVALID_OID.
    static ZynAIID FromBinaryObjectHandle(const ZynBinary& handle);

    bool operator==(const ZynAIID&) const = default;

    friend ZynStream& operator<<(ZynStream& stream, const ZynAIID& id);
    friend ZynStream& operator>>(ZynStream& stream, ZynAIID& id);
    friend std::ostream& operator<<(std::ostream& os, const ZynAIID& id);

  private:
    template <class>
    friend struct zynkoids::Frame;

    ZynBIID _biid;
    std::int32_t _iActNum = 0;
    ZynATID _tid;
};

/// One activity implementation at work: the activity instance and a cookie.
class ZYN_EXPORT ZynActImplCorrelID : public ZynHandleOf<ZynActImplCorrelID> {
  public:
    ZynActImplCorrelID() = default;
    ZynActImplCorrelID(const ZynAIID& aiid, const ZynOID& cookie) : _aiid(aiid), _cookie(cookie) {}

    const ZynAIID& AIID() const { return _aiid; }
    const ZynOID& Cookie() const { return _cookie; }

    bool operator==(const ZynActImplCorrelID&) const = default;

  private:
    template <class>
    friend struct zynkoids::Frame;

    ZynAIID _aiid;
    ZynOID _cookie;
};

/// Two process instances.
class ZYN_EXPORT ZynIMID : public ZynHandleOf<ZynIMID> {
  public:
    ZynIMID() = default;
    ZynIMID(const ZynBIID& first, const ZynBIID& second) : _first(first), _second(second) {}

    const ZynBIID& First() const { return _first; }
    const ZynBIID& Second() const { return _second; }

    bool operator==(const ZynIMID&) const = default;

  private:
    template <class>
    friend struct zynkoids::Frame;

    ZynBIID _first;
    ZynBIID _second;
};

/// @name In streams, each reading what the other has written
/// Identifiers are variable opaque values of 16 bytes, numbers are longs. An identifier of another
/// length is a contract failure at reading; the value stays then as it was.
/// @{
ZYN_EXPORT ZynStream& operator<<(ZynStream& stream, const ZynWIID& id);
ZYN_EXPORT ZynStream& operator>>(ZynStream& stream, ZynWIID& id);
ZYN_EXPORT ZynStream& operator<<(ZynStream& stream, const ZynBTID& id);
ZYN_EXPORT ZynStream& operator>>(ZynStream& stream, ZynBTID& id);
/// The template, the instance.
ZYN_EXPORT ZynStream& operator<<(ZynStream& stream, const ZynBIID& id);
ZYN_EXPORT ZynStream& operator>>(ZynStream& stream, ZynBIID& id);
/// The process template, the number.
ZYN_EXPORT ZynStream& operator<<(ZynStream& stream, const ZynATID& id);
ZYN_EXPORT ZynStream& operator>>(ZynStream& stream, ZynATID& id);
/// The process template, once; the number of the template; the process instance; the number of the
/// instance.
ZYN_EXPORT ZynStream& operator<<(ZynStream& stream, const ZynAIID& id);
ZYN_EXPORT ZynStream& operator>>(ZynStream& stream, ZynAIID& id);
/// @}

/// @name For traces: the parts in the order in which they are in streams, with "," between them
/// @{
ZYN_EXPORT std::ostream& operator<<(std::ostream& os, const ZynWIID& id);
ZYN_EXPORT std::ostream& operator<<(std::ostream& os, const ZynBTID& id);
ZYN_EXPORT std::ostream& operator<<(std::ostream& os, const ZynBIID& id);
ZYN_EXPORT std::ostream& operator<<(std::ostream& os, const ZynATID& id);
ZYN_EXPORT std::ostream& operator<<(std::ostream& os, const ZynAIID& id);
/// @}
