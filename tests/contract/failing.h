// What the tests of values and contracts share: calls that must fail a check, and values as bytes.
#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "zynkxcp.h"

/// The text of the invariant that strings and binaries share.
inline const char* const invariant = "_pRep==0 || _pRep->_len <= _pRep->_allocLen";

/// What a value prints on a stream that its user has put into a mode of his own.
template <class Value>
std::string Printed(const Value& value) {
    std::ostringstream os;
    os << std::hex << std::showbase << std::showpos << value;
    return os.str();
}

/// Each call must fail a check of `kind` with `condition` as its text.
inline void Fails(const std::string& condition, const std::vector<std::function<void()>>& calls,
                  const std::string& kind = "Pre-condition") {
    const auto line = testing::AllOf(
        testing::StartsWith("ZynAssertionException, Condition=*** " + kind + " failed in zynk"),
        testing::HasSubstr("): " + condition + ", Origin=File=zynkdbg, Line="));
    for (const auto& call : calls)
        EXPECT_THAT(call, testing::Throws<ZynAssertionException>(
                              testing::ResultOf(Printed<ZynAssertionException>, line)))
            << "call " << &call - calls.data();
}

/// A table of words, one row behind the other.
template <class... Columns>
std::vector<std::tuple<Columns...>> Rows(const std::string& text) {
    std::istringstream words(text);
    std::vector<std::tuple<Columns...>> rows;
    std::tuple<Columns...> row;
    while (std::apply([&](auto&... column) { return !(words >> ... >> column).fail(); }, row))
        rows.push_back(row);
    EXPECT_TRUE(words.eof()) << "behind " << rows.size() << " rows of " << text;
    return rows;
}

/// The bytes of a string, whose terminator must stand behind them.
inline std::string Bytes(const ZynString& string) {
    if (string.IsNull())
        return "(null)";
    EXPECT_EQ(string.C_str()[string.Length()], '\0');
    return {string.C_str(), string.Length()};
}

inline std::string Bytes(const ZynBinary& binary) {
    return binary.IsNull() ? "(null)" : std::string(binary.Data(), binary.Length());
}
