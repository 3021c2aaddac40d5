// The operations on the store: what is found and in which order, and what a change brings.
#include <clocale>

#include "posix/process.h"
#include "posix/store_fixture.h"

namespace {

TEST_F(StoreTest, FindsNamesWithoutRegardToCase) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    using std::string_literals::operator""s;
    struct {
        std::string first;
        std::string second;
        const char* locales; ///< in which both are one name
    } const cases[] = {
        {"Abc[1]", "aBC[1]", "C UTF-8 SJIS"},
        {"A{", "A[", ""},
        {"", "", "C UTF-8 SJIS"},
        {"a\0b"s, "A\0B"s, "C UTF-8 SJIS"},
        {"a\0b"s, "a\0c"s, ""},
        {"Gr\xC3\xB6\xC3\x9Fte", "GR\xC3\x96\xC3\x9FTE", "UTF-8"},
        {"\xC3\xB6\0a"s, "\xC3\x96\0a"s, ""},
        {"x\x82\x81", "X\x82\x60", "SJIS"}, // wide letters
        {"\x83\x41", "\x83\x61", ""},       // the second bytes are letters
        {"a\xFF", "A\xFF", ""},
    };
    int number = 0;
    for (const std::string locale : {"C", "de_DE.UTF-8", "ja_JP.SJIS"}) {
        ASSERT_NE(std::setlocale(LC_ALL, locale.c_str()), nullptr);
        Writing change(LocalMachine);
        for (const auto& [first, second, locales] : cases) {
            const std::string encoding = locale.substr(locale.find('.') + 1);
            const bool isSame = std::strstr(locales, encoding.c_str()) != nullptr;
            const HKEY key = Create(LocalMachine, std::to_string(++number));
            Set(Create(key, first), "is", "first");
            const HKEY other = Create(key, second);
            EXPECT_EQ(Get(other, "IS"), isSame ? "1:first" : "2") << locale << number;
            EXPECT_EQ(CodeOf(&RegOpenKeyEx, key, second), Success);
            Set(key, first, "1");
            Set(key, second, "2");
            EXPECT_EQ(Get(key, first), isSame ? "1:2" : "1:1") << locale << number;
            const Strings names = isSame ? Strings{first} : Strings{first, second};
            EXPECT_EQ(Names(key, &RegEnumKeyEx), names);
            EXPECT_EQ(Names(key, &RegEnumValue), names);
            EXPECT_EQ(RegDeleteValue(key, Named(second)), Success);
            EXPECT_EQ(Get(key, first), isSame ? "2" : "1:1") << locale << number;
        }
        // The second byte of the first character is that of a separator in ASCII.
        const HKEY key = Create(LocalMachine, "path" + locale);
        Create(Create(key, "\x83\x5C"), "b");
        const bool isCharacter = locale == "ja_JP.SJIS";
        EXPECT_EQ(RegDeleteKey(key, "\x83\x5C\\B"), isCharacter ? Success : NotFound);
        EXPECT_EQ(RegDeleteKey(key, "\x83\x5C"), isCharacter ? Success : HasSubkeys);
        EXPECT_EQ(change.Commit(), Success);
    }
    std::setlocale(LC_ALL, before.c_str());
}

TEST_F(StoreTest, KeepsTheOrderOfCreation) {
    const HKEY key = Create(LocalMachine, "k");
    for (const char* name : {"c", "a", "B", "d"}) {
        Create(key, name);
        Set(key, name, name);
    }
    EXPECT_EQ(RegDeleteValue(key, "A"), Success);
    EXPECT_EQ(RegDeleteKey(LocalMachine, "K\\A"), Success);
    Set(key, "C", "again");
    Create(key, "longest name");
    Create(key, "a");
    Set(key, "value", "");
    Set(key, "A", "");
    for (int pass = 0; pass < 2; ++pass) {
        const Reading extent(key);
        KeyInfo info;
        EXPECT_EQ(RegQueryInfoKey(key, info), Success);
        EXPECT_EQ(std::tie(info.subkeys, info.longestSubkey, info.values, info.longestValue),
                  std::make_tuple(5UL, 12UL, 5UL, 5UL));
        EXPECT_EQ(Names(key, &RegEnumKeyEx), (Strings{"c", "B", "d", "longest name", "a"}));
        EXPECT_EQ(Names(key, &RegEnumValue), (Strings{"c", "B", "d", "value", "A"}));
        // A change within the extent shows at once.
        const HKEY more = Create(key, "more");
        EXPECT_EQ(Names(key, &RegEnumKeyEx).size(), 6U);
        EXPECT_EQ(RegDeleteKey(key, "more"), Success);
        EXPECT_EQ(RegCloseKey(more), Success);
    }
}

TEST_F(StoreTest, HoldsValuesOfAnyBytes) {
    const HKEY key = Create(CurrentUser, "k");
    std::string large(3'000'000, 'x');
    large[1'000'000] = '\0';
    const std::pair<unsigned long, std::string> cases[] = {
        {Text, ""},       {Text, std::string("a\0b\0", 4)},   {Number, "\x01\xFF\x80\x7F"},
        {0xFFFFFFFF, ""}, {List, std::string("a\0b\0\0", 5)}, {3, large},
    };
    for (const auto& [type, bytes] : cases) {
        EXPECT_EQ(Set(key, "v", bytes, type), Success);
        EXPECT_EQ(Get(key, "V"), std::to_string(type) + ":" + bytes);
    }
    EXPECT_EQ(RegSetValueEx(key, "v", Text, nullptr, 0), Success);
    EXPECT_EQ(Get(key, "v"), "1:");
    EXPECT_EQ(Set(key, "v", "12345"), Success);
    char buffer[] = "......";
    unsigned long type = 0;
    for (const auto& [room, code, found] :
         {std::tuple(4UL, MoreData, "......"), std::tuple(5UL, Success, "12345."),
          std::tuple(6UL, Success, "12345.")}) {
        unsigned long length = room;
        EXPECT_EQ(RegQueryValueEx(key, "v", type, buffer, length), code);
        EXPECT_EQ(length, 5U);
        EXPECT_STREQ(buffer, found);
    }
    EXPECT_EQ(RegSetValueEx(key, "v", Text, large.data(), 0x7FFFFFFFFF),
              StoreFailed + SQLITE_TOOBIG);
    EXPECT_EQ(Get(key, "v"), "1:12345");
}

TEST_F(StoreTest, TellsWhatAHandleIsGoodFor) {
    const HKEY key = Create(LocalMachine, "k");
    KeyInfo info;
    const auto change = [](HKEY handle) {
        return Codes{Set(handle, "v", "y"), RegDeleteValue(handle, "v"), RegDeleteKey(handle, "c"),
                     CodeOf(&RegCreateKeyEx, handle, "new")};
    };
    const auto look = [&](HKEY handle) {
        return Codes{CodeOf(&RegOpenKeyEx, handle, "c"), RegQueryInfoKey(handle, info)};
    };
    Set(key, "v", "x");
    Create(key, "c");
    const HKEY reader = Opened(LocalMachine, "K", Read);
    EXPECT_EQ(change(reader), Codes(4, AccessDenied));
    EXPECT_EQ(look(reader), Codes(2, Success));
    EXPECT_EQ(CodeOf(&RegCreateKeyEx, reader, "C"), Success);
    EXPECT_EQ(Set(Opened(reader, "C", Read, &RegCreateKeyEx), "v", ""), AccessDenied);

    const std::pair<const char*, long> paths[] = {{"k", HasSubkeys},
                                                  {"k\\d", NotFound},
                                                  {"d\\k", NotFound},
                                                  {R"(\k\\c\)", Success},
                                                  {"K", Success}};
    for (const auto& [path, code] : paths)
        EXPECT_EQ(RegDeleteKey(LocalMachine, path), code) << path;
    Set(Create(LocalMachine, "k"), "v", "new");
    EXPECT_EQ(change(key), Codes(4, KeyDeleted));
    EXPECT_EQ(look(key), Codes(2, NotFound));
    EXPECT_EQ(Get(key, "v"), "2");
    EXPECT_EQ(Names(key, &RegEnumValue), Strings());

    EXPECT_EQ(RegCloseKey(key), Success);
    EXPECT_NE(Create(LocalMachine, "k"), key);
    for (const HKEY bad : {key, HKEY{0}, HKEY{1}, HKEY{0x80000003}, ~HKEY{0}}) {
        EXPECT_EQ(change(bad), Codes(4, InvalidHandle));
        EXPECT_EQ(look(bad), Codes(2, InvalidHandle));
        EXPECT_EQ(Get(bad, "v"), "6");
        EXPECT_EQ(RegCloseKey(bad), bad == 0 ? Success : InvalidHandle);
        EXPECT_EQ(Writing(bad).Commit(), InvalidHandle);
        const Reading harmless(bad);
    }
    EXPECT_EQ(RegCloseKey(LocalMachine), Success);
    EXPECT_EQ(Set(LocalMachine, "v", "root"), Success);
    EXPECT_EQ(Get(LocalMachine, "V"), "1:root");
    EXPECT_EQ(Get(CurrentUser, "V"), "2");
}

TEST_F(StoreTest, ChangesAllOfAWritingOrNothing) {
    const HKEY key = Create(LocalMachine, "k");
    HKEY dropped = 0;
    {
        Writing change(LocalMachine);
        Set(key, "v", "1");
        EXPECT_EQ(Get(key, "v"), "1:1");
        Set(key, "v", "2");
        EXPECT_EQ(Get(key, "v"), "1:2");
        EXPECT_EQ(RegDeleteValue(key, "missing"), NotFound); // is no failure of the change
        dropped = Create(key, "dropped");
    }
    EXPECT_EQ(Get(key, "v"), "2");
    Create(key, "next");
    EXPECT_EQ(Set(dropped, "v", "x"), InvalidHandle);
    {
        const Reading extent(key);
        Writing change(key);
        Set(key, "v", "3");
        {
            Writing inner(key);
            Set(key, "w", "4");
            EXPECT_EQ(inner.Commit(), Success);
        }
        EXPECT_EQ(change.Commit(), Success);
        Set(key, "v", "behind the end");
        dropped = Create(key, "dropped");
    }
    EXPECT_EQ(Set(dropped, "v", "x"), InvalidHandle);
    EXPECT_EQ(Get(key, "v"), "1:3");
    EXPECT_EQ(Get(key, "w"), "1:4");
    {
        Writing change(key);
        Set(key, "v", "5");
        { const Writing inner(key); }
        EXPECT_EQ(Set(key, "w", "6"), StoreFailed + SQLITE_ABORT);
        EXPECT_EQ(change.Commit(), StoreFailed + SQLITE_ABORT);
    }
    EXPECT_EQ(Get(key, "v"), "1:3");
}

// What another process does meanwhile is not seen before the end; a change of one's own ends the
// moment.
TEST_F(StoreTest, ReadsTheStoreOfOneMoment) {
    const HKEY key = Create(LocalMachine, "k");
    Set(key, "v", "1");
    const Signal begin;
    const Process writer([&] {
        begin.Await();
        EXPECT_EQ(Set(key, "v", "2"), Success);
    });
    {
        const Reading extent(key);
        EXPECT_EQ(Get(key, "v"), "1:1");
        begin.Say();
        usleep(100000);
        EXPECT_EQ(Get(key, "V"), "1:1");
        EXPECT_EQ(Set(key, "w", "x"), Success);
    }
    EXPECT_EQ(writer.Wait(), 0);
    EXPECT_EQ(Get(key, "v"), "1:2");
}

} // namespace
