// The multi-byte functions of a POSIX host, whose wide characters are code points.
#include "zynkplat.h"

#include <cwchar>
#include <cwctype>

#include <cstdlib>
#include <cstring>

namespace zynkplat {

namespace {

// What a thread has begun to convert: also an encoding without shift states has sequences that
// stand for two characters.
struct ConversionStates {
    std::mbstate_t toWide;
    std::mbstate_t fromWide;
};
thread_local ConversionStates states;

constexpr unsigned char LastPlainByte = 0x7F;
constexpr wchar_t LastCharacter = 0x10FFFF; // some runtimes read on to 31 bits

class HostMultiByte final : public MultiByte {
  public:
    unsigned long MaxBytes() const override { return MB_CUR_MAX; }

    // Not the runtime's own answer: it counts other encodings as stateful too, and it has one state
    // for all threads. Where a shift-out is no character, it shifts.
    bool ResetShiftState() override {
        states = {};
        std::mbstate_t fresh = {};
        const char shiftOut = 0x0E;
        return std::mbrlen(&shiftOut, 1, &fresh) != 1;
    }

    // A host's locales all take the bytes of ASCII as characters of one byte.
    int Length(const char* s, unsigned long n) override {
        if (n > 0 && static_cast<unsigned char>(*s) <= LastPlainByte)
            return *s == '\0' ? 0 : 1;
        wchar_t character = 0;
        std::mbstate_t fresh = {};
        const std::size_t bytes = std::mbrtowc(&character, s, n, &fresh);
        return Result(bytes, character, fresh);
    }

    int ToWide(char32_t& wide, const char* s, unsigned long n) override {
        wchar_t character = 0;
        const std::size_t bytes = std::mbrtowc(&character, s, n, &states.toWide);
        wide = static_cast<char32_t>(character);
        return Result(bytes, character, states.toWide);
    }

    int FromWide(char* to, char32_t wide) override {
        const auto character = static_cast<wchar_t>(wide);
        return Result(std::wcrtomb(to, character, &states.fromWide), character, states.fromWide);
    }

    char32_t ToLower(char32_t wide) const override {
        return static_cast<char32_t>(std::towlower(static_cast<std::wint_t>(wide)));
    }
    char32_t ToUpper(char32_t wide) const override {
        return static_cast<char32_t>(std::towupper(static_cast<std::wint_t>(wide)));
    }

  private:
    // An invalid or incomplete sequence leaves the state undefined: it begins anew.
    static int Result(std::size_t bytes, wchar_t character, std::mbstate_t& state) {
        constexpr auto Incomplete = static_cast<std::size_t>(-2);
        if (bytes < Incomplete && character <= LastCharacter)
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
