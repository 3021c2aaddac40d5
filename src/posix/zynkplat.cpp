// The multi-byte functions of a POSIX host, whose wide characters are code points.
#include "zynkplat.h"

#include <cwchar>
#include <cwctype>

#include <cstdlib>
#include <cstring>

namespace zynkplat {

namespace {

// Shift states are a thread's own, as those of the runtime's plain functions are not.
struct ShiftStates {
    std::mbstate_t length;
    std::mbstate_t toWide;
    std::mbstate_t fromWide;
};
thread_local ShiftStates states;

constexpr unsigned char LastPlainByte = 0x7F;

class HostMultiByte final : public MultiByte {
  public:
    unsigned long MaxBytes() const override { return MB_CUR_MAX; }

    bool ResetShiftState() override {
        states = {};
        return std::mblen(nullptr, 0) != 0;
    }

    // A host's locales all take the bytes of ASCII as characters of one byte.
    int Length(const char* s, unsigned long n) override {
        if (n > 0 && static_cast<unsigned char>(*s) <= LastPlainByte)
            return *s == '\0' ? 0 : 1;
        return Result(std::mbrlen(s, n, &states.length), states.length);
    }

    int ToWide(char32_t& wide, const char* s, unsigned long n) override {
        wchar_t character = 0;
        const int bytes = Result(std::mbrtowc(&character, s, n, &states.toWide), states.toWide);
        wide = static_cast<char32_t>(character);
        return bytes;
    }

    int FromWide(char* to, char32_t wide) override {
        return Result(std::wcrtomb(to, static_cast<wchar_t>(wide), &states.fromWide),
                      states.fromWide);
    }

    char32_t ToLower(char32_t wide) const override {
        return static_cast<char32_t>(std::towlower(static_cast<std::wint_t>(wide)));
    }
    char32_t ToUpper(char32_t wide) const override {
        return static_cast<char32_t>(std::towupper(static_cast<std::wint_t>(wide)));
    }

  private:
    // An invalid or incomplete sequence leaves the state undefined: it begins anew.
    static int Result(std::size_t bytes, std::mbstate_t& state) {
        constexpr auto Incomplete = static_cast<std::size_t>(-2);
        if (bytes < Incomplete)
            return static_cast<int>(bytes);
        state = {};
        return -1;
    }
};

HostMultiByte hostMultiByte;
MultiByte* currentMultiByte = &hostMultiByte;

} // namespace

MultiByte& CurrentMultiByte() {
    return *currentMultiByte;
}

void UseMultiByte(MultiByte* substitute) {
    currentMultiByte = substitute == nullptr ? &hostMultiByte : substitute;
}

} // namespace zynkplat
