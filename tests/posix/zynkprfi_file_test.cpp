// The files of the store: who makes and reads them, and what their hosts may do to them.
#include <csignal>
#include <fstream>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "posix/process.h"
#include "posix/store_fixture.h"
#include "zynkprfi_file.h"

namespace {

std::string Content(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
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

} // namespace
