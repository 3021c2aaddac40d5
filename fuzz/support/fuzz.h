// What the fuzz targets share.
//
// A target gets bytes that nobody has chosen, does with them what programs do with what comes from
// outside, and compares the result with a plain reference. A difference, an exception that is not
// stated or a fault that a sanitizer sees ends the program; whoever runs it keeps the bytes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "zynkconv.h"
#include "zynkxcp.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace zynfuzz {

[[noreturn]] inline void Fail(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

/// Takes the bytes of a target apart. Where there are no more, all that follows is 0 and empty, so
/// that every input is one that a target can use.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size)
        : _rest(reinterpret_cast<const char*>(data), size) {
        ZynConverter::GetCurrentOSCodePage(); // puts the process into the locale it was started in
    }

    bool IsEmpty() const { return _rest.empty(); }
    unsigned char Byte() { return static_cast<unsigned char>(Bytes(1).append(1, '\0')[0]); }
    std::string Bytes(std::size_t n) {
        std::string bytes(_rest.substr(0, n));
        _rest.remove_prefix(bytes.size());
        return bytes;
    }
    /// A text up to the next NUL.
    std::string Text() {
        std::string text(_rest.substr(0, _rest.find('\0')));
        _rest.remove_prefix(std::min(_rest.size(), text.size() + 1));
        return text;
    }
    std::string Rest() { return Bytes(_rest.size()); }

  private:
    std::string_view _rest;
};

inline std::string UpToNul(const std::string& bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

inline ZynString AsString(const std::string& text) {
    return {text.c_str()};
}

inline std::string Bytes(const ZynString& string) {
    return {string.C_str(), string.Length()};
}

inline std::string Bytes(const ZynBinary& binary) {
    return {binary.Data(), binary.Length()};
}

/// The Failure that the call ends in, if it does. One of another class ends the program.
template <class Failure, class Call>
std::optional<Failure> Caught(const Call& call) {
    try {
        call();
        return std::nullopt;
    } catch (const Failure& failure) {
        return failure;
    }
}

/// Whether it does, or in one of a class below.
template <class Failure, class Call>
bool EndsIn(const Call& call) {
    try {
        call();
        return false;
    } catch (const Failure&) {
        return true;
    }
}

/// The condition of the contract check that the call fails, or "".
template <class Call>
std::string FailedCheck(const Call& call) {
    const auto failure = Caught<ZynAssertionException>(call);
    const std::string text = failure ? failure->Condition().C_str() : "): ";
    return text.substr(text.find("): ") + 3);
}

} // namespace zynfuzz

/// Ends the program if the condition does not hold, in every build.
#define FUZZ_CHECK(condition)                                                                      \
    ((condition) ? static_cast<void>(0) : zynfuzz::Fail(#condition, __FILE_NAME__, __LINE__))
