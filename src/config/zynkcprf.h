// ZynCachedProfile: a profile in memory, groups of keys with values, and its text form.
//
// It has no connection to the store of ZynProfile. A group exists only while it has a key. Groups,
// and the keys of a group, come in the order of ZynString's less-than.
//
//     ZynCachedProfile profile("Server");
//     profile.AddOrReplaceElement("Name", "SRV1", ZynString());
//     profile.SetGroupIteratorToBegin();
//     for (ZynString group, key; profile.GetNextGroup(group);)
//         for (profile.SetKeyIteratorToBegin(group); profile.GetNextKey(key);)
//             std::cout << profile.ElementWithKey(key, group);
//
// The text form is one line:
//
//     PROFILESTREAM:1:GROUP:G:2:KEY:a:VALUE:1:KEY:b:VALUE:2:ENDPROFILESTREAM:
//
// with the number of the groups and, for each, that of its keys. There is no escape in it: a name
// or value that is empty, holds ":", begins or ends with a blank, or is not valid in the locale's
// encoding does not come back from it as it was. Writing does not test that.
#pragma once

#include <map>
#include <memory>

#include "zynkstr.h"

/// For one thread at a time; the text form, too, moves its iterators.
///
/// A null `group` stands for the default group; that this is null as well, and that a group or a
/// key is missing where the operation does not speak of it, is a contract failure. So is a null key
/// or value.
class ZYN_EXPORT ZynCachedProfile {
  public:
    /// Empty. The default group need not exist.
    explicit ZynCachedProfile(const ZynString& defaultGroup = ZynString());
    ZynCachedProfile(const ZynCachedProfile&) = delete;
    ZynCachedProfile& operator=(const ZynCachedProfile&) = delete;
    ~ZynCachedProfile() = default;

    bool IsInit() const { return _fInit; }

    /// @name Elements
    /// @{
    /// Replaces the value of the key if it has one; creates the group if it is missing.
    void AddOrReplaceElement(const ZynString& key, const ZynString& data, const ZynString& group);
    ZynString ElementWithKey(const ZynString& key, const ZynString& group) const;
    /// False if there is no such group as well.
    bool ContainsKey(const ZynString& key, const ZynString& group) const;
    /// A null group is a contract failure.
    bool ContainsGroup(const ZynString& group) const;
    long NumberOfGroups() const;
    long NumberOfKeys(const ZynString& group) const;
    /// The last key takes its group with it.
    void DeleteElement(const ZynString& key, const ZynString& group);
    /// A null group is a contract failure.
    void DeleteAllElementsOfGroup(const ZynString& group);
    void RemoveAllEntries();
    /// @}

    /// @name Iteration
    /// There is one iterator over the groups and one over the keys of one group. To ask for the
    /// next before the iterator was set, behind its end, or after it was ended, is a contract
    /// failure:
    ///
    /// - the next group ends the iteration over keys;
    /// - each change of an element ends the iteration over keys, of whichever group;
    /// - a group that came or went, and RemoveAllEntries, end both.
    /// @{
    void SetGroupIteratorToBegin();
    /// False at the end, and `group` stays.
    bool GetNextGroup(ZynString& group);
    void SetKeyIteratorToBegin(const ZynString& group);
    /// False at the end, and `key` stays.
    bool GetNextKey(ZynString& key);
    /// @}

    /// @name Text form
    /// @{
    /// Ends both iterations. Names and values count up to their first NUL.
    ZynString ToString();
    /// Adds what the text holds and replaces what is there already. A text that is not of the form
    /// is a contract failure, and one that is not valid in the locale's encoding ZynOSException;
    /// what was added until then stays. What stands behind the end is ignored.
    void AddFromString(ZynString text);
    /// @}

  private:
    using map = std::map<ZynString, ZynString>;
    using Groups = std::map<ZynString, std::unique_ptr<map>>;

    map* findGroup(const ZynString& group) const;
    static ZynString findKey(const map* amap, const ZynString& key);
    ZynString getActGroup(const ZynString& group) const;

    Groups _groups;
    Groups::const_iterator _groupIterator;
    map::const_iterator _keyIterator;
    const map* _keyIteratorTargetGroup = nullptr;
    ZynString _defaultGroup;
    bool _fGetNextGroupAllowed = false;
    bool _fGetNextKeyAllowed = false;
    bool _fInit = true;
};
