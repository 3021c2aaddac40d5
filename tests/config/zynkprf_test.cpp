#include "zynkprf.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "contract/failing.h"
#include "trace/lines.h"
#include "zynkprf_impl.h"

namespace {

const char* const Root = R"(Software\KOR\Tessera Flow\3.2)";

std::string Texts(const ZynString& value) {
    return value.IsNull() ? "(null)" : value.C_str();
}

// An open profile.
class Profile : public ZynProfile {
  public:
    explicit Profile(const char* cfg, bool upd = true) { OpenConfig(cfg, upd); }
};

// What `call` throws.
template <class Call>
std::string Thrown(Call call) {
    try {
        call();
    } catch (const ZynOSException& e) {
        return std::string(e.ServiceName().C_str()) + " " + std::to_string(e.ReturnCode()) + " " +
               std::to_string(e.ReasonCode());
    } catch (const ZynException& e) {
        return e.AsString().C_str();
    }
    return "nothing";
}

class Profiles : public testing::Test {
  protected:
    Profiles() {
        for (const char* const scope : {"ZYN_STORE_MACHINE", "ZYN_STORE_USER"}) {
            const std::filesystem::path folder =
                std::filesystem::path(std::getenv(scope)).parent_path();
            std::filesystem::remove_all(folder);
            std::filesystem::create_directories(folder);
        }
    }
};

TEST_F(Profiles, Contracts) {
    ZynProfile closed;
    Profile open("A");
    const ZynString null;
    const std::string opened = "_pImpl == 0 && !cfg.IsNull() && cfg.Length() > 0";
    Fails("_pImpl == 0", {[&] { open.OpenInstall(false); }, [&] { open.OpenGeneralConfig(true); }});
    Fails(opened, {[&] { open.OpenConfig("A", false); }, [&] { closed.OpenConfig(null, false); },
                   [&] { closed.OpenConfig("", true); }, [&] { open.OpenCurrentUser("A", false); },
                   [&] { closed.OpenCurrentUser(null, true); }});
    Fails("_pImpl != 0 && !key.IsNull()",
          {[&] { closed.Find("a", false); }, [&] { open.Find(null, false); },
           [&] { closed.Erase("a"); }, [&] { open.Erase(null); }});
    Fails("_pImpl != 0 && !key.IsNull() && !value.IsNull()",
          {[&] { closed.Insert("a", "b", false); }, [&] { open.Insert(null, "b", false); },
           [&] { open.Insert("a", null, false); }});
    Fails("key.Position(ZynString(\" \")) == 0",
          {[&] { open.Find("x y", false); }, [&] { open.Insert(" x", "b", false); },
           [&] { open.Erase("x "); }});
    Fails("!cfg.IsNull() && cfg.Length() > 0",
          {[&] { ZynProfile::EraseConfig(null); }, [&] { ZynProfile::EraseCurrentUser(""); },
           [&] { ZynProfile::CurrentConfig(null); }});
    ZynProfileImpl reader;
    reader.OpenConfig("A", false);
    Fails("_upd",
          {[&] { reader.Insert("a", "b"); }, [&] { reader.Insert("k", "a", "b", zynkreg::Text); }});
    Fails("_hkey != 0 && _upd", {[&] { reader.Erase("a"); }, [&] { reader.EraseKey("k"); }});
    Fails("_hkey == 0", {[&] { reader.OpenInstall(false); }});
    open.Close();
    open.Close();
    open.OpenInstall(false);
}

TEST_F(Profiles, ValuesReadAsTexts) {
    ZynProfileImpl impl;
    impl.OpenConfig("CFG", true);
    const std::string list("a\0b\0\0", 5);
    const std::string emptyMember("a\0\0b\0\0", 6);
    const struct {
        const char* name;
        unsigned long type;
        std::string bytes;
        const char* text;
    } rows[] = {
        {"text", 1, "one", "one"},
        {"empty", 1, "", ""},
        {"cut", 1, {"one\0two", 7}, "one"},
        {"other", 3, {"\1\2", 2}, "\1\2"},
        {"number", 4, {"\0\1\0\0", 4}, "256"},
        {"negative", 4, "\xFE\xFF\xFF\xFF", "-2"},
        {"short", 4, "\5", "5"},
        {"list", 7, list, "a\nb"},
        {"one", 7, {"a\0\0", 3}, "a"},
        {"unended", 7, "a\nb", "a\nb"},
        {"emptyMember", 7, emptyMember, "a\n\nb"},
        {"emptyLast", 7, {"a\0\0\0", 4}, "a\n"},
        {"noTexts", 7, {"\0", 1}, ""},
    };
    Profile reader("cfg", false);
    for (const auto& row : rows) {
        EXPECT_EQ(zynkreg::RegSetValueEx(impl.Handle(), row.name, row.type, row.bytes.data(),
                                         row.bytes.size()),
                  0);
        EXPECT_EQ(Texts(reader.Find(row.name, false)), row.text) << row.name;
        EXPECT_EQ(reader.Find(row.name, false).Length(), std::strlen(row.text)) << row.name;
    }
    EXPECT_EQ(Texts(reader.Find("missing", false)), "(null)");
    EXPECT_EQ(Texts(Profile("nosuch", false).Find("text", false)), "(null)");
    EXPECT_EQ(Texts(ZynProfile::Configs()), "CFG") << "what is read is not created";

    Profile writer("Cfg");
    writer.Insert("TEXT", "two", false);
    EXPECT_EQ(Texts(reader.Find("text", false)), "two");
    writer.Insert("number", "12", false);
    EXPECT_EQ(Texts(reader.Find("Number", false)), "12");
    writer.Erase("Text");
    EXPECT_EQ(Texts(reader.Find("text", false)), "(null)");
    EXPECT_EQ(Thrown([&] { writer.Erase("text"); }), "RegDeleteValue 2 0");

    ZynProfileImpl user;
    user.OpenCurrentUser("CFG", true);
    user.Insert("", "number", "4294967295", zynkreg::Number);
    EXPECT_EQ(Texts(user.Find("number")), "2147483647");
    EXPECT_EQ(Texts(user.Find("text")), "(null)");
}

// The scrambled form, worked out from what it is: for the byte at i, (i - 16) * 2 is added, the
// result is turned over with 0x5D, and the key's byte is added.
std::string Scrambled(const std::string& text) {
    const std::string key = "Qarvelidon";
    std::string hex;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int turned =
            (static_cast<unsigned char>(text[i]) + 2 * static_cast<int>(i) - 32) ^ 0x5D;
        char two[3];
        std::snprintf(two, sizeof two, "%02X", (turned + key[i % key.size()]) & 0xFF);
        hex += two;
    }
    return hex;
}

TEST_F(Profiles, PasswordsAreScrambled) {
    ZynProfileImpl raw;
    raw.OpenConfig("CFG", true);
    Profile profile("CFG");
    const std::string secret = "Geheim! \xFC\xFF\x01 and longer than the key, and longer still";
    for (const auto& [name, encoded] :
         {std::pair("DBPassword", false), std::pair("xPASSWORD2", false),
          std::pair("password", true), std::pair("Token", true)}) {
        profile.Insert(name, secret.c_str(), encoded);
        EXPECT_EQ(Texts(raw.Find(name)), Scrambled(secret)) << name;
        EXPECT_EQ(Texts(profile.Find(name, encoded)), secret) << name;
    }
    EXPECT_EQ(Texts(profile.Find("Token", false)), Scrambled(secret));
    profile.Insert("password", "", false);
    EXPECT_EQ(Texts(profile.Find("password", false)), "");
    for (const char* const bad : {"xyz", "ABC", "AB CD", "0g"}) {
        raw.Insert("password", bad);
        EXPECT_EQ(Texts(profile.Find("password", false)), "(null)") << bad;
    }
    raw.Insert("password", "aB0c");
    EXPECT_EQ(profile.Find("password", false).Length(), 2);
    EXPECT_EQ(Texts(profile.Find("nopassword", false)), "(null)");
}

TEST_F(Profiles, Configurations) {
    EXPECT_EQ(Texts(ZynProfile::Configs()), "(null)");
    for (const char* const cfg : {"b1", "A1", "c1"})
        Profile(cfg).Insert("name", cfg, false);
    EXPECT_EQ(Texts(ZynProfile::Configs()), "C1\nA1\nB1") << "the latest first";
    EXPECT_EQ(Thrown([] { ZynProfile::CurrentConfig("Other"); }),
              "ZynNoSuchConfigException, ConfigID=Other");
    EXPECT_EQ(Thrown([] { ZynProfile::CurrentConfig("C1\nA1"); }),
              "ZynNoSuchConfigException, ConfigID=C1\nA1");
    ZynProfile::CurrentConfig("a1");
    EXPECT_EQ(Texts(ZynProfile::CurrentConfig()), "A1");

    {
        ZynProfile user;
        user.OpenCurrentUser("a1", true);
        user.Insert("name", "user's", false);
    }
    ZynProfileImpl tree;
    tree.OpenConfig("A1", true);
    tree.Insert(R"(one\two\three)", "deep", "1", zynkreg::Text);
    EXPECT_EQ(Thrown([] { ZynProfile::EraseConfig("x"); }), "RegDeleteKey 2 0");
    EXPECT_TRUE(ZynProfile::EraseConfig("a1"));
    EXPECT_EQ(Texts(ZynProfile::Configs()), "C1\nB1");
    ZynProfile user;
    user.OpenCurrentUser("A1", false);
    EXPECT_EQ(Texts(user.Find("name", false)), "user's");
    EXPECT_TRUE(ZynProfile::EraseCurrentUser("A1"));
    EXPECT_EQ(Texts(user.Find("name", false)), "(null)");
    EXPECT_EQ(Texts(Profile("A1").Find("deep", false)), "(null)");
}

TEST_F(Profiles, EraseBesideOtherThreads) {
    std::atomic<bool> isOver = false;
    std::thread other([&] {
        while (!isOver) {
            Profile("OTHER", false).Find("name", false);
            ZynProfile::Configs();
        }
    });
    for (int i = 0; i < 20; ++i) {
        Profile("ERASED").Insert("name", "value", false);
        ZynProfile::EraseConfig("ERASED");
    }
    isOver = true;
    other.join();
    EXPECT_EQ(Texts(ZynProfile::Configs()), "(null)");
}

TEST_F(Profiles, KeysBelowAnOpenOne) {
    const auto opened = [] {
        auto impl = std::make_unique<ZynProfileImpl>();
        impl->OpenConfig("CFG", true);
        return impl;
    };
    for (const char* const key : {"a", "b", R"(c\d)"})
        opened()->Insert(key, "value", key, zynkreg::Text);
    EXPECT_EQ(Texts(opened()->Keys(true)), "c\nb\na");
    EXPECT_EQ(Texts(opened()->Keys(false)), "(null)");
    EXPECT_EQ(Texts(opened()->Keys("c", true)), "d");
    EXPECT_EQ(Texts(opened()->Keys(R"(c\d)", false)), "value");
    EXPECT_EQ(Texts(opened()->Find(R"(C\D)", "VALUE")), R"(c\d)");
    EXPECT_EQ(Texts(opened()->Find("nosuch", "value")), "(null)");

    // The walk down closes the key that it begins at.
    const auto used = opened();
    EXPECT_EQ(Texts(used->Find("a", "value")), "a");
    EXPECT_EQ(Texts(used->Find("value")), "(null)");
    EXPECT_EQ(Thrown([&] { used->Find("a", "value"); }), "RegOpenKeyEx(a) 6 0");
    EXPECT_EQ(Thrown([&] { used->Insert("a", "v", "x", 1); }), "RegCreateKeyEx(a) 6 0");
    EXPECT_EQ(Thrown([&] { opened()->EraseKey("a"); }), "RegDeleteKey 6 0");
    EXPECT_EQ(Thrown([&] { opened()->EraseKey("c"); }), R"(RegCreateKeyEx(c\d) 6 0)");
    EXPECT_EQ(Texts(opened()->Keys(true)), "c\nb\na");
}

TEST_F(Profiles, Language) {
    EXPECT_EQ(Texts(ZynProfile::Language()), "enu");
    ZynProfile installation;
    installation.OpenInstall(true);
    for (const char* const language : {"deu", "de", "", "germ"}) {
        installation.Insert("Language", language, false);
        errno = 17;
        if (std::strlen(language) == 3)
            EXPECT_EQ(Texts(ZynProfile::Language()), language);
        else
            EXPECT_THAT(Thrown([] { ZynProfile::Language(); }),
                        testing::StartsWith("Profile Find Language "));
    }
}

TEST_F(Profiles, TraceLines) {
    Profile profile("CFG");
    profile.Insert("empty", "", false);
    TraceLines lines(99);
    profile.Insert("Name", "value", false);
    profile.Insert("XAOpenString", "user/secret", false);
    profile.Insert("aPassword", "abc", false);
    profile.Find("Empty", false);
    profile.Find("Missing", false);
    profile.Erase("Name");
    EXPECT_THAT(
        lines.Take(),
        testing::ElementsAre(
            "33,SC,Kr RegSetValueEx(  Key=Name is set to value = value )",
            "33,SC,Kr RegSetValueEx(  Key=XAOpenString is set to value = ******** )",
            "33,SC,Kr RegSetValueEx(  Key=aPassword is set to value = " + Scrambled("abc") + " )",
            "33,Gn,Kr Found key with empty value",
            "03,SC,Kr RegQueryValueEx() , RetCode = 2 , ReasonCode = 0 , key = 'Missing'",
            "33,SC,Kr RegDeleteValue(  Key=Name )"));

    EXPECT_THROW(ZynProfile::EraseConfig("NONE"), ZynOSException);
    const std::string none = std::string(Root) + "\\Configuration\\NONE";
    EXPECT_THAT(lines.Take(),
                testing::ElementsAre(
                    "03,SC,Kr RegQueryInfoKey() , RetCode = 6 , ReasonCode = 0 , ",
                    "33,SC,Kr RegDeleteKey(  Key=" + none + " )",
                    testing::StartsWith("00,Er,Kr THROW_INT, ZynOSException, ServiceName="
                                        "RegDeleteKey, ReturnCode=2, ReasonCode=0, Origin=")));

    ZynProfileImpl used;
    used.OpenConfig("CFG", true);
    used.Insert("sub", "a", "b", zynkreg::Text);
    lines.Take();
    EXPECT_THROW(used.Find("sub", "a"), ZynOSException);
    std::vector<std::string> expected;
    for (const char tries : {'5', '4', '3', '2', '1'})
        expected.push_back(std::string("01,Er,Kr RegOpenKeyEx(sub) failed. Retrying ") + tries +
                           " times...");
    std::vector<std::string> taken = lines.Take();
    ASSERT_EQ(taken.size(), 6U);
    EXPECT_THAT(taken.back(), testing::StartsWith("00,Er,Kr THROW_INT, ZynOSException"));
    taken.pop_back();
    EXPECT_EQ(taken, expected);

    ZynProfile::Language();
    EXPECT_THAT(
        lines.Take(),
        testing::ElementsAre(
            "03,SC,Kr RegQueryValueEx() , RetCode = 6 , ReasonCode = 0 , key = 'Language'",
            "01,Er,Kr No Language info found in installation profile! Setting default (enu).",
            "03,Fl,Kr Language is: enu"));
}

} // namespace
