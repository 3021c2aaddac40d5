#include "contract/failing.h"
#include "trace/lines.h"

#include "zynkcprf.h"

namespace {

using Profile = ZynCachedProfile;

const ZynString null;

/// A profile of elements "group/key=value".
struct Filled : Profile {
    explicit Filled(const std::string& elements = "B/c=3 A/b=2 A/a=1") {
        for (const auto& [element] : Rows<std::string>(elements)) {
            const std::size_t key = element.find('/') + 1;
            const std::size_t value = element.find('=') + 1;
            AddOrReplaceElement(element.substr(key, value - key - 1).c_str(),
                                element.substr(value).c_str(), element.substr(0, key - 1).c_str());
        }
    }
};

/// What `next` gives up to its end; "-" if it fails.
std::string Rest(Profile& profile, bool (Profile::*next)(ZynString&)) {
    std::string names;
    ZynString name;
    try {
        while ((profile.*next)(name))
            names += Bytes(name);
    } catch (const ZynAssertionException&) {
        return "-";
    }
    return names;
}

std::string RestOfBoth(Profile& profile) {
    const std::string keys = Rest(profile, &Profile::GetNextKey); // the next group would end it
    return Rest(profile, &Profile::GetNextGroup) + "," + keys;
}

TEST(CachedProfile, EndsIterationsThatAChangeMeets) {
    ZynString name;
    const std::pair<std::string, std::function<void(Profile&)>> rows[] = {
        {"AB,ab", [](Profile& p) { p.SetGroupIteratorToBegin(); }},
        {"AB,c", [](Profile& p) { p.SetKeyIteratorToBegin("B"); }},
        {"B,-", [&](Profile& p) { p.GetNextGroup(name); }},
        {"AB,b", [&](Profile& p) { p.GetNextKey(name); }},
        {"AB,-", [&](Profile& p) { Rest(p, &Profile::GetNextKey); }},
        {"-,c",
         [&](Profile& p) {
             while (p.GetNextGroup(name))
                 p.SetKeyIteratorToBegin("B");
         }},
        {"AB,-", [](Profile& p) { p.AddOrReplaceElement("a", "new", "A"); }},
        {"AB,-", [](Profile& p) { p.AddOrReplaceElement("new", "", "B"); }},
        {"-,-", [](Profile& p) { p.AddOrReplaceElement("a", "1", "C"); }},
        {"AB,-", [](Profile& p) { p.DeleteElement("b", "A"); }},
        {"-,-", [](Profile& p) { p.DeleteElement("c", "B"); }},
        {"-,-", [](Profile& p) { p.DeleteAllElementsOfGroup("A"); }},
        {"-,-", [](Profile& p) { p.RemoveAllEntries(); }},
        {"-,-", [](Profile& p) { p.ToString(); }},
        {"AB,ab", [](Profile& p) { p.ElementWithKey("a", "A"); }},
    };
    for (const auto& [rest, change] : rows) {
        Filled profile;
        EXPECT_EQ(RestOfBoth(profile), "-,-");
        profile.SetGroupIteratorToBegin();
        profile.SetKeyIteratorToBegin("A");
        change(profile);
        EXPECT_EQ(RestOfBoth(profile), rest) << "row " << &change - &rows[0].second;
    }
}

TEST(CachedProfile, HoldsGroupsThatHaveKeysInTheirOrder) {
    Filled profile("\xE4/k=4 a/z=1 a/k=2 B/k=3 a/z= a/=6");
    EXPECT_TRUE(profile.ContainsKey("", "a") && !profile.ContainsKey("Z", "a") &&
                !profile.ContainsKey("k", "A"));
    profile.DeleteElement("k", "\xE4");
    profile.DeleteElement("k", "a");
    EXPECT_TRUE(profile.ContainsGroup("B") && !profile.ContainsGroup("\xE4"));
    EXPECT_EQ(Bytes(profile.ToString()), "PROFILESTREAM:2:GROUP:B:1:KEY:k:VALUE:3:GROUP:a:2:"
                                         "KEY::VALUE:6:KEY:z:VALUE::ENDPROFILESTREAM:");
    profile.RemoveAllEntries();
    EXPECT_EQ(Bytes(profile.ToString()), "PROFILESTREAM:0:ENDPROFILESTREAM:");

    Profile byDefault("D");
    EXPECT_FALSE(byDefault.ContainsKey("a", null));
    byDefault.AddOrReplaceElement("a", "1", null);
    byDefault.AddOrReplaceElement("b", "2", "D");
    byDefault.DeleteElement("a", null);
    EXPECT_EQ(Bytes(byDefault.ElementWithKey("b", null)), "2");
    EXPECT_EQ(byDefault.NumberOfKeys(null), 1);
}

TEST(CachedProfile, MergesATextOverItself) {
    Filled profile;
    profile.AddFromString(Filled("A/b=new C/KEY=VALUE").ToString());
    Filled expected("A/a=1 A/b=new B/c=3 C/KEY=VALUE");
    EXPECT_EQ(Bytes(profile.ToString()), Bytes(expected.ToString()));
    for (const char* text :
         {"PROFILESTREAM:0:ENDPROFILESTREAM:", "PROFILESTREAM:x:ENDPROFILESTREAM",
          "PROFILESTREAM:1:GROUP:none:0:ENDPROFILESTREAM:and so on",
          " PROFILESTREAM::1: GROUP : A :1x:KEY: b :VALUE:\tv  w :"
          "ENDPROFILESTREAM:KEY:"})
        profile.AddFromString(text);
    expected.AddOrReplaceElement("b", "\tv  w", "A");
    EXPECT_EQ(Bytes(profile.ToString()), Bytes(expected.ToString()));
}

TEST(CachedProfile, RefusesOtherTexts) {
    const std::string ended = "(token=streamedProfile.Next()).Length() > 0";
    const std::string begin = "PROFILESTREAM:2:GROUP:G:1:KEY:k:VALUE:v:";
    const std::pair<std::string, std::string> rows[] = {
        {" : :", ended},
        {"profilestream:0:ENDPROFILESTREAM:", "token==\"PROFILESTREAM\""},
        {"PROFILESTREAM:-1:ENDPROFILESTREAM:", "numGroups >= 0"},
        {"PROFILESTREAM:0:GROUP:", "token==\"ENDPROFILESTREAM\""},
        {begin + "KEY:", "token==\"GROUP\""},
        {begin + "GROUP:H:-2147483648:", "numKeys >= 0"},
        {begin + "GROUP:H:1:GROUP:", "token==\"KEY\""},
        {begin + "GROUP:H:1:KEY:k:v:", "token==\"VALUE\""},
        {begin + "GROUP:H:2147483647:KEY:k:VALUE:v", ended},
        {Bytes(Filled("G/k=v H/a= H/b=2").ToString()), "token==\"KEY\""},
        {Bytes(Filled("G/k=v H/a=").ToString()), ended},
    };
    Fails(ended, {[] { Profile().AddFromString(null); }}, "Assertion");
    for (const auto& [text, condition] : rows) {
        SCOPED_TRACE(text);
        Profile profile;
        Fails(condition, {[&, &text = text] { profile.AddFromString(text.c_str()); }}, "Assertion");
        EXPECT_EQ(profile.ContainsGroup("G"), text.find(":G:") != std::string::npos);
    }
}

TEST(CachedProfile, TellsWhatACallerMissed) {
    const std::function<void(Profile&, ZynString, ZynString)> calls[] = {
        [](Profile& p, auto key, auto group) { p.AddOrReplaceElement(key, "", group); },
        &Profile::ContainsKey,
        &Profile::ElementWithKey,
        &Profile::DeleteElement,
        [](Profile& p, auto, auto group) { p.NumberOfKeys(group); },
        [](Profile& p, auto, auto group) { p.SetKeyIteratorToBegin(group); },
    };
    Filled p;
    ZynString name;
    for (const auto& call : calls) {
        const auto at = &call - calls;
        if (at < 4)
            Fails("!key.IsNull()", {[&] { call(p, null, null); }});
        Fails("!_defaultGroup.IsNull()", {[&] { call(p, "a", null); }}, "Assertion");
        if (at > 1)
            Fails("targetGroup!=0", {[&] { call(p, "a", "X"); }}, "Assertion");
        if (at == 2 || at == 3)
            Fails("!result.IsNull()", {[&] { call(p, "c", "A"); }}, "Assertion");
    }
    Fails("!data.IsNull()", {[&] { p.AddOrReplaceElement("a", null, null); }});
    Fails("!group.IsNull()",
          {[&] { p.ContainsGroup(null); }, [] { Profile("D").DeleteAllElementsOfGroup(null); }});
    Fails("targetGroup!=0", {[&] { p.DeleteAllElementsOfGroup("X"); }}, "Assertion");
    Fails("_fGetNextGroupAllowed", {[&] { p.GetNextGroup(name); }});
    Fails("_fGetNextKeyAllowed", {[&] { p.GetNextKey(name); }});
}

TEST(CachedProfile, TracesItsFlowAtLevel3) {
    const Profile profile;
    TraceLines lines(3);
    EXPECT_FALSE(profile.ContainsGroup("A"));
    EXPECT_THAT(lines.Take(true),
                testing::ElementsAre("03,Fl,SF ZynCachedProfile::ContainsGroup,  >entry",
                                     "03,Fl,SF ZynCachedProfile::ContainsGroup,  <exit"));
}

} // namespace
