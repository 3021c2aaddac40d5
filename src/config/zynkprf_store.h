// The store operations: all that profiles ask of a platform. A platform without a registry keeps a
// tree of keys of its own, each with values by name.
//
// Names of keys and values are bytes in the process's code page, as are the texts of values, and
// come back byte for byte. Both are found without regard to case and keep the spelling of their
// first writing. Keys below a key, and its values, have the order of their creation.
//
// An operation answers 0 or a code. Its change is in the store, for other processes and for the
// time behind any crash, when it returns 0. What another process is about is waited for. Reading
// creates neither files nor folders: a store that does not exist has no keys. Any thread may call.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "zynkstr.h"

/// A handle of an open key. None is the same as another one that was open before, so that one that
/// has been closed is merely invalid.
using HKEY = std::uint64_t;

namespace zynkreg {

/// The two roots, which are always open: keys for all users of the machine, and the user's own.
constexpr HKEY LocalMachine = 0x80000002;
constexpr HKEY CurrentUser = 0x80000001;

/// @name Access to a key
/// @{
constexpr unsigned long Read = 0x20019;
constexpr unsigned long ReadWrite = 0x2001F;
/// @}

/// @name Kinds of values
/// @{
constexpr unsigned long Text = 1;
constexpr unsigned long Number = 4; ///< four bytes, in the host's order
constexpr unsigned long List = 7;   ///< texts with a NUL behind each, and one more behind the last
/// @}

/// @name Codes
/// A failure of another kind is StoreFailed and the store's own extended code, or SystemFailed and
/// the error number.
/// @{
constexpr long Success = 0;
constexpr long NotFound = 2;
constexpr long AccessDenied = 5;
constexpr long InvalidHandle = 6;
constexpr long MoreData = 234;
constexpr long NoMoreItems = 259;
constexpr long KeyDeleted = 1018;
constexpr long HasSubkeys = 1020;
constexpr long StoreFailed = 10000;
constexpr long SystemFailed = 20000;
/// @}

/// Opens the child of that name. A missing child, and a child of a root whose store does not exist,
/// is NotFound.
long RegOpenKeyEx(HKEY parent, const ZynString& name, unsigned long access, HKEY& child) noexcept;
/// Opens the child, and creates it if it is missing, with its store if need be.
long RegCreateKeyEx(HKEY parent, const ZynString& name, unsigned long access, HKEY& child) noexcept;
/// Does nothing to a root or to no handle.
long RegCloseKey(HKEY key) noexcept;

/// Kind and bytes of a value. Without a buffer only `length` is told; with one it is the room there
/// and then what was put, or MoreData if there is not enough.
long RegQueryValueEx(HKEY key, const ZynString& name, unsigned long& type, char* buffer,
                     unsigned long& length) noexcept;
/// Replaces the value of that name.
long RegSetValueEx(HKEY key, const ZynString& name, unsigned long type, const char* bytes,
                   unsigned long length) noexcept;
long RegDeleteValue(HKEY key, const ZynString& name) noexcept;
/// Removes the key at the end of a path, with its values. HasSubkeys if there are keys below it.
long RegDeleteKey(HKEY parent, const ZynString& path) noexcept;

/// How many there are below a key, and the bytes of the longest name of each.
struct KeyInfo {
    unsigned long subkeys = 0;
    unsigned long longestSubkey = 0;
    unsigned long values = 0;
    unsigned long longestValue = 0;
};
long RegQueryInfoKey(HKEY key, KeyInfo& info) noexcept;
/// The name at an index from 0 on; NoMoreItems behind the last.
long RegEnumKeyEx(HKEY key, unsigned long index, ZynString& name) noexcept;
long RegEnumValue(HKEY key, unsigned long index, ZynString& name) noexcept;

/// The names that a path goes through, without empty ones. A byte that is no character in the
/// locale stands for itself.
std::vector<std::string_view> NamesOf(std::string_view path);

/// While it lives, the calling thread's reading operations below one root see the store of one
/// moment, and cost less; behind a change of the thread's own, that of a later one. Other threads'
/// operations wait, so its extent is short. It may be nested, below both roots with the machine's
/// outside.
class Reading {
  public:
    explicit Reading(HKEY key) noexcept;
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;
    ~Reading();

  private:
    void* _store;
};

/// Makes one change of all that the calling thread does below one root while it lives: all of it is
/// in the store when Commit returns 0, and what comes behind that is not. If it goes without,
/// nothing is. Keys opened for what is not in the store are closed in the end. Otherwise as
/// Reading; nested in another one it is a part of that, which fails if the part goes without
/// Commit. No process is forked meanwhile: it would have no store.
class Writing {
  public:
    explicit Writing(HKEY key) noexcept;
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;
    ~Writing();

    /// What the beginning failed with, if it did, or the end.
    long Commit() noexcept;

  private:
    void* _store;
    long _result;
};

} // namespace zynkreg
