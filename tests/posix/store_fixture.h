// A store of a test's own, and its operations in short forms.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <sqlite3.h>

#include "contract/failing.h"
#include "zynkprf_store.h"

namespace fs = std::filesystem;
using namespace zynkreg; // NOLINT(google-build-using-namespace)

inline ZynString Named(const std::string& bytes) {
    ZynString text(CreateEmpty, bytes.size());
    bytes.copy(text.PreRead(), bytes.size());
    text.PostRead(bytes.size());
    return text;
}

using Open = decltype(&RegOpenKeyEx);

inline long CodeOf(Open open, HKEY parent, const std::string& name,
                   unsigned long access = ReadWrite) {
    HKEY key = 0;
    const long code = open(parent, Named(name), access, key);
    RegCloseKey(key);
    return code;
}

inline HKEY Opened(HKEY parent, const std::string& name, unsigned long access = ReadWrite,
                   Open open = &RegOpenKeyEx) {
    HKEY key = 0;
    EXPECT_EQ(open(parent, Named(name), access, key), Success) << name;
    return key;
}

inline HKEY Create(HKEY parent, const std::string& name) {
    return Opened(parent, name, ReadWrite, &RegCreateKeyEx);
}

inline long Set(HKEY key, const std::string& name, const std::string& bytes,
                unsigned long type = 1) {
    return RegSetValueEx(key, Named(name), type, bytes.data(), bytes.size());
}

using Codes = std::vector<long>;
using Strings = std::vector<std::string>;

/// Kind and bytes of a value, or the code.
inline std::string Get(HKEY key, const std::string& name) {
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

inline Strings Names(HKEY key, decltype(&RegEnumKeyEx) enumerate) {
    const Reading extent(key);
    Strings names;
    ZynString name;
    while (enumerate(key, names.size(), name) == Success)
        names.push_back(Bytes(name));
    EXPECT_EQ(enumerate(key, names.size(), name), NoMoreItems);
    return names;
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
