// Profiles in memory: a text form that somebody has written, then what programs do with a profile,
// beside maps.
#include <map>
#include <vector>

#include "support/fuzz.h"
#include "support/plain_text.h"
#include "zynkcprf.h"

namespace {

using Elements = std::map<std::string, std::string>;

constexpr const char* Missing = "targetGroup!=0";

// The check that a plain operation fails.
struct Failed {
    std::string check;
};

void Require(bool holds, const char* check) {
    if (!holds)
        throw Failed{check};
}

std::vector<std::string> FieldsOf(const std::string& text) {
    std::vector<std::string> fields;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find(':', at), text.size());
        std::string field = text.substr(at, end - at);
        field.erase(0, field.find_first_not_of(' '));
        field.erase(field.find_last_not_of(' ') + 1); // npos + 1 is 0
        if (!field.empty())
            fields.push_back(field);
        at = end + 1;
    }
    return fields;
}

class PlainProfile {
  public:
    using Group = std::optional<std::string>;

    explicit PlainProfile(const Group& defaultGroup) : _default(defaultGroup) {}

    void Add(const std::string& key, const std::string& value, const Group& group) {
        Elements& elements = Groups()[Actual(group)];
        if (elements.empty())
            _nextGroup.reset();
        elements[key] = value;
        _nextKey.reset();
    }
    const std::string& Element(const std::string& key, const Group& group) {
        const Elements& elements = Keys(group);
        Require(elements.contains(key), "!result.IsNull()");
        return elements.at(key);
    }
    bool Contains(const std::string& key, const Group& group) const {
        const auto found = _groups.find(Actual(group));
        return found != _groups.end() && found->second.contains(key);
    }
    Elements& Keys(const Group& group) {
        const auto found = _groups.find(Actual(group));
        Require(found != _groups.end(), Missing);
        return found->second;
    }
    void Erase(const std::string& key, const Group& group) {
        Element(key, group);
        Keys(group).erase(key);
        _nextKey.reset();
        if (Keys(group).empty())
            EraseGroup(Actual(group));
    }
    void EraseGroup(const Group& group) {
        Require(group.has_value(), "!group.IsNull()");
        Require(_groups.erase(*group) != 0, Missing);
        EndIterations();
    }
    void EraseAll() {
        _groups.clear();
        EndIterations();
    }
    void EndIterations() {
        _nextGroup.reset();
        _nextKey.reset();
    }

    void BeginGroups() { _nextGroup = _groups.begin(); }
    std::optional<std::string> NextGroup() {
        Require(_nextGroup.has_value(), "_fGetNextGroupAllowed");
        auto next = Next(_nextGroup, _groups);
        if (next)
            _nextKey.reset();
        return next;
    }
    void BeginKeys(const Group& group) {
        _keys = &Keys(group);
        _nextKey = _keys->begin();
    }
    std::optional<std::string> NextKey() {
        Require(_nextKey.has_value(), "_fGetNextKeyAllowed");
        return Next(_nextKey, *_keys);
    }

    std::string Text() const {
        std::string text = "PROFILESTREAM:" + std::to_string(_groups.size()) + ":";
        for (const auto& [group, elements] : _groups) {
            text += "GROUP:" + group + ":" + std::to_string(elements.size()) + ":";
            for (const auto& [key, value] : elements)
                (text += "KEY:" + key + ":VALUE:").append(value) += ":";
        }
        return text + "ENDPROFILESTREAM:";
    }
    void AddText(const std::string& text);

    std::map<std::string, Elements>& Groups() { return _groups; }

  private:
    std::string Actual(const Group& group) const {
        Require(group || _default, "!_defaultGroup.IsNull()");
        return group ? *group : *_default;
    }
    template <class Place, class Map>
    static std::optional<std::string> Next(std::optional<Place>& place, const Map& map) {
        if (*place != map.end())
            return (*place)++->first;
        place.reset();
        return std::nullopt;
    }

    std::map<std::string, Elements> _groups;
    Group _default;
    std::optional<std::map<std::string, Elements>::const_iterator> _nextGroup;
    std::optional<Elements::const_iterator> _nextKey;
    const Elements* _keys = nullptr;
};

void PlainProfile::AddText(const std::string& text) {
    const std::vector<std::string> fields = FieldsOf(text);
    std::size_t taken = 0;
    const auto next = [&] {
        Require(taken < fields.size(), "(token=streamedProfile.Next()).Length() > 0");
        return fields[taken++];
    };
    const auto skip = [&](const std::string& word) {
        Require(next() == word, ("token==\"" + word + "\"").c_str());
    };
    const auto number = [&](const char* check) {
        const long value = std::strtol(next().c_str(), nullptr, 10);
        Require(value >= 0, check);
        return std::min<long>(value, INT32_MAX);
    };
    skip("PROFILESTREAM");
    for (long groups = number("numGroups >= 0"); groups > 0; --groups) {
        skip("GROUP");
        const std::string group = next();
        for (long keys = number("numKeys >= 0"); keys > 0; --keys) {
            skip("KEY");
            const std::string key = next();
            skip("VALUE");
            Add(key, next(), group);
        }
    }
    skip("ENDPROFILESTREAM");
}

// Does the same to both; they have the same answer or fail the same check.
template <class Call, class PlainCall>
void Both(const Call& call, const PlainCall& plainCall) {
    std::string answer;
    std::string plainAnswer;
    const std::string check = zynfuzz::FailedCheck([&] { answer = call(); });
    std::string plainCheck;
    try {
        plainAnswer = plainCall();
    } catch (const Failed& failed) {
        plainCheck = failed.check;
    }
    FUZZ_CHECK(check == plainCheck);
    FUZZ_CHECK(answer == plainAnswer);
}

std::string Told(bool is) {
    return is ? "yes" : "no";
}

std::string Told(bool hasName, const ZynString& name) {
    return hasName ? zynfuzz::Bytes(name) : "no more";
}

void AddText(ZynCachedProfile& profile, PlainProfile& plain, const std::string& text) {
    if (zynfuzz::Characters(text)) {
        Both([&] { return profile.AddFromString(zynfuzz::AsString(text)), ""; },
             [&] { return plain.AddText(text), ""; });
        return;
    }
    // What is none in this locale may be refused at any step.
    ZynCachedProfile other;
    zynfuzz::EndsIn<ZynIntException>([&] { other.AddFromString(zynfuzz::AsString(text)); });
    other.ToString();
}

// An empty text stands for the null group.
void Change(zynfuzz::Input& input, ZynCachedProfile& profile, PlainProfile& plain) {
    const unsigned int step = input.Byte();
    const std::string name = input.Text();
    const PlainProfile::Group in = name.empty() ? std::nullopt : std::optional(name);
    const ZynString group = in ? zynfuzz::AsString(name) : ZynString();
    const std::string key = step % 12 < 4 ? input.Text() : "";
    const ZynString keyString = zynfuzz::AsString(key);
    ZynString next;
    switch (step % 12) {
    case 0: {
        const std::string value = input.Text();
        return Both(
            [&] {
                return profile.AddOrReplaceElement(keyString, zynfuzz::AsString(value), group), "";
            },
            [&] { return plain.Add(key, value, in), ""; });
    }
    case 1:
        return Both([&] { return profile.DeleteElement(keyString, group), ""; },
                    [&] { return plain.Erase(key, in), ""; });
    case 2:
        return Both([&] { return zynfuzz::Bytes(profile.ElementWithKey(keyString, group)); },
                    [&] { return plain.Element(key, in); });
    case 3:
        return Both([&] { return Told(profile.ContainsKey(keyString, group)); },
                    [&] { return Told(plain.Contains(key, in)); });
    case 4:
        return Both([&] { return profile.DeleteAllElementsOfGroup(group), ""; },
                    [&] { return plain.EraseGroup(in), ""; });
    case 5:
        return Both([&] { return std::to_string(profile.NumberOfKeys(group)); },
                    [&] { return std::to_string(plain.Keys(in).size()); });
    case 6:
        return Both([&] { return profile.SetKeyIteratorToBegin(group), ""; },
                    [&] { return plain.BeginKeys(in), ""; });
    case 7:
        return Both([&] { return Told(profile.GetNextKey(next), next); },
                    [&] { return plain.NextKey().value_or("no more"); });
    case 8:
        return Both([&] { return profile.SetGroupIteratorToBegin(), ""; },
                    [&] { return plain.BeginGroups(), ""; });
    case 9:
        return Both([&] { return Told(profile.GetNextGroup(next), next); },
                    [&] { return plain.NextGroup().value_or("no more"); });
    case 10:
        return Both([&] { return Told(profile.ContainsGroup(group)); },
                    [&] {
                        Require(in.has_value(), "!group.IsNull()");
                        return Told(plain.Groups().contains(*in));
                    });
    default:
        if (in)
            return AddText(profile, plain, name);
        profile.RemoveAllEntries();
        plain.EraseAll();
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zynfuzz::Input input(data, size);
    const std::string name = input.Text();
    ZynCachedProfile profile(name.empty() ? ZynString() : zynfuzz::AsString(name));
    PlainProfile plain(name.empty() ? std::nullopt : std::optional(name));
    AddText(profile, plain, input.Text());
    while (!input.IsEmpty())
        Change(input, profile, plain);

    FUZZ_CHECK(profile.NumberOfGroups() == static_cast<long>(plain.Groups().size()));
    const std::string text = plain.Text();
    FUZZ_CHECK(zynfuzz::Bytes(profile.ToString()) == text);
    ZynCachedProfile again;
    PlainProfile plainAgain(std::nullopt);
    AddText(again, plainAgain, text);
    FUZZ_CHECK(zynfuzz::Bytes(again.ToString()) == plainAgain.Text());
    return 0;
}
