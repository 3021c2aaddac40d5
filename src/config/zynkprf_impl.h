// ZynProfileImpl: an open key, and the walks over the tree of keys, in terms of the store's
// operations.
#pragma once

#include "zynkprf_store.h"
#include "zynkstr.h"

class ZynProfileImpl {
  public:
    ZynProfileImpl() = default;
    /// Takes the handle over.
    ZynProfileImpl(HKEY hkey, bool upd) : _hkey(hkey), _upd(upd) {}
    ZynProfileImpl(const ZynProfileImpl&) = delete;
    ZynProfileImpl& operator=(const ZynProfileImpl&) = delete;
    ~ZynProfileImpl();

    void OpenInstall(bool upd);
    void OpenGeneralConfig(bool upd);
    /// The name is in upper case.
    void OpenConfig(const ZynString& cfg, bool upd);
    void OpenCurrentUser(const ZynString& cfg, bool upd);

    /// Of the open key; null if it does not exist. It stays this object's.
    HKEY Handle() const { return _hkey; }
    ZynString Find(const ZynString& name) const;
    /// Names of the keys below, or of the values, the latest first, with a line feed between them;
    /// null if there are none.
    ZynString Keys(bool subkeys) const;
    /// A text.
    void Insert(const ZynString& name, const ZynString& value);
    void Erase(const ZynString& name);
    /// Deletes a key below with all that it holds. The walk to a key closes the one that it begins
    /// at, so this ends in ZynOSException.
    void EraseKey(const ZynString& key);

    /// @name Of a key below
    /// Once on an open profile and as the last thing, for the walk to the key closes the open one.
    /// @{
    ZynString Find(const ZynString& subkey, const ZynString& name) const;
    ZynString Keys(const ZynString& subkey, bool subkeys) const;
    /// Creates the key.
    void Insert(const ZynString& subkey, const ZynString& name, const ZynString& value,
                unsigned long type);
    /// @}

    static bool EraseConfig(const ZynString& cfg);
    static bool EraseCurrentUser(const ZynString& cfg);
    static ZynString Configs();

    /// @name The form in which passwords stand
    /// @{
    static ZynString Scramble(const ZynString& clear);
    /// Null for a text that is not of that form.
    static ZynString Unscramble(const ZynString& scrambled);
    /// @}

  private:
    static ZynString GetKey(const ZynString& suffix);
    static HKEY OpenKey(HKEY parent, const ZynString& path, bool create, bool write);
    static ZynString Find(HKEY hkey, const ZynString& name);
    static ZynString Keys(HKEY hkey, bool subkeys);
    static void Insert(HKEY hkey, const ZynString& name, const ZynString& value,
                       unsigned long type);
    static void EraseKey(HKEY hkey, const ZynString& key);
    static std::vector<ZynString> Tree(HKEY hkey, const ZynString& key);

    void Open(HKEY root, const ZynString& suffix, bool upd);

    HKEY _hkey = 0;
    bool _upd = false;
};
