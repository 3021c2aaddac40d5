// ZynProfile: the configuration store, a tree of keys with values by name.
//
//     R\Installation         facts of the installation: "VRM", "ServiceLevel", "Language", ...
//     R\Configuration        the configurations; "DefaultConfigurationID" names one
//     R\Configuration\CFG    the settings of one, for the machine, and again for each user
//
// R is the environment variable ZYN_REGISTRY_ROOT if it is set and not empty, else
// "Software\KOR\Tessera Flow\3.2"; it is read once in a process. Names are found without regard to
// case. Configurations are kept, and shown, in upper case.
//
// Every value reads as a text: a number in decimal, a list with a line feed between its texts. A
// missing value is null, and so is every value below a key that does not exist; an empty one is the
// empty string. The value of a name that has "password" in it, in any case, stands in the store in
// scrambled form and comes back in clear.
//
//     ZynProfile profile;
//     profile.OpenConfig(ZynProfile::CurrentConfig(), false);
//     const ZynString server = profile.Find("ServerName", false);
//
// A failure of the store is ZynOSException with the name of the store's operation and its code.
#pragma once

#include "zynkstr.h"

class ZynProfileImpl;

/// One open key. An object is for one thread; the static functions are for any.
class ZYN_EXPORT ZynProfile {
  public:
    /// Closed.
    ZynProfile() = default;
    ZynProfile(const ZynProfile&) = delete;
    ZynProfile& operator=(const ZynProfile&) = delete;
    ~ZynProfile();
    /// So that another key can be opened. Does nothing to a closed profile.
    void Close();

    /// @name Opening
    /// To open an open profile is a contract failure. With `upd` the values can be written, and
    /// missing keys are created. Without it a missing key is no failure: what is read is null. A
    /// null or empty name of a configuration is a contract failure; its case does not count.
    /// @{
    void OpenInstall(bool upd);
    /// The key of all configurations.
    void OpenGeneralConfig(bool upd);
    /// A configuration's settings for the machine.
    void OpenConfig(const ZynString& cfg, bool upd);
    /// A configuration's settings for the user.
    void OpenCurrentUser(const ZynString& cfg, bool upd);
    /// @}

    /// @name Values
    /// The profile is open. A name that is null or holds a blank is a contract failure, as is a
    /// null value. With `encoded` the value is in scrambled form under whatever name.
    /// @{
    /// Null if there is none, and if it should be in scrambled form but isn't.
    ZynString Find(const ZynString& key, bool encoded) const;
    /// Replaces the value of that name. ZynOSException "RegSetValueEx" if it can't be written.
    void Insert(const ZynString& key, const ZynString& value, bool encoded);
    /// ZynOSException "RegDeleteValue" if there is none, too.
    void Erase(const ZynString& key);
    /// Whether the value of that name is in scrambled form always.
    static bool IsEncoded(const ZynString& key);
    /// @}

    /// @name Configurations
    /// A null or empty name is a contract failure.
    /// @{
    /// Deletes a configuration with all below it, for the machine or for the user. True, or
    /// ZynOSException "RegDeleteKey" with code 2 if there is none.
    static bool EraseConfig(const ZynString& cfg);
    static bool EraseCurrentUser(const ZynString& cfg);
    /// Their names, the latest first, with a line feed between them; null if there are none.
    static ZynString Configs();
    /// The configuration that the process runs under: the one that was set, else the one that
    /// ZYN_DEFAULT_CONFIGURATION names, else the store's default. It is found once.
    /// ZynNoDefaultConfigException if there is none of these.
    static ZynString CurrentConfig();
    /// Sets it, and has the trace read its settings. ZynNoSuchConfigException if there is none of
    /// that name.
    static void CurrentConfig(const ZynString& cfg);
    /// @}

    /// The installation's language in three letters, "enu" if the store tells none. ZynOSException
    /// "Profile Find Language" if it tells something else.
    static ZynString Language();

  private:
    ZynProfileImpl* _pImpl = nullptr;
};
