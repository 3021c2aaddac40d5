#include "zynkcprf.h"

#include <string>

#include "zynktrc.h"

namespace {

constexpr unsigned long FlowLevel = 3;
constexpr auto Component = ZynTrace::CachedProfile;

const char* const BeginOfText = "PROFILESTREAM";
const char* const EndOfText = "ENDPROFILESTREAM";

// Reads a text form field by field.
class Fields {
  public:
    explicit Fields(const ZynString& text) : _streamedProfile(text, ':', true, true) {}

    ZynString Next() {
        ZynString token = _streamedProfile.Next();
        ZYN_ASSERT_TEXT(!token.IsNull() && token.Length() > 0,
                        "(token=streamedProfile.Next()).Length() > 0");
        return token;
    }
    void Skip(const char* word) {
        ZYN_ASSERT_TEXT(Next() == word, ("token==\"" + std::string(word) + "\"").c_str());
    }
    long Number(const char* condition) {
        const long number = Next().AsLong();
        ZYN_ASSERT_TEXT(number >= 0, condition);
        return number;
    }

  private:
    ZynString::Tokenizer _streamedProfile;
};

// Texts of this length are not made of strings, each of which grows exactly.
void Append(std::string& text, const char* word, const ZynString& field) {
    text.append(word).append(":").append(field.C_str()).append(":");
}

} // namespace

ZynCachedProfile::ZynCachedProfile(const ZynString& defaultGroup)
    : _groupIterator(_groups.cend()), _defaultGroup(defaultGroup) {
    ZYN_FLOW("ZynCachedProfile::ZynCachedProfile", FlowLevel, Component);
}

// The map of a group, or null if it is missing.
ZynCachedProfile::map* ZynCachedProfile::findGroup(const ZynString& group) const {
    ZYN_REQUIRE(!group.IsNull());
    const auto found = _groups.find(group);
    return found == _groups.end() ? nullptr : found->second.get();
}

// The value of a key, or null if it is missing.
ZynString ZynCachedProfile::findKey(const map* amap, const ZynString& key) {
    ZYN_REQUIRE_TEXT(amap != nullptr, "amap!=0");
    ZYN_REQUIRE(!key.IsNull());
    const auto found = amap->find(key);
    return found == amap->end() ? ZynString() : found->second;
}

ZynString ZynCachedProfile::getActGroup(const ZynString& group) const {
    if (!group.IsNull())
        return group;
    ZYN_ASSERT(!_defaultGroup.IsNull());
    return _defaultGroup;
}

void ZynCachedProfile::AddOrReplaceElement(const ZynString& key, const ZynString& data,
                                           const ZynString& group) {
    ZYN_FLOW("ZynCachedProfile::AddOrReplaceElement", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    ZYN_REQUIRE(!key.IsNull());
    ZYN_REQUIRE(!data.IsNull());
    const ZynString actGroup = getActGroup(group);
    if (map* const targetGroup = findGroup(actGroup); targetGroup != nullptr) {
        targetGroup->insert_or_assign(key, data);
    } else {
        // It has its key when it goes in, so that a failure leaves no empty group behind.
        auto made = std::make_unique<map>();
        made->emplace(key, data);
        _groups.emplace(actGroup, std::move(made));
        _fGetNextGroupAllowed = false;
    }
    _fGetNextKeyAllowed = false;
}

ZynString ZynCachedProfile::ElementWithKey(const ZynString& key, const ZynString& group) const {
    ZYN_FLOW("ZynCachedProfile::ElementWithKey", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    ZYN_REQUIRE(!key.IsNull());
    const map* const targetGroup = findGroup(getActGroup(group));
    ZYN_ASSERT_TEXT(targetGroup != nullptr, "targetGroup!=0");
    ZynString result = findKey(targetGroup, key);
    ZYN_ASSERT(!result.IsNull());
    return result;
}

bool ZynCachedProfile::ContainsKey(const ZynString& key, const ZynString& group) const {
    ZYN_FLOW("ZynCachedProfile::ContainsKey", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    ZYN_REQUIRE(!key.IsNull());
    const map* const targetGroup = findGroup(getActGroup(group));
    return targetGroup != nullptr && !findKey(targetGroup, key).IsNull();
}

bool ZynCachedProfile::ContainsGroup(const ZynString& group) const {
    ZYN_FLOW("ZynCachedProfile::ContainsGroup", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    ZYN_REQUIRE(!group.IsNull());
    return findGroup(group) != nullptr;
}

long ZynCachedProfile::NumberOfGroups() const {
    ZYN_FLOW("ZynCachedProfile::NumberOfGroups", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    return static_cast<long>(_groups.size());
}

long ZynCachedProfile::NumberOfKeys(const ZynString& group) const {
    ZYN_FLOW("ZynCachedProfile::NumberOfKeys", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    const map* const targetGroup = findGroup(getActGroup(group));
    ZYN_ASSERT_TEXT(targetGroup != nullptr, "targetGroup!=0");
    return static_cast<long>(targetGroup->size());
}

void ZynCachedProfile::SetGroupIteratorToBegin() {
    ZYN_FLOW("ZynCachedProfile::SetGroupIteratorToBegin", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    _groupIterator = _groups.cbegin();
    _fGetNextGroupAllowed = true;
}

bool ZynCachedProfile::GetNextGroup(ZynString& group) {
    ZYN_FLOW("ZynCachedProfile::GetNextGroup", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    ZYN_REQUIRE(_fGetNextGroupAllowed);
    if (_groupIterator == _groups.cend()) {
        _fGetNextGroupAllowed = false;
        return false;
    }
    group = _groupIterator->first;
    ++_groupIterator;
    _fGetNextKeyAllowed = false;
    return true;
}

void ZynCachedProfile::SetKeyIteratorToBegin(const ZynString& group) {
    ZYN_FLOW("ZynCachedProfile::SetKeyIteratorToBegin", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    const map* const targetGroup = findGroup(getActGroup(group));
    ZYN_ASSERT_TEXT(targetGroup != nullptr, "targetGroup!=0");
    _keyIteratorTargetGroup = targetGroup;
    _keyIterator = targetGroup->cbegin();
    _fGetNextKeyAllowed = true;
}

bool ZynCachedProfile::GetNextKey(ZynString& key) {
    ZYN_FLOW("ZynCachedProfile::GetNextKey", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    ZYN_REQUIRE(_fGetNextKeyAllowed);
    ZYN_ASSERT_TEXT(_keyIteratorTargetGroup != nullptr, "_keyIteratorTargetGroup!=0");
    if (_keyIterator == _keyIteratorTargetGroup->cend()) {
        _fGetNextKeyAllowed = false;
        return false;
    }
    key = _keyIterator->first;
    ++_keyIterator;
    return true;
}

void ZynCachedProfile::DeleteElement(const ZynString& key, const ZynString& group) {
    ZYN_FLOW("ZynCachedProfile::DeleteElement", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    ZYN_REQUIRE(!key.IsNull());
    const ZynString actGroup = getActGroup(group);
    map* const targetGroup = findGroup(actGroup);
    ZYN_ASSERT_TEXT(targetGroup != nullptr, "targetGroup!=0");
    const ZynString result = findKey(targetGroup, key);
    ZYN_ASSERT(!result.IsNull());
    targetGroup->erase(key);
    _fGetNextKeyAllowed = false;
    if (targetGroup->empty())
        DeleteAllElementsOfGroup(actGroup);
}

void ZynCachedProfile::DeleteAllElementsOfGroup(const ZynString& group) {
    ZYN_FLOW("ZynCachedProfile::DeleteAllElementsOfGroup", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    ZYN_REQUIRE(!group.IsNull());
    const map* const targetGroup = findGroup(group);
    ZYN_ASSERT_TEXT(targetGroup != nullptr, "targetGroup!=0");
    if (_keyIteratorTargetGroup == targetGroup)
        _keyIteratorTargetGroup = nullptr;
    _groups.erase(group);
    _fGetNextGroupAllowed = false;
    _fGetNextKeyAllowed = false;
}

void ZynCachedProfile::RemoveAllEntries() {
    ZYN_FLOW("ZynCachedProfile::RemoveAllEntries", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    _keyIteratorTargetGroup = nullptr;
    _groups.clear();
    _fGetNextGroupAllowed = false;
    _fGetNextKeyAllowed = false;
}

ZynString ZynCachedProfile::ToString() {
    ZYN_FLOW("ZynCachedProfile::ToString", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    SetGroupIteratorToBegin();
    std::string text;
    Append(text, BeginOfText, ZynString::FromLong(NumberOfGroups()));
    for (ZynString group, key; GetNextGroup(group);) {
        Append(text, "GROUP", group);
        text.append(std::to_string(NumberOfKeys(group))).append(":");
        for (SetKeyIteratorToBegin(group); GetNextKey(key);) {
            Append(text, "KEY", key);
            Append(text, "VALUE", ElementWithKey(key, group));
        }
    }
    return {text.append(EndOfText).append(":").c_str()};
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature is published
void ZynCachedProfile::AddFromString(ZynString text) {
    ZYN_FLOW("ZynCachedProfile::AddFromString", FlowLevel, Component);
    ZYN_REQUIRE(IsInit());
    Fields fields(text);
    fields.Skip(BeginOfText);
    for (long groups = fields.Number("numGroups >= 0"); groups > 0; --groups) {
        fields.Skip("GROUP");
        const ZynString group = fields.Next();
        for (long keys = fields.Number("numKeys >= 0"); keys > 0; --keys) {
            fields.Skip("KEY");
            const ZynString key = fields.Next();
            fields.Skip("VALUE");
            AddOrReplaceElement(key, fields.Next(), group);
        }
    }
    fields.Skip(EndOfText);
}
