// The store operations: what is found and in which order, what stays of it when processes are
// killed, and what the files and their hosts may do to it.
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "contract/failing.h"
#include "posix/process.h"
#include "zynkprf_store.h"
#include "zynkprfi_file.h"

namespace {

namespace fs = std::filesystem;
using namespace zynkreg; // NOLINT(google-build-using-namespace)

ZynString Named(const std::string& bytes) {
    ZynString text(CreateEmpty, bytes.size());
    bytes.copy(text.PreRead(), bytes.size());
    text.PostRead(bytes.size());
    return text;
}

using Open = decltype(&RegOpenKeyEx);

long CodeOf(Open open, HKEY parent, const std::string& name, unsigned long access = ReadWrite) {
    HKEY key = 0;
    const long code = open(parent, Named(name), access, key);
    RegCloseKey(key);
    return code;
}

HKEY Opened(HKEY parent, const std::string& name, unsigned long access = ReadWrite,
            Open open = &RegOpenKeyEx) {
    HKEY key = 0;
    EXPECT_EQ(open(parent, Named(name), access, key), Success) << name;
    return key;
}

HKEY Create(HKEY parent, const std::string& name) {
    return Opened(parent, name, ReadWrite, &RegCreateKeyEx);
}

long Set(HKEY key, const std::string& name, const std::string& bytes, unsigned long type = 1) {
    return RegSetValueEx(key, Named(name), type, bytes.data(), bytes.size());
}

using Codes = std::vector<long>;
using Strings = std::vector<std::string>;

/// Kind and bytes of a value, or the code.
std::string Get(HKEY key, const std::string& name) {
    unsigned long type = 0;
    unsigned long length = 0;
    const long asked = RegQueryValueEx(key, Named(name), type, nullptr, length);
    if (asked != Success)
        return std::to_string(asked);
    std::string bytes(length, '?');
    EXPECT_EQ(RegQueryValueEx(key, Named(name), type, bytes.data(), length), Success);
    EXPECT_EQ(length, bytes.size());
    return std::to_string(type) + ":" + bytes;
}

Strings Names(HKEY key, decltype(&RegEnumKeyEx) enumerate) {
    const Reading extent(key);
    Strings names;
    ZynString name;
    while (enumerate(key, names.size(), name) == Success)
        names.push_back(Bytes(name));
    EXPECT_EQ(enumerate(key, names.size(), name), NoMoreItems);
    return names;
}

std::string Content(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class StoreTest : public testing::Test {
  protected:
    StoreTest() {
        char folder[] = "/dev/shm/zynkprfi-XXXXXX";
        EXPECT_NE(mkdtemp(folder), nullptr);
        _folder = folder;
        setenv("ZYN_STORE_MACHINE", File().c_str(), 1);
        setenv("ZYN_STORE_USER", (_folder / "u" / "user.db").c_str(), 1);
    }
    ~StoreTest() override {
        unsetenv("ZYN_STORE_MACHINE");
        unsetenv("ZYN_STORE_USER");
        fs::remove_all(_folder);
    }
    fs::path File() const { return _folder / "m" / "machine.db"; }

    /// Runs a statement on the file as an administrator would, and answers the last value.
    std::string Sqlite(const char* sql) const {
        std::string last;
        sqlite3* base = nullptr;
        EXPECT_EQ(sqlite3_open(File().c_str(), &base), SQLITE_OK);
        const auto keep = [](void* to, int, char** values, char**) {
            *static_cast<std::string*>(to) = values[0];
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(base, sql, keep, &last, nullptr), SQLITE_OK) << sql;
        sqlite3_close(base);
        return last;
    }

    fs::path _folder;
};

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

TEST_F(StoreTest, IsMadeByWritersAloneWhateverTheUmask) {
    const auto find = [] {
        KeyInfo info;
        EXPECT_EQ((Codes{CodeOf(&RegOpenKeyEx, LocalMachine, "k"), RegDeleteKey(LocalMachine, "k"),
                         RegDeleteValue(LocalMachine, "v")}),
                  Codes(3, NotFound));
        EXPECT_EQ(RegQueryInfoKey(LocalMachine, info), Success);
        EXPECT_EQ(Names(LocalMachine, &RegEnumKeyEx), Strings());
        EXPECT_EQ(Writing(LocalMachine).Commit(), Success);
    };
    find();
    EXPECT_TRUE(fs::is_empty(_folder));
    fs::create_directory(_folder / "m");
    std::ofstream(File()).flush();
    find();
    EXPECT_EQ(fs::file_size(File()), 0U);
    for (const mode_t mask : {0000U, 0777U}) {
        fs::remove_all(_folder / "m");
        fs::remove_all(_folder / "u");
        const mode_t before = umask(mask);
        Create(LocalMachine, "k");
        Create(CurrentUser, "k");
        umask(before);
        const std::pair<fs::path, mode_t> cases[] = {
            {"m", 0755}, {"m/machine.db", 0644}, {"u", 0700}, {"u/user.db", 0600}};
        for (const auto& [name, mode] : cases)
            EXPECT_EQ(fs::status(_folder / name).permissions(), fs::perms(mode)) << name;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(_folder / "m"), {}), 1);
    EXPECT_EQ(Sqlite("PRAGMA user_version"), "1");
    EXPECT_EQ(Sqlite("PRAGMA application_id"), std::to_string(0x5A594E53));
}

TEST(StorePath, ComesFromTheEnvironment) {
    const char* const names[] = {"ZYN_STORE_USER", "XDG_DATA_HOME", "HOME", "ZYN_STORE_MACHINE"};
    const struct {
        const char* values[4];
        std::string user;
        std::string machine;
    } cases[] = {
        {{"/a/b.db", "/x", "/h", "/m"}, "/a/b.db", "/m"},
        {{"", "/x", "/h", ""}, "/x/zynkernn/user.db", "/var/lib/zynkernn/machine.db"},
        {{"", "x", "/h", "m.db"}, "/h/.local/share/zynkernn/user.db", fs::current_path() / "m.db"},
        {{"", "", "", "/m"}, "/.*/.local/share/zynkernn/user.db", "/m"},
    };
    const Process process([&] {
        for (const auto& [values, user, machine] : cases) {
            for (int i = 0; i < 4; ++i)
                setenv(names[i], values[i], 1);
            EXPECT_THAT(zynkprfi::PathOf(zynkprfi::User), testing::MatchesRegex(user));
            EXPECT_EQ(zynkprfi::PathOf(zynkprfi::Machine), machine);
        }
    });
    EXPECT_EQ(process.Wait(), 0);
}

TEST_F(StoreTest, LeavesOtherFilesAsTheyAre) {
    const auto holds = [&](const std::string& bytes) {
        std::ofstream(File(), std::ios::binary) << bytes;
    };
    const auto damages = [&](std::size_t at, std::size_t n) {
        Set(Create(LocalMachine, "k"), "v", "x");
        std::string bytes = Content(File());
        bytes.replace(at, n, n, '\x5A');
        fs::remove(File());
        holds(bytes);
    };
    constexpr std::size_t Page = 4096;
    const std::pair<long, std::function<void()>> cases[] = {
        {StoreFailed + SQLITE_NOTADB, [&] { holds("text"); }},
        {StoreFailed + SQLITE_NOTADB, [&] { holds(std::string(10000, 'x')); }},
        {StoreFailed + SQLITE_NOTADB, [&] { Sqlite("CREATE TABLE t(a)"); }},
        {StoreFailed + SQLITE_NOTADB,
         [&] { Sqlite("PRAGMA journal_mode=WAL; CREATE TABLE t(a)"); }},
        {StoreFailed + SQLITE_SCHEMA,
         [&] {
             Create(LocalMachine, "k");
             Sqlite("PRAGMA user_version=2");
             fs::copy(File(), _folder / "later");
             fs::rename(_folder / "later", File());
         }},
        {StoreFailed + SQLITE_NOTADB, [&] { damages(0, 16); }},
        {StoreFailed + SQLITE_CORRUPT, [&] { damages(Page, 4 * Page); }},
        {StoreFailed + SQLITE_CORRUPT, [&] { damages(Page - 500, 500); }},
        {SystemFailed + EISDIR, [&] { fs::create_directory(File()); }},
        {SystemFailed + EINVAL, [&] { EXPECT_EQ(mkfifo(File().c_str(), 0666), 0); }},
    };
    for (const auto& [code, make] : cases) {
        fs::create_directory(_folder / "m");
        make();
        const bool isFile = fs::is_regular_file(File());
        const std::string before = isFile ? Content(File()) : "";
        EXPECT_EQ(
            (Codes{CodeOf(&RegOpenKeyEx, LocalMachine, "k"), Set(LocalMachine, "v", "x"),
                   CodeOf(&RegCreateKeyEx, LocalMachine, "new"), RegDeleteKey(LocalMachine, "k")}),
            Codes(4, code));
        EXPECT_EQ(isFile ? Content(File()) : "", before);
        EXPECT_EQ(std::distance(fs::directory_iterator(_folder / "m"), {}), 1);
        fs::remove_all(_folder / "m");
    }
    holds("");
    setenv("ZYN_STORE_MACHINE", (_folder / "a" / "b").c_str(), 1);
    std::ofstream(_folder / "a").flush();
    EXPECT_EQ(CodeOf(&RegOpenKeyEx, LocalMachine, "k"), NotFound);
    EXPECT_EQ(CodeOf(&RegCreateKeyEx, LocalMachine, "k"), SystemFailed + ENOTDIR);
}

TEST_F(StoreTest, IsReadByWhoMayNotWrite) {
    Set(Create(LocalMachine, "k"), "v", "x");
    fs::permissions(_folder, fs::perms(0555));
    const Process process([&] {
        if (geteuid() == 0)
            EXPECT_EQ(seteuid(65534), 0);
        else
            fs::permissions(File(), fs::perms(0444));
        const HKEY key = Opened(LocalMachine, "k", Read);
        EXPECT_EQ(Get(key, "v"), "1:x");
        EXPECT_EQ(CodeOf(&RegOpenKeyEx, LocalMachine, "k"), AccessDenied);
        Writing change(LocalMachine);
        setenv("ZYN_STORE_USER", (_folder / "new" / "user.db").c_str(), 1);
        EXPECT_EQ((Codes{Set(key, "v", "y"), RegDeleteKey(LocalMachine, "k"), change.Commit(),
                         CodeOf(&RegCreateKeyEx, CurrentUser, "k")}),
                  Codes(4, AccessDenied));
    });
    EXPECT_EQ(process.Wait(), 0);
}

TEST_F(StoreTest, TakesNoChangeThatDoesNotFit) {
    const Process process([&] {
        const HKEY key = Create(LocalMachine, "k");
        EXPECT_EQ(Set(key, "v", "before"), Success);
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {100000, 100000};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        const std::string large(200000, 'x');
        for (int i = 0; i < 2; ++i) {
            EXPECT_GE(Set(key, "v", large), StoreFailed);
            EXPECT_EQ(Get(key, "v"), "1:before");
            Writing change(key);
            EXPECT_EQ(Set(key, "w", large), Success);
            EXPECT_EQ(Get(key, "w"), "1:" + large);
            EXPECT_GE(change.Commit(), StoreFailed);
        }
        constexpr long TooBig = StoreFailed + SQLITE_TOOBIG;
        Writing change(key);
        EXPECT_EQ(Set(key, "w", "x"), Success);
        EXPECT_EQ(RegSetValueEx(key, "v", Text, large.data(), 0x7FFFFFFFFF), TooBig);
        EXPECT_EQ(Set(key, "w", "y"), TooBig);
        EXPECT_EQ(change.Commit(), TooBig);
    });
    EXPECT_EQ(process.Wait(), 0);
    const Process next([&] {
        const HKEY key = Opened(LocalMachine, "k");
        EXPECT_EQ(Get(key, "w"), "2");
        EXPECT_EQ(Set(key, "v", "after"), Success);
    });
    EXPECT_EQ(next.Wait(), 0);
    EXPECT_EQ(Get(Opened(LocalMachine, "k"), "v"), "1:after");
    EXPECT_EQ(Sqlite("PRAGMA integrity_check"), "ok");
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

TEST_F(StoreTest, IsSharedByThreadsAndForks) {
    const HKEY key = Create(LocalMachine, "k");
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 10; ++i) {
                const std::string name = std::to_string(thread) + " " + std::to_string(i);
                EXPECT_EQ(Set(key, name, name), Success);
                const Process child([&] {
                    EXPECT_EQ(Get(key, name), "1:" + name);
                    EXPECT_EQ(Set(key, name, "child"), Success);
                });
                EXPECT_EQ(child.Wait(), 0);
                EXPECT_EQ(Get(key, name), "1:child");
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(Names(key, &RegEnumValue).size(), 40U);
    // The forking thread's own reading begins anew on both sides; its change is the parent's.
    const Reading extent(key);
    EXPECT_EQ(Get(key, "0 0"), "1:child");
    const Process reader([&] { EXPECT_EQ(Set(key, "0 0", "x"), Success); });
    EXPECT_EQ(reader.Wait(), 0);
    EXPECT_EQ(Get(key, "0 0"), "1:x");
    Writing change(key);
    EXPECT_EQ(Set(key, "0 0", "y"), Success);
    const Process lost([&] {
        EXPECT_EQ(Get(key, "0 0"), "10021");
        EXPECT_EQ(change.Commit(), StoreFailed + SQLITE_MISUSE);
    });
    EXPECT_EQ(lost.Wait(), 0);
    EXPECT_EQ(change.Commit(), Success);
}

TEST_F(StoreTest, OutlivesItsDescriptorAndItsFile) {
    const fs::path other = _folder / "other";
    const std::string content(20000, 'x');
    std::ofstream(other) << content;
    const Process process([&] {
        const HKEY key = Create(LocalMachine, "k");
        Set(key, "v", "1");
        for (int round = 0; round < 3; ++round) {
            for (int fd = 3; fd < 100; ++fd)
                close(fd);
            for (int i = 0; i < 20; ++i)
                open(other.c_str(), O_RDWR);
            EXPECT_EQ(Get(key, "v"), "1:" + std::to_string(round + 1));
            EXPECT_EQ(Set(key, "v", std::to_string(round + 2)), Success);
        }
        EXPECT_EQ(Content(other), content);
        // Another file has other keys, whatever their numbers.
        fs::rename(File(), _folder / "away");
        EXPECT_EQ(Set(key, "v", "x"), KeyDeleted);
        Set(Create(LocalMachine, "other"), "v", "2");
        EXPECT_EQ(Get(key, "v"), "2");
        EXPECT_EQ(Set(key, "v", "x"), KeyDeleted);
        fs::rename(_folder / "away", File());
        EXPECT_EQ(Get(Opened(LocalMachine, "k"), "v"), "1:4");
        fs::remove_all(_folder / "m");
        EXPECT_EQ(CodeOf(&RegOpenKeyEx, LocalMachine, "k"), NotFound);
        EXPECT_EQ(Set(key, "v", "x"), KeyDeleted);
        EXPECT_FALSE(fs::exists(_folder / "m"));
    });
    EXPECT_EQ(process.Wait(), 0);
}

/// A number from the environment, to have more of something by hand.
int Count(const char* variable, int usual) {
    const char* const value = std::getenv(variable);
    return value != nullptr ? std::atoi(value) : usual;
}

// They also make the store at the same time.
TEST_F(StoreTest, LosesNoWriteOf16Processes) {
    const int writes = Count("ZYN_TEST_WRITES", 20);
    std::vector<Process> processes;
    processes.reserve(16);
    for (int process = 0; process < 16; ++process)
        processes.emplace_back([&] {
            alarm(0);
            const HKEY key = Create(Create(LocalMachine, "all"), "k");
            const std::string prefix = std::to_string(process) + " ";
            for (int i = 0; i < writes; ++i)
                EXPECT_EQ(Set(key, prefix + std::to_string(i), prefix), Success);
        });
    for (const Process& process : processes)
        EXPECT_EQ(process.Wait(), 0);
    EXPECT_EQ(Names(LocalMachine, &RegEnumKeyEx).size(), 1U);
    const auto names = Names(Opened(Opened(LocalMachine, "all"), "k"), &RegEnumValue);
    EXPECT_EQ(names.size(), 16U * static_cast<unsigned>(writes));
}

// The byte is what processes of all versions agree on.
TEST_F(StoreTest, WaitsForWhoeverIsAheadToBegin) {
    using std::chrono::milliseconds;
    const HKEY key = Create(LocalMachine, "k");
    const auto holdByte = [&](const Signal& held) {
        struct flock lock = {F_WRLCK, SEEK_SET, 0x4000'0200, 1, 0};
        EXPECT_EQ(fcntl(open(File().c_str(), O_RDWR), F_OFD_SETLK, &lock), 0);
        held.Say();
        pause();
    };
    const auto timeOfChange = [&] {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Set(key, "v", "x"), Success);
        return std::chrono::steady_clock::now() - start;
    };
    for (const bool isKilled : {true, false}) {
        const Signal held;
        const Process ahead([&] { holdByte(held); });
        held.Await();
        std::thread killer([&] {
            usleep(100000);
            if (isKilled)
                ahead.Kill();
        });
        EXPECT_GT(timeOfChange(), milliseconds(isKilled ? 90 : 1900));
        if (!isKilled) { // who seems to be stopped delays once
            EXPECT_LT(timeOfChange(), milliseconds(1900));
        }
        killer.join();
        if (!isKilled)
            ahead.Kill();
    }
}

TEST_F(StoreTest, IsReadWithTheLastDescriptor) {
    Set(Create(LocalMachine, "k"), "v", "x");
    const Process process([&] {
        const rlimit limit = {64, 64};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        int last = 0;
        for (int next = 0; next >= 0; next = dup(0))
            last = next;
        close(last);
        EXPECT_EQ(Get(Opened(LocalMachine, "k"), "v"), "1:x");
    });
    EXPECT_EQ(process.Wait(), 0);
}

// Its locks would outlive the parent.
TEST_F(StoreTest, IsNotHeldOpenByChildren) {
    const HKEY key = Create(LocalMachine, "k");
    const auto descriptors = [&] {
        return zynkprfi::DescriptorsOf(zynkprfi::IdentityOf(File())).value().size();
    };
    EXPECT_EQ(descriptors(), 1U);
    const Process child([&] {
        EXPECT_EQ(descriptors(), 0U);
        EXPECT_EQ(Set(key, "v", "x"), Success);
        EXPECT_EQ(descriptors(), 1U);
    });
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_EQ(Set(key, "v", "y"), Success);
}

TEST_F(StoreTest, HoldsWhatWasAnsweredWhenAWriterIsKilled) {
    std::minstd_rand random(4711);
    int answered = 0;
    for (int round = Count("ZYN_TEST_KILLS", 100); round > 0; --round) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const Process writer([&] {
            for (int number = answered;; ++number) {
                Writing change(LocalMachine);
                const HKEY key = Create(LocalMachine, std::to_string(number));
                Set(key, "v", std::string(random() % 20000, 'x'));
                Set(key, "last", std::to_string(number));
                if (change.Commit() != Success ||
                    write(ends[1], &number, sizeof number) != sizeof number)
                    return;
            }
        });
        close(ends[1]);
        int number = 0;
        const auto isTold = [&] { return read(ends[0], &number, sizeof number) > 0; };
        for (auto awaited = random() % 4; awaited > 0 && isTold(); --awaited)
            answered = number + 1;
        usleep(static_cast<useconds_t>(random() % 10000));
        writer.Kill();
        while (isTold())
            answered = number + 1;
        close(ends[0]);
        const Reading extent(LocalMachine);
        const auto keys = Names(LocalMachine, &RegEnumKeyEx);
        const bool hasOneMore = keys.size() == static_cast<unsigned>(answered) + 1;
        EXPECT_TRUE(hasOneMore || keys.size() == static_cast<unsigned>(answered));
        for (const std::string& key : keys)
            EXPECT_EQ(Get(Opened(LocalMachine, key), "last"), "1:" + key);
        if (!keys.empty()) {
            EXPECT_EQ(Sqlite("PRAGMA integrity_check"), "ok");
        }
        if (hasOneMore)
            ++answered;
    }
    EXPECT_GT(answered, 0);
}

} // namespace
