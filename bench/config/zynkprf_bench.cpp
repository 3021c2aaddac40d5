// Reading a configuration from the store, beside what SQLite alone takes for it: the same file, the
// connection open, the statements prepared.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <sqlite3.h>

#include "zynkprf_store.h"

namespace {

using namespace zynkreg; // NOLINT(google-build-using-namespace)

const std::array<ZynString, 6>& Path() {
    static const std::array<ZynString, 6> path = {"Software", "KOR",           "Tessera Flow",
                                                  "3.2",      "Configuration", "FMT"};
    return path;
}
constexpr const char* Name = "TraceCriteria";
constexpr const char* FindKey = "SELECT id FROM keys WHERE parent=?1 AND folded=?2";
constexpr const char* FindValue = "SELECT type, data FROM key_values WHERE key=?1 AND folded=?2";

/// A store with ten configurations of twenty values each.
class Store {
  public:
    Store() {
        char folder[] = "/tmp/zynkprf-bench-XXXXXX";
        _folder = mkdtemp(folder);
        setenv("ZYN_STORE_MACHINE", File().c_str(), 1);
        Writing change(LocalMachine);
        for (int i = 0; i < 10; ++i) {
            HKEY key = LocalMachine;
            for (const ZynString& part : Path())
                RegCreateKeyEx(key, part, ReadWrite, key);
            HKEY sibling = LocalMachine;
            for (const ZynString& part : Path())
                RegCreateKeyEx(sibling, &part == &Path().back() ? ZynString::FromLong(i) : part,
                               ReadWrite, sibling);
            for (const HKEY each : {key, sibling}) {
                RegSetValueEx(each, Name, Text, "some words", 10);
                for (int value = 0; value < 20; ++value)
                    RegSetValueEx(each, ZynString::FromLong(value), Text, "some words", 10);
            }
        }
        if (change.Commit() != Success)
            std::abort();
    }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;
    ~Store() { std::filesystem::remove_all(_folder); }
    std::string File() const { return _folder + "/machine.db"; }

  private:
    std::string _folder;
};

const Store& TheStore() {
    static const Store store;
    return store;
}

HKEY OpenConfiguration() {
    const Reading extent(LocalMachine);
    HKEY key = LocalMachine;
    for (const ZynString& part : Path()) {
        HKEY child = 0;
        if (RegOpenKeyEx(key, part, Read, child) != Success)
            std::abort();
        RegCloseKey(key);
        key = child;
    }
    return key;
}

void ReadValue(HKEY key) {
    const Reading extent(key);
    unsigned long type = 0;
    unsigned long length = 0;
    RegQueryValueEx(key, Name, type, nullptr, length);
    std::string bytes(length, '\0');
    if (RegQueryValueEx(key, Name, type, bytes.data(), length) != Success)
        std::abort();
    benchmark::DoNotOptimize(bytes.data());
}

void OpenAndRead(benchmark::State& state) {
    TheStore();
    for (auto _ : state) {
        const HKEY key = OpenConfiguration();
        ReadValue(key);
        RegCloseKey(key);
    }
}
BENCHMARK(OpenAndRead);

void ReadOpened(benchmark::State& state) {
    TheStore();
    const HKEY key = OpenConfiguration();
    for (auto _ : state)
        ReadValue(key);
    RegCloseKey(key);
}
BENCHMARK(ReadOpened);

/// SQLite with nothing around it.
class Base {
  public:
    Base() {
        if (sqlite3_open(TheStore().File().c_str(), &_base) != SQLITE_OK)
            std::abort();
    }
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;
    ~Base() { sqlite3_close(_base); }
    sqlite3_stmt* Prepare(const std::string& sql) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(_base, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
            std::abort();
        return statement;
    }

  private:
    sqlite3* _base = nullptr;
};

void BindText(sqlite3_stmt* statement, int index, const char* text) {
    sqlite3_bind_blob(statement, index, text, static_cast<int>(std::strlen(text)), SQLITE_STATIC);
}

constexpr const char* folded[] = {"SOFTWARE", "KOR", "TESSERA FLOW", "3.2", "CONFIGURATION", "FMT"};

void ReadValue(sqlite3_stmt* find, sqlite3_int64 key) {
    sqlite3_bind_int64(find, 1, key);
    BindText(find, 2, "TRACECRITERIA");
    if (sqlite3_step(find) != SQLITE_ROW)
        std::abort();
    const std::string bytes(static_cast<const char*>(sqlite3_column_blob(find, 1)),
                            static_cast<std::size_t>(sqlite3_column_bytes(find, 1)));
    benchmark::DoNotOptimize(bytes.data());
    sqlite3_reset(find);
}

/// The walk down the path in one statement.
sqlite3_int64 OpenConfiguration(sqlite3_stmt* find) {
    for (int i = 0; i < 6; ++i)
        BindText(find, i + 1, folded[i]);
    if (sqlite3_step(find) != SQLITE_ROW)
        std::abort();
    const sqlite3_int64 key = sqlite3_column_int64(find, 0);
    sqlite3_reset(find);
    return key;
}

std::string PathStatement() {
    std::string from = " FROM keys k1";
    std::string where = " WHERE k1.parent=0 AND k1.folded=?1";
    for (int i = 2; i <= 6; ++i) {
        const std::string number = std::to_string(i);
        from += ", keys k" + number;
        where += " AND k" + number + ".parent=k" + std::to_string(i - 1) + ".id AND k" + number +
                 ".folded=?" + number;
    }
    return "SELECT k6.id" + from + where;
}

void OpenAndReadSqlite(benchmark::State& state) {
    Base base;
    sqlite3_stmt* const open = base.Prepare(PathStatement());
    sqlite3_stmt* const find = base.Prepare(FindValue);
    for (auto _ : state)
        ReadValue(find, OpenConfiguration(open));
    sqlite3_finalize(open);
    sqlite3_finalize(find);
}
BENCHMARK(OpenAndReadSqlite);

void OpenAndReadSqliteSteps(benchmark::State& state) {
    Base base;
    sqlite3_stmt* const begin = base.Prepare("BEGIN");
    sqlite3_stmt* const commit = base.Prepare("COMMIT");
    sqlite3_stmt* const open = base.Prepare(FindKey);
    sqlite3_stmt* const find = base.Prepare(FindValue);
    for (auto _ : state) {
        sqlite3_int64 key = 0;
        sqlite3_step(begin);
        sqlite3_reset(begin);
        for (const char* part : folded) {
            sqlite3_bind_int64(open, 1, key);
            BindText(open, 2, part);
            if (sqlite3_step(open) != SQLITE_ROW)
                std::abort();
            key = sqlite3_column_int64(open, 0);
            sqlite3_reset(open);
        }
        sqlite3_step(commit);
        sqlite3_reset(commit);
        ReadValue(find, key);
    }
    for (sqlite3_stmt* const each : {begin, commit, open, find})
        sqlite3_finalize(each);
}
BENCHMARK(OpenAndReadSqliteSteps);

void ReadOpenedSqlite(benchmark::State& state) {
    Base base;
    sqlite3_stmt* const open = base.Prepare(PathStatement());
    sqlite3_stmt* const find = base.Prepare(FindValue);
    const sqlite3_int64 key = OpenConfiguration(open);
    for (auto _ : state)
        ReadValue(find, key);
    sqlite3_finalize(open);
    sqlite3_finalize(find);
}
BENCHMARK(ReadOpenedSqlite);

} // namespace
