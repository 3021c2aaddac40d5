// The multi-byte functions of a POSIX host, whose wide characters are code points.
#include "zynkplat.h"

#include <langinfo.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <iterator>

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

// What the runtime says of the bytes of an encoding, asked for once. Each thread may have a locale
// of its own, so each keeps what it has learned.
class LocaleEncoding {
  public:
    // For the thread's current locale. A locale that goes may leave its address to another one, but
    // the names of their encodings differ then, or what they say of the bytes is the same.
    const LocaleEncoding& Current() {
        const char* const codeset = nl_langinfo(CODESET);
        if (codeset != _codeset || std::strcmp(codeset, _name) != 0)
            Learn(codeset);
        return *this;
    }

    bool HasShiftStates() const { return _hasShiftStates; }
    const DirectEncoding& Direct() const { return _direct; }

  private:
    void Learn(const char* codeset) {
        // Where a shift-out is no character, it shifts. Not the runtime's own answer: it counts
        // other encodings as stateful too, and it has one state for all threads.
        constexpr char ShiftOut = 0x0E;
        std::mbstate_t fresh = {};
        _hasShiftStates = std::mbrlen(&ShiftOut, 1, &fresh) != 1;
        _direct.isAscii = true;
        for (unsigned int byte = 0; byte < std::size(_direct.units); ++byte) {
            _direct.units[byte] = UnitOf(static_cast<char>(byte));
            if (byte <= LastPlainByte && _direct.units[byte] != byte)
                _direct.isAscii = false;
        }
        _direct.isUtf8 = _direct.isAscii && std::strcmp(codeset, "UTF-8") == 0;
        _codeset = codeset;
        std::strncpy(_name, codeset, sizeof _name - 1); // what is longer never compares equal
    }

    // Of some bytes the runtime waits for what follows before it tells.
    static char16_t UnitOf(char byte) {
        wchar_t character = 0;
        std::mbstate_t state = {};
        const bool isPlain =
            std::mbrtowc(&character, &byte, 1, &state) == 1 && std::mbsinit(&state) != 0;
        return isPlain && character <= LastUnit ? static_cast<char16_t>(character) : u'\0';
    }

    static constexpr wchar_t LastUnit = 0xFFFF;

    const char* _codeset = nullptr;
    char _name[32] = {};
    bool _hasShiftStates = false;
    DirectEncoding _direct = {};
};
thread_local LocaleEncoding encoding;

class HostMultiByte final : public MultiByte {
  public:
    unsigned long MaxBytes() const override { return MB_CUR_MAX; }

    bool ResetShiftState() override {
        states = {};
        return encoding.Current().HasShiftStates();
    }

    const DirectEncoding* ResetToDirect() override {
        states = {};
        const LocaleEncoding& current = encoding.Current();
        return current.HasShiftStates() ? nullptr : &current.Direct();
    }

    bool IsBetweenCharacters() const override { return std::mbsinit(&states.toWide) != 0; }

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
